#include "timesheet/TimesheetWindow.h"

#include "settings/UserDefaults.h"
#include "skin/Backgrounds.h"
#include "skin/Colors.h"
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

#include <QBoxLayout>
#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QShortcut>
#include <QStyle>

#include <cmath>
#include <utility>

namespace timesheet {

using namespace Qt::StringLiterals;
using skin::color;
using skin::imageNamed;
using skin::Role;

namespace {

/// Base64 of what QWidget::saveGeometry makes: place, size, and whether the window was maximized.
constexpr QLatin1StringView FrameKey("TimesheetWindowFrame");

constexpr QSize FirstSize(460, 540);
constexpr QSize LeastSize(440, 320);

// In points.
constexpr int SideMargin = 10;
constexpr int FooterHeight = 34;
constexpr int TotalRight = 36;
/// Aligns the total with the hours of the rows.
constexpr int TotalPadding = 12;
constexpr int TotalSpacing = 7;
constexpr int DateSpacing = 10;
constexpr int DateButtonBottom = 12;

/// A picture that does nothing.
class Picture final : public QWidget
{
public:
    explicit Picture(skin::Image image) : m_image(image) { setFixedSize(image.size().toSize()); }

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

/// Days go on in the direction in which people read.
Qt::Key keyBack()
{
    return QGuiApplication::isRightToLeft() ? Qt::Key_Right : Qt::Key_Left;
}

Qt::Key keyForward()
{
    return QGuiApplication::isRightToLeft() ? Qt::Key_Left : Qt::Key_Right;
}

const char* arrow(Qt::Key key, bool pressed)
{
    if (key == Qt::Key_Left)
        return pressed ? "tw-back-active.png" : "tw-back.png";
    return pressed ? "tw-forward-active.png" : "tw-forward.png";
}

skin::ImageButton* imageButton(const char* image, const char* pressed, const QString& name, Qt::Key key,
                               const QString& objectName, QWidget* parent)
{
    auto* button = named(new skin::ImageButton(imageNamed(image), imageNamed(pressed), parent), objectName);
    button->setAccessibleName(name);
    //: What a button does, and its keys.
    button->setToolTip(
        TimesheetWindow::tr("%1 (%2)").arg(name, QKeySequence(Qt::CTRL | key).toString(QKeySequence::NativeText)));
    return button;
}

skin::QuillonTextFieldCell* label(int points, QFont::Weight weight, Role role, const QString& objectName,
                                  QWidget* parent)
{
    auto* label = named(new skin::QuillonTextFieldCell(parent), objectName);
    label->setFont(skin::interfaceFont(points, weight));
    skin::dressed(*label, [label, role] { label->setTextColor(color(role)); });
    label->setAlignment(Qt::AlignCenter);
    label->setBackgroundStyle(skin::QuillonTextFieldCell::BackgroundStyle::Raised);
    return label;
}

} // namespace

TimesheetWindow::TimesheetWindow()
    : toolbarView(named(new ToolbarView(&contentView()), u"toolbarView"_s)),
      backButton(imageButton(arrow(keyBack(), false), arrow(keyBack(), true), tr("Previous Day"), keyBack(),
                             u"backButton"_s, toolbarView)),
      forwardButton(imageButton(arrow(keyForward(), false), arrow(keyForward(), true), tr("Next Day"), keyForward(),
                                u"forwardButton"_s, toolbarView)),
      dateAndButtonContainer(named(new QWidget(toolbarView), u"dateAndButtonContainer"_s)),
      currentDateLabel(label(14, QFont::Bold, Role::DateText, u"currentDateLabel"_s, dateAndButtonContainer)),
      goToTodayButton(imageButton("tw-today.png", "tw-today-active.png", tr("Today"), Qt::Key_T, u"goToTodayButton"_s,
                                  dateAndButtonContainer)),
      newTimerButton(imageButton("tw-add-one.png", "tw-add-one-active.png", tr("New Timer"), Qt::Key_N,
                                 u"newTimerButton"_s, toolbarView)),
      dailyTimesheetView(named(new QWidget(&contentView()), u"dailyTimesheetView"_s)),
      dayEntriesListView(named(new RLListView(dailyTimesheetView), u"dayEntriesListView"_s)),
      noEntriesYetView(named(new skin::QuillonNoEntriesBackgroundView(dailyTimesheetView), u"noEntriesYetView"_s)),
      noEntriesLabel(label(14, QFont::Normal, Role::QuietText, u"noEntriesLabel"_s, noEntriesYetView)),
      startNewTimerButton(named(new skin::QuillonButtonCell({}, noEntriesYetView), u"startNewTimerButton"_s)),
      goToQuillonButton(
          named(new skin::QuillonButtonCell(tr("View in Quillon"), noEntriesYetView), u"goToQuillonButton"_s)),
      emptyDayNote(label(12, QFont::Normal, Role::QuietText, u"emptyDayNote"_s, noEntriesYetView)),
      signInButton(named(new skin::QuillonButtonCell(tr("Open the Preferences"), noEntriesYetView), u"signInButton"_s)),
      bottomBarView(named(new skin::BottomBarView(&contentView()), u"bottomBarView"_s)),
      offlineIndicator(named(new QWidget(bottomBarView), u"offlineIndicator"_s)),
      loadingIndicator(named(new skin::Spinner(bottomBarView), u"loadingIndicator"_s)),
      totalLabel(label(11, QFont::Normal, Role::QuietText, u"totalLabel"_s, bottomBarView)),
      totalHoursLabel(label(14, QFont::Bold, Role::TotalText, u"totalHoursLabel"_s, bottomBarView))
{
    setObjectName(u"Timesheet"_s);
    setWindowTitle(tr("Timesheet"));
    setMinimumSize(LeastSize);
    dayEntriesListView->setAccessibleName(tr("Timers"));
    skin::dressed(*dayEntriesListView, [this] {
        QPalette list = dayEntriesListView->palette();
        list.setColor(QPalette::Base, color(Role::Ground));
        dayEntriesListView->setPalette(list);
    });
    dayEntriesListView->setFocus();
    skin::dressed(*loadingIndicator, [this] {
        QPalette spokes = loadingIndicator->palette();
        spokes.setColor(QPalette::WindowText, color(Role::TotalText));
        loadingIndicator->setPalette(spokes);
    });
    signInButton->hide();
    totalHoursLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    totalHoursLabel->setContentsMargins(isRightToLeft() ? TotalPadding : 0, 0, isRightToLeft() ? 0 : TotalPadding, 0);
    totalLabel->setText(tr("Total"));
    totalLabel->setBuddy(totalHoursLabel);
    loadingIndicator->setAccessibleName(tr("Loading"));

    offlineIndicator->hide();
    loadingIndicator->hide();
    layOut();
    addKeys();
    for (QAbstractButton* button : toolbarView->findChildren<QAbstractButton*>())
        button->installEventFilter(this);
}

void TimesheetWindow::layOut()
{
    toolbarView->setFixedHeight(ToolbarView::Height);
    auto* toolbar = new QHBoxLayout(toolbarView);
    toolbar->setContentsMargins(SideMargin, 0, SideMargin, 0);
    toolbar->setSpacing(4);
    toolbar->addWidget(backButton, 0, Qt::AlignVCenter);
    toolbar->addWidget(forwardButton, 0, Qt::AlignVCenter);
    toolbar->addStretch();
    toolbar->addWidget(newTimerButton, 0, Qt::AlignVCenter);

    auto* emptyDay = new QVBoxLayout(noEntriesYetView);
    emptyDay->setContentsMargins(SideMargin, 0, SideMargin, 11);
    emptyDay->setSpacing(0);
    auto* picture = new Picture(imageNamed("tw-empty-day.png"));
    noEntriesLabel->setFixedHeight(20);
    emptyDayNote->setFixedHeight(18);
    QSizePolicy kept = emptyDayNote->sizePolicy();
    kept.setRetainSizeWhenHidden(true);
    emptyDayNote->setSizePolicy(kept);
    emptyDay->addStretch();
    emptyDay->addWidget(picture, 0, Qt::AlignHCenter);
    emptyDay->addSpacing(80 - picture->height());
    emptyDay->addWidget(noEntriesLabel);
    emptyDay->addSpacing(16);
    for (QWidget* button : {startNewTimerButton, goToQuillonButton, signInButton})
        emptyDay->addWidget(button, 0, Qt::AlignHCenter);
    emptyDay->addSpacing(15);
    emptyDay->addWidget(emptyDayNote);
    emptyDay->addStretch();
    auto* day = new QVBoxLayout(dailyTimesheetView);
    day->setContentsMargins({});
    day->addWidget(dayEntriesListView);
    day->addWidget(noEntriesYetView);

    auto* offline = new QHBoxLayout(offlineIndicator);
    auto* cloud = new Picture(imageNamed("tw-offline.png"));
    auto* text = label(11, QFont::Normal, Role::QuietText, u"offlineLabel"_s, offlineIndicator);
    text->setText(tr("Offline"));
    offline->setContentsMargins(0, 0, 0, 2);
    offline->setSpacing(24 - cloud->width());
    offline->addWidget(cloud);
    offline->addWidget(text);
    bottomBarView->setFixedHeight(FooterHeight);
    auto* footer = new QHBoxLayout(bottomBarView);
    footer->setContentsMargins(SideMargin, 2, SideMargin + 2, 0);
    footer->addWidget(offlineIndicator, 0, Qt::AlignVCenter);
    footer->addStretch();
    footer->addWidget(loadingIndicator, 0, Qt::AlignVCenter);

    m_rows = new QVBoxLayout(&contentView());
    m_rows->setContentsMargins({});
    m_rows->setSpacing(0);
    m_rows->addWidget(toolbarView);
    m_rows->addWidget(dailyTimesheetView, 1);
    m_rows->addWidget(bottomBarView);
}

/// A key does what its button does, and nothing while that is disabled or hidden.
void TimesheetWindow::addKeys()
{
    const std::pair<QKeySequence, QAbstractButton*> keys[] = {
        {Qt::CTRL | keyBack(), backButton},       {Qt::ALT | keyBack(), backButton},
        {Qt::CTRL | keyForward(), forwardButton}, {Qt::ALT | keyForward(), forwardButton},
        {Qt::CTRL | Qt::Key_T, goToTodayButton},  {Qt::CTRL | Qt::Key_N, newTimerButton}};
    for (const auto& [key, button] : keys) {
        auto* shortcut = new QShortcut(key, this);
        shortcut->setAutoRepeat(false); // each press is a request
        connect(shortcut, &QShortcut::activated, button, [button = button] {
            if (button->isVisible())
                button->click();
        });
    }
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
    const QSize button = goToTodayButton->sizeHint();
    const double text = std::ceil(QFontMetricsF(currentDateLabel->font()).horizontalAdvance(currentDateLabel->text()));
    const double labelWidth = text + (withButton ? DateSpacing : 0);
    const double groupWidth = labelWidth + (withButton ? button.width() : 0);
    const int left = qRound((toolbarView->width() - groupWidth) / 2);
    dateAndButtonContainer->setGeometry(left, 0, qRound(groupWidth), ToolbarView::Height);
    const auto place = [this](QWidget& part, const QRect& box) {
        part.setGeometry(QStyle::visualRect(layoutDirection(), dateAndButtonContainer->rect(), box));
    };
    place(*currentDateLabel, {0, 0, qRound(text), ToolbarView::Height - 1});
    place(*goToTodayButton, {{qRound(labelWidth), DateButtonBottom}, button});
}

void TimesheetWindow::setEmptyDayNote(const QString& text)
{
    emptyDayNote->setText(text);
    emptyDayNote->setVisible(!text.isEmpty());
}

void TimesheetWindow::setCard(skin::HintCard*& card, const std::optional<skin::Hint>& hint)
{
    if (hint && !card) {
        const bool isQuestion = &card == &m_questionCard;
        card = named(new skin::HintCard(&contentView()), isQuestion ? u"questionCard"_s : u"hintCard"_s);
        card->stackUnder(dailyTimesheetView);
        QSizePolicy byWidth(QSizePolicy::Preferred, QSizePolicy::Fixed);
        byWidth.setHeightForWidth(true);
        card->setSizePolicy(byWidth);
        const bool isSecond = !isQuestion && m_questionCard;
        m_rows->insertWidget(isSecond ? 2 : 1, card);
        setTabOrder(isSecond ? static_cast<QWidget*>(m_questionCard) : newTimerButton, card);
    }
    if (!card)
        return;
    const bool isLeft = !hint && card->isAncestorOf(focusWidget());
    if (hint)
        card->setHint(*hint);
    card->setVisible(hint.has_value());
    if (isLeft)
        focusContent();
}

void TimesheetWindow::setStartNewTimerTitle(const QString& title)
{
    startNewTimerButton->setText(title);
}

void TimesheetWindow::placeTotal()
{
    const int width = totalHoursLabel->sizeHint().width();
    const int left = this->width() - width - TotalRight;
    const int titleWidth = totalLabel->sizeHint().width();
    const QRect footer(0, 0, this->width(), FooterHeight);
    totalHoursLabel->setGeometry(QStyle::visualRect(layoutDirection(), footer, {left, 1, width, FooterHeight - 1}));
    // On the same baseline.
    totalLabel->setGeometry(QStyle::visualRect(layoutDirection(), footer,
                                               {left - titleWidth - TotalSpacing, 2, titleWidth, FooterHeight - 2}));
}

void TimesheetWindow::setTotalVisible(bool visible)
{
    totalLabel->setVisible(visible);
    totalHoursLabel->setVisible(visible);
}

void TimesheetWindow::restoreFrame()
{
    const QString saved = settings::UserDefaults::standardUserDefaults().stringForKey(FrameKey);
    const bool known = restoreGeometry(QByteArray::fromBase64(saved.toLatin1()));
    if (isMaximized())
        return;
    // Entirely on its screen, however that has changed since.
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
    centreDate(!goToTodayButton->isHidden());
    placeTotal();
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

/// The focused widget did not use the key.
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
        // Moving through the list puts the focus there.
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
    // Any of the four arrows moves a button's focus to its neighbour.
    if (event->type() == QEvent::KeyPress) {
        auto& key = *static_cast<QKeyEvent*>(event);
        if (key.key() == Qt::Key_Up || key.key() == Qt::Key_Down)
            return handKeyToList(key);
    }
    return StripWindow::eventFilter(watched, event);
}

} // namespace timesheet
