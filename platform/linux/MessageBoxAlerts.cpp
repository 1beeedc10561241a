#include "MessageBoxAlerts.h"

#include "LongText.h"
#include "X11.h"

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

// The longest line that still reads well.
constexpr int TextWidth = 340;
constexpr int IconSize = 64;
constexpr QPoint BesideOffset(48, 64);
// Qt's names for them
constexpr QLatin1StringView Title("qt_msgbox_label");
constexpr QLatin1StringView InformativeText("qt_msgbox_informativelabel");
// People go on clicking for about this long before they see that something has come up, and typing for longer.
constexpr TimeSource::Duration Instant{700};
constexpr TimeSource::Duration Sentence{2000};

QLabel* label(const QMessageBox& box, QLatin1StringView name)
{
    return box.findChild<QLabel*>(name);
}

/// The program's topmost window that stays on top of others and takes the keyboard. Null: none is shown.
QWindow* windowOnTop()
{
    static constexpr Qt::WindowFlags flags = Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
    QWidgetList onTop = QApplication::topLevelWidgets();
    onTop.removeIf([](const QWidget* widget) {
        return !widget->isVisible() || (widget->windowFlags() & flags) != Qt::WindowStaysOnTopHint ||
               (widget->windowType() != Qt::Tool && widget->windowType() != Qt::Dialog);
    });
    const std::vector<std::uint32_t> stack = x11::stack();
    const auto highest = std::ranges::max_element(onTop, {}, [&](const QWidget* widget) {
        return std::ranges::find(stack, static_cast<std::uint32_t>(widget->internalWinId())) - stack.begin();
    });
    return highest != onTop.end() ? (*highest)->windowHandle() : nullptr;
}

/// Whether the text can stand in the box as it is, every line of it.
bool fits(const QString& text, const QMessageBox& box)
{
    constexpr qsizetype longest = 2000; // longer text need not be measured
    if (text.size() > longest)
        return false;
    const QSize size = box.fontMetrics().boundingRect({0, 0, TextWidth, 0}, Qt::TextWordWrap, text).size();
    return size.width() <= TextWidth && size.height() <= box.screen()->availableGeometry().height() / 4;
}

void putText(QMessageBox& box, const QString& text)
{
    auto* longText = static_cast<LongText*>(box.findChild<QPlainTextEdit*>());
    if (fits(text, box)) {
        delete longText;
        box.setInformativeText(text);
        return;
    }
    box.setInformativeText({});
    if (!longText)
        longText = new LongText(TextWidth, &box);
    longText->setAccessibleName(box.text());
    longText->setText(text);
    // Below the title; the box has just rebuilt its layout.
    if (auto* grid = qobject_cast<QGridLayout*>(box.layout()))
        grid->addWidget(longText, 1, grid->columnCount() - 1);
    longText->show();
    longText->setFocus(); // it is what there is to read, and Return still presses the default button
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
    const AlertId id{++m_count};
    m_alerts.push_back({id, alert, std::move(done)});
    openNext();
    return id;
}

void MessageBoxAlerts::update(AlertId id, const Alert& alert)
{
    const auto found = std::ranges::find(m_alerts, id, &Shown::id);
    if (found == m_alerts.end() || found->alert == alert)
        return;
    const bool unasked = std::exchange(found->alert, alert).unasked;
    found->alert.unasked = unasked;
    if (found->box)
        putTexts(*found);
}

void MessageBoxAlerts::dismiss(AlertId id)
{
    const auto found = std::ranges::find(m_alerts, id, &Shown::id);
    if (found == m_alerts.end())
        return;
    if (found->box) {
        found->box->disconnect(this);
        found->box->hide();
    }
    found->done = {};
    end(*found, Dismissed);
}

void MessageBoxAlerts::openNext()
{
    const auto asked = std::ranges::find(m_alerts, false, [](const Shown& shown) { return shown.alert.unasked; });
    if (asked != m_alerts.end()) {
        // It blocks everything: an alert below it could not be answered.
        if (!asked->box)
            open(*asked);
        return;
    }
    for (Shown& shown : m_alerts) {
        if (!shown.box)
            open(shown);
    }
}

void MessageBoxAlerts::open(Shown& shown)
{
    // To see a quit; only now, because the filter sees every event there is.
    qApp->installEventFilter(this);
    const Alert& alert = shown.alert;
    shown.box = std::make_unique<QMessageBox>();
    QMessageBox& box = *shown.box;
    box.setWindowTitle(u"Quillon"_s);
    box.setWindowModality(alert.unasked ? Qt::NonModal : Qt::ApplicationModal);
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull())
        box.setIconPixmap(icon.pixmap(IconSize));
    const QStringList texts = alert.buttons.isEmpty() ? QStringList(u"OK"_s) : alert.buttons;
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const auto role = i == 0                  ? QMessageBox::AcceptRole
                          : i == texts.size() - 1 ? QMessageBox::RejectRole
                                                  : QMessageBox::ActionRole;
        shown.buttons.append(box.addButton(texts[i], role));
    }
    box.setDefaultButton(static_cast<QPushButton*>(shown.buttons.first()));
    // Without one, a box with several buttons, none of reject role, can be neither closed nor left by a quit.
    box.setEscapeButton(shown.buttons[escapeButton(shown)]);
    if (QLabel* title = label(box, Title)) {
        QFont font = title->font();
        font.setBold(true);
        title->setFont(font);
    }
    putTexts(shown);

    connect(&box, &QDialog::finished, this, [this, &shown] {
        // A closed box names its button too late for this handler.
        const auto clicked = static_cast<int>(shown.buttons.indexOf(shown.box->clickedButton()));
        end(shown, clicked >= 0 ? clicked : escapeButton(shown));
    });
    if (alert.unasked) {
        box.setAttribute(Qt::WA_ShowWithoutActivating);
        box.setWindowFlag(Qt::WindowStaysOnTopHint);
        const auto now = m_time.uptime().total;
        shown.clicksFrom = now + Instant;
        shown.keysFrom = now + Sentence;
        // Next to the existing buttons, as far as there is room: they stay visible.
        for (const Shown& other : m_alerts) {
            if (!other.box || &other == &shown)
                continue;
            box.adjustSize();
            const QPoint corner =
                other.box->pos() + other.box->rect().bottomRight() - box.rect().bottomRight() - BesideOffset;
            if (other.box->screen()->availableGeometry().contains(corner))
                box.move(corner);
        }
    } else if (QWindow* onTop = windowOnTop()) {
        // Otherwise that one would cover the alert while blocked by it.
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

void MessageBoxAlerts::putTexts(const Shown& shown)
{
    const Alert& alert = shown.alert;
    QMessageBox& box = *shown.box;
    for (qsizetype i = 0; i < std::min(alert.buttons.size(), shown.buttons.size()); ++i)
        shown.buttons[i]->setText(QString(alert.buttons[i]).replace(u'&', "&&"_L1));
    box.setText(alert.title);
    if (QLabel* title = label(box, Title))
        title->setMinimumWidth(std::max(TextWidth, title->sizeHint().width()));
    putText(box, alert.text);
    // Text from the service is not markup.
    for (const auto& name : {Title, InformativeText}) {
        if (QLabel* text = label(box, name)) {
            text->setTextFormat(Qt::PlainText);
            text->setTextInteractionFlags(Qt::TextSelectableByMouse);
        }
    }
}

void MessageBoxAlerts::end(const Shown& shown, int button)
{
    std::list<Shown> ended;
    ended.splice(ended.begin(), m_alerts, std::ranges::find(m_alerts, shown.id, &Shown::id));
    // It may be inside its own signal.
    if (QMessageBox* box = ended.front().box.release())
        box->deleteLater();
    if (const auto& done = ended.front().done)
        done(button);
    openNext();
    if (m_alerts.empty())
        qApp->removeEventFilter(this);
}

int MessageBoxAlerts::escapeButton(const Shown& shown)
{
    const int wanted = shown.alert.escapeButton;
    const int last = static_cast<int>(shown.buttons.size()) - 1;
    return wanted >= 0 && wanted <= last ? wanted : last;
}

bool MessageBoxAlerts::isTooEarly(Shown& shown, const QEvent& event) const
{
    const auto now = m_time.uptime().total;
    switch (event.type()) {
    case QEvent::WindowActivate:
        // Right after it came up this is the desktop's doing; later it is the person's, who may be typing just as their
        // window closes.
        shown.noticed = shown.noticed || now >= shown.clicksFrom;
        shown.keysFrom = std::max(shown.keysFrom, now + Instant);
        return false;
    case QEvent::MouseButtonPress:
        shown.noticed = shown.noticed || now >= shown.clicksFrom;
        return now < shown.clicksFrom;
    case QEvent::KeyPress: {
        // The first one may only be meant to wake the screen.
        const bool meant = shown.noticed && now >= shown.keysFrom;
        if (!meant)
            shown.keysFrom = std::max(shown.keysFrom, now + Instant);
        shown.noticed = true;
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
    if (!watched->isWidgetType())
        return false;
    const QWidget* window = static_cast<QWidget*>(watched)->window();
    const auto found = std::ranges::find(m_alerts, window, [](const Shown& shown) { return shown.box.get(); });
    return found != m_alerts.end() && found->alert.unasked && isTooEarly(*found, *event);
}

void MessageBoxAlerts::dropAll()
{
    qApp->removeEventFilter(this);
    const std::list<Shown> dropped = std::exchange(m_alerts, {});
    for (const Shown& shown : dropped) {
        if (shown.box)
            shown.box->disconnect(this);
    }
}

} // namespace platform
