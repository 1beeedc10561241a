#include "timesheet/TimesheetListViewCell.h"

#include "model/Client.h"
#include "model/Project.h"
#include "model/Task.h"
#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"
#include "skin/ImageButton.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/RunningButtonBackground.h"
#include "skin/SpokenHours.h"
#include "timesheet/NotesView.h"
#include "timesheet/RLListView.h"
#include "timesheet/RLListViewDelegate.h"

#include <QContextMenuEvent>
#include <QLocale>
#include <QMenu>
#include <QPaintEvent>
#include <QPainter>
#include <QStyle>

namespace timesheet {

using namespace Qt::StringLiterals;
using skin::color;
using skin::imageNamed;
using skin::Role;

namespace {

// Positions, in points. The names, in fonts of 11, 14 and 11 points, are centred in the base height.
constexpr int SideMargin = TimesheetListViewCell::SideMargins / 2;
constexpr int ClientTop = 9;
constexpr int ProjectTop = 23;
constexpr int TaskTop = 41;
constexpr int NotesTop = 59;
constexpr int SmallLine = 15;
constexpr int ProjectLine = 18;
constexpr int HoursLine = 26;
constexpr int ButtonSize = 28;
constexpr int ButtonRight = 12;
constexpr int ColumnGap = 8;
constexpr qsizetype MostNotes = 10'000;

/// A lock with a tool tip. Pressing it does nothing, so it does not react visibly.
class LockedButton final : public skin::ImageButton
{
public:
    explicit LockedButton(QWidget* parent)
        : ImageButton(imageNamed("tw-icn-lock.png"), imageNamed("tw-icn-lock.png"), parent)
    {
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        shownImage().drawAtPoint(painter, {0, 0});
    }
};

skin::QuillonTextFieldCell* makeLabel(const QString& name, const QFont& font, QWidget* parent)
{
    auto* label = new skin::QuillonTextFieldCell(parent);
    label->setObjectName(name);
    label->setFont(font);
    label->setBackgroundStyle(skin::QuillonTextFieldCell::BackgroundStyle::Raised);
    return label;
}

void setTextColor(skin::QuillonTextFieldCell& label, const QColor& wanted)
{
    if (label.palette().color(QPalette::WindowText) != wanted)
        label.setTextColor(wanted);
}

} // namespace

/// Appends a copy of every item, in order. Returns how many items the target then has.
static int addItemsToMenuFromMenu(QMenu& target, const TimesheetListViewCell::Menu& source)
{
    for (const TimesheetListViewCell::MenuItem& item : source) {
        if (item.title.isEmpty()) {
            target.addSeparator();
            continue;
        }
        QAction* action = target.addAction(item.title);
        action->setData(QVariant::fromValue(item.command));
        action->setShortcut(item.key);
    }
    return static_cast<int>(target.actions().size());
}

const QString TimesheetListViewCell::ReusableIdentifierOfAll = u"TimesheetListViewCell"_s;

QFont TimesheetListViewCell::notesFont()
{
    return skin::interfaceFont(11);
}

QString TimesheetListViewCell::shownNotes(const QString& notes)
{
    if (notes.size() <= MostNotes)
        return notes;
    const qsizetype shown = MostNotes - (notes.at(MostNotes - 1).isHighSurrogate() ? 1 : 0);
    return notes.first(shown) + tr("… (%1 more characters)").arg(QLocale().toString(notes.size() - shown));
}

TimesheetListViewCell::TimesheetListViewCell(TimesheetRowCommands& commands)
    : RLListViewCell(ReusableIdentifierOfAll), clientLabel(makeLabel(u"clientLabel"_s, skin::interfaceFont(11), this)),
      projectLabel(makeLabel(u"projectLabel"_s, skin::interfaceFont(14, QFont::Bold), this)),
      taskLabel(makeLabel(u"taskLabel"_s, skin::interfaceFont(11), this)),
      hoursLabel(makeLabel(u"hoursLabel"_s, skin::interfaceFont(19), this)),
      notesLabel(new NotesView(notesFont(), this)), runningButtonView(new skin::RunningButtonBackground(this)),
      startStopButton(new skin::QuillonTimesheetButtonCell(this)), lockedButton(new LockedButton(this)),
      m_commands(commands)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    hoursLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    notesLabel->setObjectName(u"notesLabel"_s);
    runningButtonView->setObjectName(u"runningButtonView"_s);
    startStopButton->setObjectName(u"startStopButton"_s);
    lockedButton->setObjectName(u"lockedButton"_s);
    // One stop for Tab: the list's keys do what the buttons do.
    for (QWidget* button : {static_cast<QWidget*>(startStopButton), static_cast<QWidget*>(lockedButton)})
        button->setFocusPolicy(Qt::NoFocus);
    lockedButton->setAccessibleName(tr("Locked"));
    connect(startStopButton, &QAbstractButton::clicked, this, &TimesheetListViewCell::toggleTimer);
    setDayEntry(nullptr);
}

void TimesheetListViewCell::setDayEntry(model::DayEntry* entry)
{
    m_dayEntry = entry;
    const model::Project* project = entry ? entry->project() : nullptr;
    const model::Client* client = project ? project->client() : nullptr;
    const model::Task* task = entry ? entry->task() : nullptr;
    clientLabel->setText(client ? client->name() : QString());
    projectLabel->setText(project ? project->displayName() : QString());
    taskLabel->setText(task ? task->name() : QString());
    notesLabel->setText(entry ? shownNotes(entry->notes()) : QString());
    notesLabel->setVisible(!notesLabel->text().isEmpty());
    updateHours();
    updateImagesForButton();
    updateTextColors();
}

void TimesheetListViewCell::updateHours()
{
    hoursLabel->setText(dayEntry() ? dayEntry()->hoursMinutes() : QString());
    layoutSubviews();
}

// Looks

TimesheetListViewCell::ButtonState TimesheetListViewCell::buttonState() const
{
    return isRunning() ? ButtonState::Running : isLocked() ? ButtonState::Locked : ButtonState::Stopped;
}

void TimesheetListViewCell::updateImagesForButton()
{
    const ButtonState state = buttonState();
    const bool running = state == ButtonState::Running;
    startStopButton->setImages(running ? skin::Image() : imageNamed("tw-icn-start.png"),
                               running ? skin::Image() : imageNamed("tw-icn-start-active.png"));
    startStopButton->setAccessibleName(running ? tr("Stop Timer") : tr("Start Timer"));
    startStopButton->setToolTip(running ? tr("Stop Timer (S)") : tr("Start Timer (S)"));
    startStopButton->setVisible(state != ButtonState::Locked);
    runningButtonView->setIsRunning(running);
    runningButtonView->setVisible(running);
    const QString reason = dayEntry() ? dayEntry()->lockedReason() : QString();
    lockedButton->setToolTip(reason.isEmpty() ? tr("Locked") : skin::toolTipFor(reason));
    lockedButton->setAccessibleDescription(reason);
    lockedButton->setVisible(state == ButtonState::Locked);
    m_shownState = state;
    update();
}

QColor TimesheetListViewCell::clientColor() const
{
    return color(isLocked() ? Role::RowLocked : Role::RowText);
}

QColor TimesheetListViewCell::projectColor() const
{
    return color(isLocked() ? Role::RowLocked : Role::RowTitle);
}

void TimesheetListViewCell::updateTextColors()
{
    setTextColor(*clientLabel, clientColor());
    setTextColor(*projectLabel, projectColor());
    setTextColor(*taskLabel, taskColor());
    setTextColor(*hoursLabel, hoursColor());
    notesLabel->setTextColor(notesColor());
}

QGradientStops TimesheetListViewCell::computeGradient() const
{
    const bool running = isRunning();
    const auto stops = [](std::initializer_list<std::pair<qreal, Role>> list) {
        QGradientStops stops;
        for (const auto& [location, role] : list)
            stops << QGradientStop(location, color(role));
        return stops;
    };
    if (isSelected()) {
        return running ? stops({{0.0, Role::RunningChosenLowest},
                                {0.05, Role::RunningChosenLower},
                                {0.95, Role::RunningChosenUpper},
                                {1.0, Role::RunningChosenUppermost}})
                       : stops({{0.0, Role::ChosenLowest},
                                {0.05, Role::ChosenLower},
                                {0.95, Role::ChosenUpper},
                                {1.0, Role::ChosenUppermost}});
    }
    return running ? stops({{0.0, Role::RunningLower}, {1.0, Role::RunningUpper}})
                   : stops({{0.0, Role::RowLower}, {1.0, Role::RowUpper}});
}

void TimesheetListViewCell::drawBorders(QPainter& painter, const QRectF& rect) const
{
    painter.setPen(QPen(color(Role::RowLine), 0));
    painter.drawLine(QLineF(rect.left(), rect.bottom() - 0.5, rect.right(), rect.bottom() - 0.5));
}

void TimesheetListViewCell::drawChosenMark(QPainter& painter) const
{
    // At the edge where reading begins: unlike the running row by its shape, not only by its shade.
    constexpr int thickness = 4;
    const QRect bar(0, 0, thickness, height() - 1);
    painter.fillRect(QStyle::visualRect(layoutDirection(), rect(), bar), color(Role::ChosenMark));
}

void TimesheetListViewCell::viewWillDraw()
{
    // Only what differs: each change requests another repaint.
    if (buttonState() != m_shownState)
        updateImagesForButton();
    updateTextColors();
}

void TimesheetListViewCell::paintEvent(QPaintEvent* event)
{
    viewWillDraw();
    QPainter painter(this);
    QLinearGradient gradient(0, height(), 0, 0);
    gradient.setStops(computeGradient());
    painter.fillRect(event->rect(), gradient);
    drawBorders(painter, rect());
    if (isSelected())
        drawChosenMark(painter);
}

void TimesheetListViewCell::layoutSubviews()
{
    const int buttonLeft = width() - ButtonRight - ButtonSize;
    const auto place = [this](QWidget& part, int left, int top, int width, int height) {
        part.setGeometry(QStyle::visualRect(layoutDirection(), rect(), {left, top, width, height}));
    };
    for (QWidget* button : {static_cast<QWidget*>(runningButtonView), static_cast<QWidget*>(startStopButton),
                            static_cast<QWidget*>(lockedButton)})
        place(*button, buttonLeft, (BaseHeight - ButtonSize) / 2, ButtonSize, ButtonSize);

    const int hoursRight = buttonLeft - ColumnGap;
    const int hoursWidth = hoursLabel->sizeHint().width();
    place(*hoursLabel, hoursRight - hoursWidth, (BaseHeight - HoursLine) / 2, hoursWidth, HoursLine);

    const int namesWidth = std::max(0, hoursRight - hoursWidth - 2 * ColumnGap - SideMargin);
    place(*clientLabel, SideMargin, ClientTop, namesWidth, SmallLine);
    place(*projectLabel, SideMargin, ProjectTop, namesWidth, ProjectLine);
    place(*taskLabel, SideMargin, TaskTop, namesWidth, SmallLine);
    place(*notesLabel, SideMargin, NotesTop, width() - SideMargins, std::max(0, height() - BaseHeight - NotesMargin));
}

void TimesheetListViewCell::resizeEvent(QResizeEvent*)
{
    layoutSubviews();
}

void TimesheetListViewCell::enterEvent(QEnterEvent*)
{
    m_isHovered = true;
}

void TimesheetListViewCell::leaveEvent(QEvent*)
{
    m_isHovered = false;
}

QString TimesheetListViewCell::accessibleText() const
{
    QStringList parts{clientLabel->text(), projectLabel->text(), taskLabel->text(),
                      skin::spokenHours(hoursLabel->text())};
    if (isRunning())
        parts << tr("running");
    else if (isLocked())
        parts << tr("locked");
    parts << skin::displayable(notesLabel->text());
    parts.removeAll(QString());
    return parts.join(u", "_s);
}

// Commands

const TimesheetListViewCell::Menu& TimesheetListViewCell::contextMenu()
{
    static const Menu menu{{tr("Edit Timer"), Command::Edit, Qt::Key_E},
                           {tr("Start Timer"), Command::ToggleTimer, Qt::Key_S},
                           {tr("Delete Timer"), Command::DeleteTimer},
                           {},
                           {tr("View in Quillon"), Command::ViewOnQuillon}};
    return menu;
}

const TimesheetListViewCell::Menu& TimesheetListViewCell::lockedEntryContextMenu()
{
    static const Menu menu{{tr("View in Quillon"), Command::ViewOnQuillon}};
    return menu;
}

std::unique_ptr<QMenu> TimesheetListViewCell::menuForEvent()
{
    auto menu = std::make_unique<QMenu>();
    if (isLocked()) {
        addItemsToMenuFromMenu(*menu, lockedEntryContextMenu());
    } else {
        addItemsToMenuFromMenu(*menu, contextMenu());
        menu->actions().at(1)->setText(isRunning() ? tr("Stop Timer") : tr("Start Timer"));
    }
    // A refresh may give this cell another entry, or the entry another row, while the menu is open.
    connect(menu.get(), &QMenu::triggered, this, [this, entry = m_dayEntry](const QAction* action) {
        const int row = entry ? m_commands.rowOfEntry(*entry.get()) : -1;
        if (row >= 0)
            perform(action->data().value<Command>(), row);
    });
    return menu;
}

void TimesheetListViewCell::popUpMenu(QPoint globalPosition, std::optional<Command> preselected)
{
    QMenu* menu = menuForEvent().release();
    menu->setParent(window(), menu->windowFlags());
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(globalPosition);
    for (QAction* action : menu->actions()) {
        if (preselected && !action->isSeparator() && action->data().value<Command>() == *preselected)
            menu->setActiveAction(action);
    }
}

void TimesheetListViewCell::contextMenuEvent(QContextMenuEvent* event)
{
    if (dayEntry())
        popUpMenu(event->globalPos());
}

void TimesheetListViewCell::perform(Command command, int row)
{
    switch (command) {
    case Command::Edit:
        // As a double click, so that both pass the same guards.
        if (listView() && listView()->delegate())
            listView()->delegate()->rowDoubleClicked(*listView(), row);
        break;
    case Command::ToggleTimer:
        m_commands.buttonClickedAt(row);
        break;
    case Command::DeleteTimer:
        m_commands.deleteTimerAt(row);
        break;
    case Command::ViewOnQuillon:
        m_commands.viewInQuillonAtRow(row);
        break;
    }
}

} // namespace timesheet
