#pragma once

#include "../app/AppRun.h"
#include "editing/EditTimerController.h"
#include "seed/Seed.h"
#include "skin/ImageButton.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/Spinner.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetController.h"
#include "timesheet/TimesheetWindow.h"

#include <QApplication>
#include <QMenu>
#include <QPushButton>

/// The program with its real timesheet, which the first download opens.
class TimesheetRun : public AppRun
{
public:
    explicit TimesheetRun(Timers timers = Timers::Hours) : AppRun(true, timers) {}
    /// With these entries, and open.
    TimesheetRun(std::initializer_list<seed::Entry> entries)
    {
        for (const seed::Entry& entry : entries)
            add(entry);
        open();
    }

    /// An entry of today on the website's design, unless it says otherwise. Its id.
    localservice::Id add(seed::Entry entry)
    {
        if (entry.project == 0)
            entry.project = website;
        if (entry.task == 0)
            entry.task = design;
        if (entry.day.empty())
            entry.day = "2013-01-15";
        const auto now = std::chrono::floor<std::chrono::seconds>(test.time.now());
        return seed::add(*service.database().value(), person, entry, now.time_since_epoch().count());
    }

    /// Starts, and waits until the window is there and has the keyboard.
    void open()
    {
        start();
        QVERIFY(menulet->timesheetController());
        QVERIFY(QTest::qWaitForWindowActive(&window()));
        requested();
    }

    timesheet::TimesheetWindow& window() { return controller().window(); }
    timesheet::RLListView& list() { return *window().dayEntriesListView; }
    timesheet::TimesheetController& controller() { return *menulet->timesheetController(); }
    timesheet::TimesheetListViewCell& row(int row)
    {
        return static_cast<timesheet::TimesheetListViewCell&>(*list().visibleCellForRow(row));
    }

    /// Presses a key and waits for what was asked of the service. What that was.
    QStringList key(int key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(window().focusWidget() ? window().focusWidget() : &window(), Qt::Key(key), modifiers);
        settle();
        return requested();
    }
    QStringList click(QWidget* widget)
    {
        QTest::mouseClick(widget, Qt::LeftButton);
        settle();
        return requested();
    }

    QStringList notesShown()
    {
        QStringList notes;
        for (const model::DayEntry* entry : controller().dayEntries())
            notes << entry->notes();
        return notes;
    }
    QString date() { return window().currentDateLabel->text(); }
    QString total() { return window().totalHoursLabel->text(); }

    /// The notes of the entry in the edit sheet; null when that is closed.
    QString edited()
    {
        const editing::EditTimerController* editor = controller().editTimerController();
        return editor && editor->isShown() ? editor->entry()->notes() : QString();
    }
    void closeEditor() { controller().editTimerController()->cancel(); }
};

/// The menu that is open, null without one.
inline QMenu* openMenu()
{
    return qobject_cast<QMenu*>(QApplication::activePopupWidget());
}

inline QStringList titles(const QMenu& menu)
{
    QStringList list;
    for (const QAction* action : menu.actions())
        list << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return list;
}
