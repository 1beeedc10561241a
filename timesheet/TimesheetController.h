#pragma once

#include "editing/EditTimerOwner.h"
#include "model/Company.h"
#include "model/DayEntry.h"
#include "store/Object.h"
#include "timesheet/RLListViewDelegate.h"
#include "timesheet/TimesheetListViewCell.h"

#include <QDate>
#include <QDateTime>
#include <QObject>

#include <memory>
#include <optional>
#include <vector>

namespace editing {
class EditTimerController;
}
namespace service {
class QuillonApi;
}

namespace skin {
struct Hint;
}

namespace timesheet {

class TimesheetController;
class TimesheetWindow;

/// What the timesheet needs from the program's controller.
class TimesheetOwner
{
public:
    virtual void showNewTimerWindow(QObject* sender) = 0;
    virtual void openQuillonInBrowser(QObject* sender) = 0;
    virtual void showPreferencePanel(QObject* sender) = 0;

protected:
    ~TimesheetOwner() = default;
};

/// The window that shows one day's entries of the account, with the actions on them.
///
/// It never waits for the service: it sends a request, shows that it is loading, and reloads when told that the reply
/// is stored. Days are local calendar days. Main thread only.
class TimesheetController final : public QObject,
                                  public RLListViewDelegate,
                                  public TimesheetRowCommands,
                                  private editing::EditTimerOwner
{
    Q_OBJECT
public:
    /// `owner` must outlive the controller.
    explicit TimesheetController(TimesheetOwner& owner);
    ~TimesheetController() override;

    model::Company* company() const { return m_company.get(); }
    /// Null: none. Whatever was shown of the previous account disappears with it.
    void setCompany(model::Company* company);
    /// The displayed entries, in row order; null for one deleted since.
    std::vector<model::DayEntry*> dayEntries() const;
    QDate currentDate() const { return m_currentDate; }
    void setCurrentDate(QDate date) { m_currentDate = date; }
    /// When the window was last shown; invalid before.
    QDateTime lastOpenedTime() const { return m_lastOpenedTime; }
    /// Null before the first entry is edited.
    editing::EditTimerController* editTimerController() const { return m_editTimerController.get(); }
    TimesheetWindow& window() const { return *m_window; }
    RLListView& dayEntriesListView() const;
    bool offline() const { return m_offline; }
    /// Between a request from this window and the next reload.
    bool loading() const { return m_loading; }

    /// Replaces the desktop's frame by the window's own title strip.
    void windowHack();

    /// Does a part of what the first show would do before anything can be seen, a few milliseconds, and shows nothing.
    /// False: nothing is left.
    bool prepareMore();
    /// Raises the window above all others, on today if it was last opened on an earlier day and no displayed timer
    /// runs.
    void show();
    /// Hides the window if it has the keyboard, else shows it.
    void toggle();
    void updateKeyEquivalents();
    /// Shows the day as stored. Ends the loading state.
    void reloadEntries();
    /// The store has changed: reloads at once or, while the window is hidden, when it is shown.
    void entriesDidChange();

    void advanceDate(const QObject* sender);
    void goToToday();
    /// Shows that day when its entries have come.
    void goToDate(QDate date);
    /// A day as the window writes it.
    static QString dateLabel(QDate date);
    void newTimerClicked(QObject* sender);
    void goToQuillon(QObject* sender);

    void buttonClickedAt(int row) override;
    void deleteTimerAt(int row) override;
    void viewInQuillonAtRow(int row) override;
    int rowOfEntry(const model::DayEntry& entry) const override;

    void editTimer(model::DayEntry& entry);
    void dismissEditTimer() override;
    void editTimerFailed() override { reloadEntries(); }
    /// To be called after each merge that touched the catalog.
    void catalogDidChange();

    /// Shows the message below the toolbar; empty: removes it.
    void setHint(const std::optional<skin::Hint>& hint);
    /// Likewise a question, until it is answered. Changing its texts leaves the focus where it is.
    void setQuestion(const std::optional<skin::Hint>& question);
    /// Nobody is signed in: an empty day says so, and links to the preferences.
    void setLoggedOut(bool loggedOut);
    void setOffline(bool offline);
    void wentOffline() { setOffline(true); }
    void wentOnline() { setOffline(false); }
    void toggleLoading(bool loading);

    static bool isDateToday(QDate date);
    bool isToday() const { return isDateToday(m_currentDate); }
    bool anyRunningTimers() const;
    void checkShouldGoToToday();
    void updateDateLabel();
    void updateTotal();
    void updateForNoEntries();
    void updateEmptyDayNote();
    void updateGoToTodayButton();
    void updateButtonsWhenNotToday();
    void updateSelection();
    /// To the first running entry or, when none runs, to the last row.
    void updateScrolling();
    void fixTotalPosition();

    int numberOfRowsInListView(RLListView& listView) override;
    RLListViewCell& cellForRow(RLListView& listView, int row) override;
    double heightOfRow(RLListView& listView, int row) override;
    const void* objectOfRow(RLListView& listView, int row) override;
    void selectionDidChange(RLListView& listView) override;
    void rowDoubleClicked(RLListView& listView, int row) override;
    void keyDown(RLListView& listView, QKeyEvent& event) override;

private:
    QWidget& editTimerWindow() override;
    QWidget* editTimerTopEdge() override;
    QWidgetList partsUsableWhileEditing() override;

    void wire();
    /// The page of that day, in the browser.
    static void openDay(QDate day, const QString& query = {});
    void showMenuOfSelectedRow(std::optional<TimesheetListViewCell::Command> preselected);
    model::DayEntry* entryAt(int row) const;
    bool isWatched() const;
    void watchHours();
    void updateHours();
    bool eventFilter(QObject* watched, QEvent* event) override;

    TimesheetOwner& m_owner;
    service::QuillonApi& m_api;
    std::unique_ptr<TimesheetWindow> m_window;
    std::unique_ptr<editing::EditTimerController> m_editTimerController; ///< its sheet is in the window
    store::Ref<model::Company> m_company;
    std::vector<store::Ref<model::DayEntry>> m_dayEntries;
    QHash<QString, double> m_notesHeights; ///< at the width for which they were measured
    int m_notesWidth = 0;
    QDate m_currentDate;
    int m_preparedParts = 0;
    QDateTime m_lastOpenedTime;
    int m_lastSelectedRow = -1;
    bool m_loading = false;
    bool m_isBehind = false; ///< the store has changed since the last reload
    bool m_offline = false;
    bool m_loggedOut = false;
};

} // namespace timesheet
