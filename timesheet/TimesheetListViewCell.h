#pragma once

#include "model/DayEntry.h"
#include "store/Object.h"
#include "timesheet/RLListView.h"
#include "timesheet/RLListViewCell.h"

#include <QColor>
#include <QGradient>
#include <QKeySequence>

#include <memory>
#include <optional>
#include <vector>

class QMenu;

namespace skin {
class ImageButton;
class QuillonTextFieldCell;
class RunningButtonBackground;
} // namespace skin

namespace timesheet {

class NotesView;

/// Commands from the rows of the timesheet. The rows must exist.
class TimesheetRowCommands
{
public:
    virtual void buttonClickedAt(int row) = 0;
    virtual void deleteTimerAt(int row) = 0;
    virtual void viewInQuillonAtRow(int row) = 0;
    /// The row that shows the entry; -1: none any more.
    virtual int rowOfEntry(const model::DayEntry& entry) const = 0;

protected:
    ~TimesheetRowCommands() = default;
};

/// One row of the timesheet: an entry with its names, notes and hours, and the button that starts or stops it, or a
/// lock. Only a view; every command goes to the list's delegate, and to the given `commands`.
///
/// Object names of the parts are the members' names. Texts are those of the last `setDayEntry`, colors and buttons
/// follow the entry.
class TimesheetListViewCell final : public RLListViewCell
{
    Q_OBJECT
public:
    static const QString ReusableIdentifierOfAll;

    /// Heights, in points: of a row without notes, and what one with notes has besides their lines.
    static constexpr int BaseHeight = 65;
    static constexpr int NotesMargin = 2;
    /// Left and right of the notes together: they are drawn in exactly the width they are measured with.
    static constexpr int SideMargins = 20;
    static QFont notesFont();
    /// The part of an entry's notes shown in a row: the beginning, many times as long as the window is high, and how
    /// much more there is.
    static QString shownNotes(const QString& notes);

    /// `commands` must outlive the cell.
    explicit TimesheetListViewCell(TimesheetRowCommands& commands);

    /// Null empties the row.
    void setDayEntry(model::DayEntry* entry);
    /// Null when it is gone.
    model::DayEntry* dayEntry() const { return m_dayEntry.get(); }
    /// Shows the hours of now.
    void updateHours();

    skin::QuillonTextFieldCell* clientLabel;
    skin::QuillonTextFieldCell* projectLabel;
    skin::QuillonTextFieldCell* taskLabel;
    skin::QuillonTextFieldCell* hoursLabel;
    NotesView* notesLabel;
    skin::RunningButtonBackground* runningButtonView;
    skin::ImageButton* startStopButton;
    skin::ImageButton* lockedButton;

    bool isHovered() const { return m_isHovered; }

    QColor clientColor() const;
    QColor projectColor() const;
    QColor taskColor() const { return clientColor(); }
    QColor hoursColor() const { return clientColor(); }
    QColor notesColor() const { return clientColor(); }
    void updateTextColors();
    void updateImagesForButton();
    /// From the lower edge of the row to the upper one.
    QGradientStops computeGradient() const;
    void drawBorders(QPainter& painter, const QRectF& rect) const;

    enum class Command
    {
        Edit,
        ToggleTimer,
        DeleteTimer,
        ViewOnQuillon
    };
    struct MenuItem
    {
        QString title; ///< empty: a separator
        Command command = Command::Edit;
        QKeySequence key = {};
    };
    using Menu = std::vector<MenuItem>;

    /// The source of all rows' menus.
    static const Menu& contextMenu();
    static const Menu& lockedEntryContextMenu();
    /// The menu of this row as it is now. It acts on the entry shown now, wherever that is by then.
    std::unique_ptr<QMenu> menuForEvent();
    /// Opens the menu, with the item `preselected` ready to be chosen by Return.
    void popUpMenu(QPoint globalPosition, std::optional<Command> preselected = {});

    void edit() { perform(Command::Edit, row()); }
    void toggleTimer() { perform(Command::ToggleTimer, row()); }
    void deleteTimer() { perform(Command::DeleteTimer, row()); }
    void viewOnQuillon() { perform(Command::ViewOnQuillon, row()); }

    void layoutSubviews() override;
    /// Nothing: what the row showed stays until it is given its new entry.
    void prepareForReuse() override {}
    QString accessibleText() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    enum class ButtonState
    {
        Stopped,
        Running,
        Locked
    };

    ButtonState buttonState() const;
    bool isRunning() const { return dayEntry() && dayEntry()->isRunning(); }
    bool isLocked() const { return dayEntry() && dayEntry()->isLocked(); }
    void drawChosenMark(QPainter& painter) const;
    void viewWillDraw();
    void perform(Command command, int row);

    TimesheetRowCommands& m_commands;
    store::Ref<model::DayEntry> m_dayEntry;
    bool m_isHovered = false;
    ButtonState m_shownState = ButtonState::Stopped;
};

} // namespace timesheet
