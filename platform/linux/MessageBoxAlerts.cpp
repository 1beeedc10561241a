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
// Somebody who types or clicks goes on for about as long before they see that something else has come up.
constexpr TimeSource::Duration kInstant{700};

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
            widget->windowType() == Qt::Tool)
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
    m_waiting.push_back({id, alert, std::move(done)});
    if (!m_box)
        openNext();
    return id;
}

void MessageBoxAlerts::update(AlertId id, const Alert& alert)
{
    for (Waiting& waiting : m_waiting) {
        if (waiting.id != id || waiting.alert == alert)
            continue;
        waiting.alert = alert;
        if (m_box && &waiting == &m_waiting.front())
            putTexts();
    }
}

void MessageBoxAlerts::dismiss(AlertId id)
{
    if (m_box && m_waiting.front().id == id) {
        m_box->disconnect(this);
        m_box->hide();
        answered(Dismissed);
        return;
    }
    const auto found = std::find_if(m_waiting.begin(), m_waiting.end(), [id](const Waiting& w) { return w.id == id; });
    if (found == m_waiting.end())
        return;
    const auto done = std::move(found->done);
    m_waiting.erase(found);
    if (done)
        done(Dismissed);
}

void MessageBoxAlerts::openNext()
{
    if (m_waiting.empty())
        return;
    // To see a quit; only now, because the filter sees every event there is.
    qApp->installEventFilter(this);
    const Alert& alert = m_waiting.front().alert;
    m_box = std::make_unique<QMessageBox>();
    m_box->setWindowTitle(u"Quillon"_s);
    m_box->setWindowModality(Qt::ApplicationModal);
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull())
        m_box->setIconPixmap(icon.pixmap(kIconSize));
    const QStringList texts = alert.buttons.isEmpty() ? QStringList(u"OK"_s) : alert.buttons;
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const auto role = i == 0                  ? QMessageBox::AcceptRole
                          : i == texts.size() - 1 ? QMessageBox::RejectRole
                                                  : QMessageBox::ActionRole;
        m_buttons.append(m_box->addButton(texts[i], role));
    }
    m_box->setDefaultButton(static_cast<QPushButton*>(m_buttons.first()));
    // Without one, a box with several buttons of no reject role can neither be closed nor left by a quit.
    m_box->setEscapeButton(m_buttons[escapeButton()]);
    if (QLabel* title = label(*m_box, kTitle)) {
        QFont font = title->font();
        font.setBold(true);
        title->setFont(font);
    }
    putTexts();

    connect(m_box.get(), &QDialog::finished, this, &MessageBoxAlerts::finished);
    if (alert.unasked) {
        m_box->setAttribute(Qt::WA_ShowWithoutActivating);
        m_box->setWindowFlag(Qt::WindowStaysOnTopHint);
        // Qt activates every modal window all the same. This one takes no focus until it has been painted.
        m_box->setWindowFlag(Qt::WindowDoesNotAcceptFocus);
        m_trueActivation.emplace();
    }
    m_listensAt = m_time.uptime().total + kInstant;
    m_noticed = false;
    if (QWindow* onTop = alert.unasked ? nullptr : windowOnTop()) {
        // Else that one would lie over the alert, blocked by it.
        m_box->winId();
        m_box->windowHandle()->setTransientParent(onTop);
    }
    // Not open(): it would block the box's parent alone, and there is none.
    m_box->show();
    m_box->raise();
    if (alert.unasked)
        QApplication::alert(m_box.get());
    else
        m_box->activateWindow();
}

void MessageBoxAlerts::putTexts()
{
    const Alert& alert = m_waiting.front().alert;
    for (qsizetype i = 0; i < std::min(alert.buttons.size(), m_buttons.size()); ++i)
        m_buttons[i]->setText(QString(alert.buttons[i]).replace(u'&', "&&"_L1));
    m_box->setText(alert.title);
    if (QLabel* title = label(*m_box, kTitle))
        title->setMinimumWidth(std::max(kTextWidth, title->sizeHint().width()));
    putText(alert.text);
    // What comes from the service is no markup.
    for (const auto& name : {kTitle, kInformativeText}) {
        if (QLabel* text = label(*m_box, name)) {
            text->setTextFormat(Qt::PlainText);
            text->setTextInteractionFlags(Qt::TextSelectableByMouse);
        }
    }
}

void MessageBoxAlerts::putText(const QString& text)
{
    auto* longText = static_cast<LongText*>(m_box->findChild<QPlainTextEdit*>());
    if (fits(text, *m_box)) {
        delete longText;
        m_box->setInformativeText(text);
        return;
    }
    m_box->setInformativeText({});
    if (!longText)
        longText = new LongText(kTextWidth, m_box.get());
    longText->setAccessibleName(m_box->text());
    longText->setText(text);
    // Below the title; the box has just made its layout anew.
    if (auto* grid = qobject_cast<QGridLayout*>(m_box->layout()))
        grid->addWidget(longText, 1, grid->columnCount() - 1);
    longText->show();
    longText->setFocus(); // it is what there is to read, and Return still presses the default button
}

void MessageBoxAlerts::finished()
{
    // A closed box names its button too late to be seen here.
    const auto clicked = m_buttons.indexOf(m_box->clickedButton());
    answered(static_cast<int>(clicked >= 0 ? clicked : escapeButton()));
}

void MessageBoxAlerts::answered(int button)
{
    const auto done = std::move(m_waiting.front().done);
    m_waiting.pop_front();
    // It may be inside its own signal.
    m_box.release()->deleteLater();
    takenDown();
    if (done)
        done(button);
    if (!m_box)
        openNext();
}

qsizetype MessageBoxAlerts::escapeButton() const
{
    const int wanted = m_waiting.front().alert.escapeButton;
    return wanted >= 0 && wanted < m_buttons.size() ? wanted : m_buttons.size() - 1;
}

void MessageBoxAlerts::takenDown()
{
    m_buttons.clear();
    m_trueActivation.reset();
    qApp->removeEventFilter(this);
}

bool MessageBoxAlerts::isTooEarly(const QEvent& event)
{
    const auto now = m_time.uptime().total;
    const bool early = now < m_listensAt;
    switch (event.type()) {
    case QEvent::Paint:
        m_box->windowHandle()->setFlag(Qt::WindowDoesNotAcceptFocus, false);
        return false;
    case QEvent::WindowActivate:
        // Right after it came up: the desktop's doing. Later: the person's.
        m_noticed = m_noticed || !early;
        m_listensAt = now + kInstant;
        return false;
    case QEvent::MouseButtonPress:
        m_noticed = m_noticed || !early;
        return early;
    case QEvent::KeyPress: {
        // The first one may be there to wake the screen.
        const bool meant = m_noticed && !early;
        if (!meant)
            m_listensAt = now + kInstant;
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
    else if (m_box && m_waiting.front().alert.unasked && watched->isWidgetType() &&
             static_cast<QWidget*>(watched)->window() == m_box.get())
        return isTooEarly(*event);
    return false;
}

void MessageBoxAlerts::dropAll()
{
    m_waiting.clear();
    if (!m_box)
        return;
    m_box->disconnect(this);
    m_box.reset();
    takenDown();
}

} // namespace platform
