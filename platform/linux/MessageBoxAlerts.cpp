#include "MessageBoxAlerts.h"

#include "LongText.h"

#include <QApplication>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

// A line of text as long as reads well.
constexpr int kTextWidth = 340;
constexpr int kIconSize = 64;
// Qt's names for them
constexpr QLatin1StringView kTitle("qt_msgbox_label");
constexpr QLatin1StringView kInformativeText("qt_msgbox_informativelabel");
// Somebody who clicks goes on for about as long before they see that something else has come up, and who types longer.
constexpr TimeSource::Duration kInstant{700};
constexpr TimeSource::Duration kSentence{2000};

QLabel* label(const QMessageBox& box, QLatin1StringView name)
{
    return box.findChild<QLabel*>(name);
}

/// A window of this program that stays on top of others and takes the keyboard. Null: none is shown.
QWindow* windowOnTop()
{
    constexpr Qt::WindowFlags flags = Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
    for (const QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible() && (widget->windowFlags() & flags) == Qt::WindowStaysOnTopHint &&
            (widget->windowType() == Qt::Tool || widget->windowType() == Qt::Dialog))
            return widget->windowHandle();
    }
    return nullptr;
}

/// Whether the text can stand in the box as it is, every line of it.
bool fits(const QString& text, const QMessageBox& box)
{
    constexpr qsizetype longest = 2000; // what is longer need not be measured
    if (text.size() > longest)
        return false;
    const QSize size = box.fontMetrics().boundingRect({0, 0, kTextWidth, 0}, Qt::TextWordWrap, text).size();
    return size.width() <= kTextWidth && size.height() <= box.screen()->availableGeometry().height() / 4;
}

} // namespace

MessageBoxAlerts::MessageBoxAlerts(const TimeSource& time) : m_time(time) {}

MessageBoxAlerts::~MessageBoxAlerts()
{
    dropAll();
}

bool MessageBoxAlerts::available()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance());
}

AlertId MessageBoxAlerts::show(const Alert& alert, std::function<void(int)> done)
{
    const AlertId id{++m_shown};
    lineOf(alert).waiting.push_back({id, alert, std::move(done)});
    openNext();
    return id;
}

void MessageBoxAlerts::update(AlertId id, const Alert& alert)
{
    for (Line* line : m_lines) {
        for (Waiting& waiting : line->waiting) {
            if (waiting.id != id || waiting.alert == alert)
                continue;
            waiting.alert = alert;
            if (line->box && &waiting == &line->waiting.front())
                putTexts(*line);
        }
    }
}

void MessageBoxAlerts::dismiss(AlertId id)
{
    for (Line* line : m_lines) {
        const auto found = std::ranges::find(line->waiting, id, &Waiting::id);
        if (found == line->waiting.end())
            continue;
        if (line->box && found == line->waiting.begin()) {
            line->box->disconnect(this);
            line->box->hide();
            answered(*line, Dismissed);
            return;
        }
        const auto done = std::move(found->done);
        line->waiting.erase(found);
        if (done)
            done(Dismissed);
        return;
    }
}

void MessageBoxAlerts::openNext()
{
    if (!m_asked.box && !m_asked.waiting.empty())
        open(m_asked);
    // Below an alert that blocks everything it could not be answered.
    if (!m_asked.box && !m_unasked.box && !m_unasked.waiting.empty())
        open(m_unasked);
}

void MessageBoxAlerts::open(Line& line)
{
    // To see a quit; only now, because the filter sees every event there is.
    qApp->installEventFilter(this);
    const Alert& alert = line.waiting.front().alert;
    line.box = std::make_unique<QMessageBox>();
    QMessageBox& box = *line.box;
    box.setWindowTitle(u"Quillon"_s);
    box.setWindowModality(alert.unasked ? Qt::NonModal : Qt::ApplicationModal);
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull())
        box.setIconPixmap(icon.pixmap(kIconSize));
    const QStringList texts = alert.buttons.isEmpty() ? QStringList(u"OK"_s) : alert.buttons;
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const auto role = i == 0                  ? QMessageBox::AcceptRole
                          : i == texts.size() - 1 ? QMessageBox::RejectRole
                                                  : QMessageBox::ActionRole;
        line.buttons.append(box.addButton(texts[i], role));
    }
    box.setDefaultButton(static_cast<QPushButton*>(line.buttons.first()));
    // Without one, a box with several buttons of no reject role can neither be closed nor left by a quit.
    box.setEscapeButton(line.buttons[escapeButton(line)]);
    if (QLabel* title = label(box, kTitle)) {
        QFont font = title->font();
        font.setBold(true);
        title->setFont(font);
    }
    putTexts(line);

    connect(&box, &QDialog::finished, this, [this, &line] { finished(line); });
    if (alert.unasked) {
        box.setAttribute(Qt::WA_ShowWithoutActivating);
        box.setWindowFlag(Qt::WindowStaysOnTopHint);
        const auto now = m_time.uptime().total;
        m_clicksFrom = now + kInstant;
        m_keysFrom = now + kSentence;
        m_noticed = false;
    } else if (QWindow* onTop = windowOnTop()) {
        // Else that one would lie over the alert, blocked by it.
        box.winId();
        box.windowHandle()->setTransientParent(onTop);
    }
    // Not open(): it would block the box's parent alone, and there is none.
    box.show();
    box.raise();
    if (alert.unasked)
        QApplication::alert(&box);
    else
        box.activateWindow();
}

void MessageBoxAlerts::putTexts(Line& line)
{
    const Alert& alert = line.waiting.front().alert;
    QMessageBox& box = *line.box;
    for (qsizetype i = 0; i < std::min(alert.buttons.size(), line.buttons.size()); ++i)
        line.buttons[i]->setText(QString(alert.buttons[i]).replace(u'&', "&&"_L1));
    box.setText(alert.title);
    if (QLabel* title = label(box, kTitle))
        title->setMinimumWidth(std::max(kTextWidth, title->sizeHint().width()));
    putText(box, alert.text);
    // What comes from the service is no markup.
    for (const auto& name : {kTitle, kInformativeText}) {
        if (QLabel* text = label(box, name)) {
            text->setTextFormat(Qt::PlainText);
            text->setTextInteractionFlags(Qt::TextSelectableByMouse);
        }
    }
}

void MessageBoxAlerts::putText(QMessageBox& box, const QString& text)
{
    auto* longText = static_cast<LongText*>(box.findChild<QPlainTextEdit*>());
    if (fits(text, box)) {
        delete longText;
        box.setInformativeText(text);
        return;
    }
    box.setInformativeText({});
    if (!longText)
        longText = new LongText(kTextWidth, &box);
    longText->setAccessibleName(box.text());
    longText->setText(text);
    // Below the title; the box has just made its layout anew.
    if (auto* grid = qobject_cast<QGridLayout*>(box.layout()))
        grid->addWidget(longText, 1, grid->columnCount() - 1);
    longText->show();
    longText->setFocus(); // it is what there is to read, and Return still presses the default button
}

void MessageBoxAlerts::finished(Line& line)
{
    // A closed box names its button too late to be seen here.
    const auto clicked = line.buttons.indexOf(line.box->clickedButton());
    answered(line, static_cast<int>(clicked >= 0 ? clicked : escapeButton(line)));
}

void MessageBoxAlerts::answered(Line& line, int button)
{
    const auto done = std::move(line.waiting.front().done);
    line.waiting.pop_front();
    // It may be inside its own signal.
    line.box.release()->deleteLater();
    line.buttons.clear();
    if (done)
        done(button);
    openNext();
    if (!m_asked.box && !m_unasked.box)
        qApp->removeEventFilter(this);
}

qsizetype MessageBoxAlerts::escapeButton(const Line& line)
{
    const int wanted = line.waiting.front().alert.escapeButton;
    return wanted >= 0 && wanted < line.buttons.size() ? wanted : line.buttons.size() - 1;
}

bool MessageBoxAlerts::isTooEarly(const QEvent& event)
{
    const auto now = m_time.uptime().total;
    switch (event.type()) {
    case QEvent::WindowActivate:
        // Right after it came up: the desktop's doing. Later: the person's, who may be typing as the window that they
        // typed into goes away.
        m_noticed = m_noticed || now >= m_clicksFrom;
        m_keysFrom = std::max(m_keysFrom, now + kInstant);
        return false;
    case QEvent::MouseButtonPress:
        m_noticed = m_noticed || now >= m_clicksFrom;
        return now < m_clicksFrom;
    case QEvent::KeyPress: {
        // The first one may be there to wake the screen.
        const bool meant = m_noticed && now >= m_keysFrom;
        if (!meant)
            m_keysFrom = std::max(m_keysFrom, now + kInstant);
        m_noticed = true;
        return !meant;
    }
    default:
        return false;
    }
}

bool MessageBoxAlerts::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qApp && event->type() == QEvent::Quit)
        dropAll();
    else if (m_unasked.box && watched->isWidgetType() &&
             static_cast<QWidget*>(watched)->window() == m_unasked.box.get())
        return isTooEarly(*event);
    return false;
}

void MessageBoxAlerts::dropAll()
{
    for (Line* line : m_lines) {
        line->waiting.clear();
        line->buttons.clear();
        if (line->box)
            line->box->disconnect(this);
        line->box.reset();
    }
    qApp->removeEventFilter(this);
}

} // namespace platform
