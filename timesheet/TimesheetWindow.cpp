#include "timesheet/TimesheetWindow.h"

#include "settings/UserDefaults.h"
#include "skin/Backgrounds.h"
#include "skin/ColorHex.h"
#include "skin/Fonts.h"
#include "skin/HintCard.h"
#include "skin/ImageButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/Sheet.h"
#include "skin/Spinner.h"
#include "timesheet/RLListView.h"
#include "timesheet/TitleStrip.h"
#include "timesheet/ToolbarView.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>

#include <cmath>

namespace timesheet {

using namespace Qt::StringLiterals;
using skin::colorFromHexRGB;
using skin::imageNamed;

namespace {

/// Base64 of what QWidget::saveGeometry makes: place, size, and whether the window was maximized.
constexpr QLatin1StringView FrameKey("TimesheetWindowFrame");

constexpr QSize FirstSize(460, 540);
constexpr QSize LeastSize(440, 320);

// In points.
constexpr int SideMargin = 10;
constexpr int FooterHeight = 34;
constexpr int TotalRight = 36;
/// Brings the total below the hours of the rows.
constexpr int TotalPadding = 12;
constexpr int DateSpacing = 10;
constexpr int DateButtonBottom = 12;
constexpr int StepGap = 4;

/// A picture that does nothing.
class Picture final : public QWidget
{
public:
    Picture(skin::Image image, QWidget* parent) : QWidget(parent), m_image(image) { resize(image.size().toSize()); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        m_image.drawAtPoint(painter, {0, 0});
    }

private:
    skin::Image m_image;
};

template <class Widget>
Widget* named(Widget* widget, const QString& name)
{
    widget->setObjectName(name);
    return widget;
}

skin::ImageButton* imageButton(const char* image, const char* pressed, const QString& name, const QString& toolTip,
                               const QString& objectName, QWidget* parent)
{
    auto* button = named(new skin::ImageButton(imageNamed(image), imageNamed(pressed), parent), objectName);
    button->setAccessibleName(name);
    button->setToolTip(toolTip);
    button->resize(button->sizeHint());
    return button;
}

skin::QuillonTextFieldCell* label(int points, QFont::Weight weight, const char* color, const QString& objectName,
                                  QWidget* parent)
{
    auto* label = named(new skin::QuillonTextFieldCell(parent), objectName);
    label->setFont(skin::interfaceFont(points, weight));
    label->setTextColor(colorFromHexRGB(QLatin1StringView(color)));
    label->setAlignment(Qt::AlignCenter);
    label->setBackgroundStyle(skin::QuillonTextFieldCell::BackgroundStyle::Raised);
    return label;
}

} // namespace

TimesheetWindow::TimesheetWindow()
    : toolbarView(named(new ToolbarView(&contentView()), u"toolbarView"_s)),
      backButton(imageButton("tw-back.png", "tw-back-active.png", tr("Previous Day"), tr("Previous Day (Ctrl+Left)"),
                             u"backButton"_s, toolbarView)),
      forwardButton(imageButton("tw-forward.png", "tw-forward-active.png", tr("Next Day"), tr("Next Day (Ctrl+Right)"),
                                u"forwardButton"_s, toolbarView)),
      dateAndButtonContainer(named(new QWidget(toolbarView), u"dateAndButtonContainer"_s)),
      currentDateLabel(label(14, QFont::Bold, "333333", u"currentDateLabel"_s, dateAndButtonContainer)),
      goToTodayButton(imageButton("tw-today.png", "tw-today-active.png", tr("Today"), tr("Today (Ctrl+T)"),
                                  u"goToTodayButton"_s, dateAndButtonContainer)),
      newTimerButton(imageButton("tw-add-one.png", "tw-add-one-active.png", tr("New Timer"), tr("New Timer (Ctrl+N)"),
                                 u"newTimerButton"_s, toolbarView)),
      dailyTimesheetView(named(new QWidget(&contentView()), u"dailyTimesheetView"_s)),
      dayEntriesListView(named(new RLListView(dailyTimesheetView), u"dayEntriesListView"_s)),
      noEntriesYetView(named(new skin::QuillonNoEntriesBackgroundView(dailyTimesheetView), u"noEntriesYetView"_s)),
      noEntriesLabel(label(14, QFont::Normal, "666666", u"noEntriesLabel"_s, noEntriesYetView)),
      startNewTimerButton(named(new skin::QuillonButtonCell({}, noEntriesYetView), u"startNewTimerButton"_s)),
      goToQuillonButton(
          named(new skin::QuillonButtonCell(tr("View in Quillon"), noEntriesYetView), u"goToQuillonButton"_s)),
      emptyDayNote(label(12, QFont::Normal, "666666", u"emptyDayNote"_s, noEntriesYetView)),
      signInButton(named(new skin::QuillonButtonCell(tr("Open the Preferences"), noEntriesYetView), u"signInButton"_s)),
      bottomBarView(named(new skin::BottomBarView(&contentView()), u"bottomBarView"_s)),
      offlineIndicator(named(new QWidget(bottomBarView), u"offlineIndicator"_s)),
      loadingIndicator(named(new skin::Spinner(skin::Spinner::Look::Dark, bottomBarView), u"loadingIndicator"_s)),
      totalHoursLabel(label(14, QFont::Bold, "444444", u"totalHoursLabel"_s, bottomBarView))
{
    setObjectName(u"Timesheet"_s);
    setWindowTitle(tr("Timesheet"));
    setMinimumSize(LeastSize);
    dayEntriesListView->setAccessibleName(tr("Timers"));
    QPalette list = dayEntriesListView->palette();
    list.setColor(QPalette::Base, colorFromHexRGB(u"EEEEEE"_s));
    dayEntriesListView->setPalette(list);
    dayEntriesListView->setFocus();
    m_emptyDay = new Picture(imageNamed("tw-empty-day.png"), noEntriesYetView);
    signInButton->hide();
    totalHoursLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    totalHoursLabel->setContentsMargins(0, 0, TotalPadding, 0);
    loadingIndicator->setAccessibleName(tr("Loading"));

    new Picture(imageNamed("tw-offline.png"), offlineIndicator);
    auto* offline = label(11, QFont::Normal, "666666", u"offlineLabel"_s, offlineIndicator);
    offline->setText(tr("Offline"));
    offline->setGeometry(QRect(QPoint(24, 0), QSize(offline->sizeHint().width(), 20)));
    offlineIndicator->resize(24 + offline->width(), 20);
    offlineIndicator->hide();
    loadingIndicator->hide();
    for (QAbstractButton* button : toolbarView->findChildren<QAbstractButton*>())
        button->installEventFilter(this);
}

bool TimesheetWindow::isContentFocused() const
{
    const QWidget* focused = focusWidget();
    return focused && dailyTimesheetView->isAncestorOf(focused);
}

void TimesheetWindow::focusContent()
{
    const QWidget* focused = focusWidget();
    if (isContentFocused() && focused != dailyTimesheetView && focused->isVisibleTo(this))
        return;
    for (QWidget* content :
         {static_cast<QWidget*>(dayEntriesListView), static_cast<QWidget*>(startNewTimerButton),
          static_cast<QWidget*>(goToQuillonButton), static_cast<QWidget*>(signInButton), dailyTimesheetView}) {
        if (content->isVisibleTo(this)) {
            content->setFocus(Qt::OtherFocusReason);
            return;
        }
    }
}

void TimesheetWindow::centreDate(bool withButton)
{
    goToTodayButton->setVisible(withButton);
    const QSize button = goToTodayButton->size();
    const double text = std::ceil(QFontMetricsF(currentDateLabel->font()).horizontalAdvance(currentDateLabel->text()));
    const double labelWidth = text + (withButton ? DateSpacing : 0);
    const double groupWidth = labelWidth + (withButton ? button.width() : 0);
    const int left = qRound((toolbarView->width() - groupWidth) / 2);
    dateAndButtonContainer->setGeometry(left, 0, qRound(groupWidth), ToolbarView::Height);
    currentDateLabel->setGeometry(0, 0, qRound(text), ToolbarView::Height - 1);
    goToTodayButton->move(qRound(labelWidth), DateButtonBottom);
}

void TimesheetWindow::setEmptyDayNote(const QString& text)
{
    emptyDayNote->setText(text);
    emptyDayNote->setVisible(!text.isEmpty());
}

void TimesheetWindow::setHint(const std::optional<skin::Hint>& hint)
{
    if (hint && !m_hintCard) {
        m_hintCard = named(new skin::HintCard(&contentView()), u"hintCard"_s);
        m_hintCard->stackUnder(dailyTimesheetView);
        QWidget::setTabOrder(newTimerButton, m_hintCard);
    }
    if (!m_hintCard)
        return;
    if (hint)
        m_hintCard->setHint(*hint);
    m_hintCard->setVisible(hint.has_value());
    layOutContent();
}

void TimesheetWindow::setStartNewTimerTitle(const QString& title)
{
    startNewTimerButton->setText(title);
    centreButton(*startNewTimerButton);
}

void TimesheetWindow::centreButton(QPushButton& button)
{
    const QSize size = button.sizeHint();
    const QPoint corner((noEntriesYetView->width() - size.width()) / 2, noEntriesYetView->height() / 2 + 24);
    button.setGeometry(QRect(corner, size));
}

void TimesheetWindow::placeTotal()
{
    const int width = totalHoursLabel->sizeHint().width();
    totalHoursLabel->setGeometry(this->width() - width - TotalRight, 1, width, FooterHeight - 1);
}

void TimesheetWindow::layOutContent()
{
    const QSize content = contentView().size();
    const int footerTop = content.height() - FooterHeight;
    toolbarView->setGeometry(0, 0, content.width(), ToolbarView::Height);
    bottomBarView->setGeometry(0, footerTop, content.width(), FooterHeight);
    const int hint = m_hintCard && !m_hintCard->isHidden() ? m_hintCard->heightForWidth(content.width()) : 0;
    if (hint > 0)
        m_hintCard->setGeometry(0, ToolbarView::Height, content.width(), hint);
    const int dayTop = ToolbarView::Height + hint;
    dailyTimesheetView->setGeometry(0, dayTop, content.width(), footerTop - dayTop);
    dayEntriesListView->setGeometry(dailyTimesheetView->rect());
    noEntriesYetView->setGeometry(dailyTimesheetView->rect());

    const int buttonTop = (ToolbarView::Height - backButton->height()) / 2;
    backButton->move(SideMargin, buttonTop);
    forwardButton->move(backButton->geometry().right() + 1 + StepGap, buttonTop);
    newTimerButton->move(content.width() - SideMargin - newTimerButton->width(), buttonTop);
    centreDate(!goToTodayButton->isHidden());

    const int middle = noEntriesYetView->height() / 2;
    m_emptyDay->move((noEntriesYetView->width() - m_emptyDay->width()) / 2, middle - 92);
    noEntriesLabel->setGeometry(SideMargin, middle - 12, noEntriesYetView->width() - 2 * SideMargin, 20);
    for (QPushButton* button : {startNewTimerButton, goToQuillonButton, signInButton})
        centreButton(*button);
    emptyDayNote->setGeometry(SideMargin, middle + 64, noEntriesYetView->width() - 2 * SideMargin, 18);

    offlineIndicator->move(SideMargin, (FooterHeight - offlineIndicator->height()) / 2);
    const QSize spinner = loadingIndicator->sizeHint();
    loadingIndicator->setGeometry(
        QRect(QPoint(content.width() - SideMargin - 2 - spinner.width(), (FooterHeight - spinner.height()) / 2 + 1),
              spinner));
    placeTotal();
}

void TimesheetWindow::restoreFrame()
{
    const QString saved = settings::UserDefaults::standardUserDefaults().stringForKey(FrameKey);
    const bool known = restoreGeometry(QByteArray::fromBase64(saved.toLatin1()));
    if (isMaximized())
        return;
    // All of it on the screen that it is on, whatever became of that since.
    const QRect free = screen()->availableGeometry();
    QRect frame = known ? geometry() : QRect(QPoint(), FirstSize);
    frame.setSize(frame.size().boundedTo(free.size()));
    if (known) {
        frame.moveLeft(std::clamp(frame.left(), free.left(), free.right() + 1 - frame.width()));
        frame.moveTop(std::clamp(frame.top(), free.top(), free.bottom() + 1 - frame.height()));
    } else {
        frame.moveTopLeft(free.topLeft() + QPoint(free.width() - frame.width(), free.height() - frame.height()) / 2);
    }
    setGeometry(frame);
}

void TimesheetWindow::saveFrame() const
{
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setString(FrameKey, QString::fromLatin1(saveGeometry().toBase64()));
    // Where it cannot be written the window opens as before.
    static_cast<void>(defaults.synchronize());
}

void TimesheetWindow::resizeEvent(QResizeEvent* event)
{
    StripWindow::resizeEvent(event);
    layOutContent();
}

void TimesheetWindow::hideEvent(QHideEvent* event)
{
    StripWindow::hideEvent(event);
    saveFrame();
}

void TimesheetWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape || event->matches(QKeySequence::Close))
        close();
    else if (!handKeyToList(*event))
        StripWindow::keyPressEvent(event);
}

/// What has the focus had no use for the key.
bool TimesheetWindow::handKeyToList(QKeyEvent& event)
{
    if (!isListReachable())
        return false;
    switch (event.key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        // Who walks through the list is in it from then on.
        if (event.modifiers() & ~Qt::KeypadModifier)
            return false;
        dayEntriesListView->setFocus(Qt::ShortcutFocusReason);
        break;
    default:
        break;
    }
    return dayEntriesListView->handleKey(event);
}

bool TimesheetWindow::isListReachable() const
{
    return dayEntriesListView->isVisible() && !skin::Sheet::openIn(*this);
}

void TimesheetWindow::contextMenuEvent(QContextMenuEvent* event)
{
    if (event->reason() != QContextMenuEvent::Keyboard || !isListReachable() ||
        !dayEntriesListView->showContextMenuOfCurrentRow())
        event->ignore();
}

bool TimesheetWindow::eventFilter(QObject* watched, QEvent* event)
{
    // A button goes to its neighbour with any of the four arrows.
    if (event->type() == QEvent::KeyPress) {
        auto& key = *static_cast<QKeyEvent*>(event);
        if (key.key() == Qt::Key_Up || key.key() == Qt::Key_Down)
            return handKeyToList(key);
    }
    return StripWindow::eventFilter(watched, event);
}

} // namespace timesheet
