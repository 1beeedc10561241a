#pragma once

#include "app/IdleTimer.h"
#include "app/TimeHere.h"
#include "booking/Bookings.h"
#include "model/Host.h"
#include "platform/Alerts.h"
#include "platform/Reachability.h"
#include "platform/TimeSource.h"
#include "preferences/PreferencesOwner.h"
#include "service/OutcomeReceiver.h"
#include "settings/HotKeyManager.h"
#include "skin/StatusItemOwner.h"
#include "store/Object.h"
#include "timesheet/TimesheetController.h"

#include <QDateTime>
#include <QObject>

#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace editing {
class NewTimerController;
}
namespace platform {
class StatusItem;
}
namespace preferences {
class PreferenceController;
}
namespace service {
class QuillonApi;
}
namespace settings {
class QuillonPreferences;
}
namespace skin {
class AboutController;
class QuillonStatusItemView;
} // namespace skin
namespace store {
class Context;
class Coordinator;
class Model;
} // namespace store

namespace app {

class FirstSteps;
class StatusMenu;

/// The width of the status item, in points, for hours of up to two digits and while offline.
inline constexpr float QuillonStatusItemDefaultWidth = 71.0F;

/// The program's controller: owns the status item, the local store, the refresh cycle and the windows, carries out the
/// menu's commands, and receives the outcomes of requests.
///
/// One per run, made inside it and destroyed before it. Main thread only, except what `model::Host` promises for any.
class WrenfoldMenulet final : public QObject,
                              public service::OutcomeReceiver,
                              public settings::HotKeyTarget,
                              public skin::StatusItemOwner,
                              public timesheet::TimesheetOwner,
                              public preferences::PreferencesOwner,
                              public model::Host,
                              public IdleTimerDelegate
{
    Q_OBJECT
public:
    explicit WrenfoldMenulet(BuiltInService::Maker builtInService = {});
    ~WrenfoldMenulet() override;

    // Start-up, in this order.

    /// Decides whether the program appears beside others or only in the bar.
    void applicationWillFinishLaunching();
    /// Whether an earlier start has left a store.
    static bool hasStore();
    /// Creates the status item, with placeholder hours. This thread has done nothing slow by then.
    void showStatusItem();
    /// Everything else: signs in, watches the network, checks for updates. Creates the status item if necessary.
    void awakeFromNib();

    /// From now on no window comes up unless somebody asks for one. Before `awakeFromNib`.
    void startInBackground() { m_inBackground = true; }

    /// The program was started again while running: shows the timesheet. Always false: the caller does nothing more.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

    // The local store. An unusable file is left alone, and the program works from memory.

    /// The data model, from the program's resources.
    const store::Model* managedObjectModel();
    /// Made on first use and kept, whether or not the file could be opened. Any thread.
    std::shared_ptr<store::Coordinator> persistentStoreCoordinator();
    /// The main thread's context.
    store::Context* managedObjectContext();
    /// Empty: there is no such folder.
    static QString applicationSupportFolder();
    /// The same folder, created if necessary. Empty when that fails.
    static QString directoryForDataStore();

    // What is shown of the account.

    model::Company* company() const;
    void setCompany(model::Company* company);
    /// The most recent one of the account; null: none.
    model::DayEntry* currentEntry() const;
    /// The timer that runs on a day that the item does not show, as far as the store knows; null: none.
    model::DayEntry* timerElsewhere() const;
    /// That there is one, as a sentence; empty: none.
    QString timerElsewhereText() const;
    bool loggedOut() const override { return m_connection.loggedOut; }
    bool offline() const override { return m_connection.offline; }
    /// Whether time can be booked now.
    booking::State accountState() const;
    booking::Bookings& bookings() { return m_bookings; }
    bool showingInDock() const override { return m_showingInDock; }
    TimeHere& timeHere() { return m_timeHere; }
    StatusMenu& menu() const { return *m_menu; }
    skin::QuillonStatusItemView& statusItemView() const { return *m_view; }

    // Null before they are first shown.

    timesheet::TimesheetController* timesheetController() const { return m_timesheetController.get(); }
    editing::NewTimerController* addTimerController() const { return m_addTimerController.get(); }

    /// The signed-in user, null while unknown.
    model::User* currentUser() override;
    model::User* currentUserInContext(store::Context& context) override;
    store::Context* mainContext() override { return managedObjectContext(); }
    std::shared_ptr<store::Coordinator> coordinator() override { return persistentStoreCoordinator(); }

    // The refresh cycle.

    void initializeQuillonData();
    void setupUpdateTimer();
    /// Requests the days that matter: the one on screen, the newest entry's, and today. Every 30 seconds.
    void downloadLatest();
    /// Fetches the account and today, with the catalog: the store has lost them.
    void fetchEverything();
    void preferencesChanged();
    void clearAllData();
    void setIndicatorsToGood();
    void networkReachable();
    void networkUnReachable();
    /// The host whose reachability counts as the network's.
    static QString reachabilityHost(bool timeIsKeptHere);

    void gotQuillonCompany(const QString& subdomain) override;
    void gotQuillonCompanyCacheVersion(qint64 version) override;
    void requestDailyTimesheetDidSucceed() override;
    void mergeRequired(std::shared_ptr<const store::ChangeSet> changes) override;
    void authenticationFailed() override;

    // The status item and its menu.

    /// Shows the current entry everywhere: after every merge.
    void updateTotal();
    void updateStatusItemForCurrentEntry(const model::DayEntry* entry);
    void updateMenuItemsForCurrentEntry(const model::DayEntry* entry);
    void hideCurrentTimerMenuItems(bool hide);
    /// Goes on with the booking whose entry has that id; tells by an alert if that fails.
    void continueBooking(const QString& entryId);
    void showTimerElsewhere(QObject* sender);
    void stopTimerElsewhere(QObject* sender);
    void updateKeyEquivalents();
    void toggleStatusItemMenu() override;
    void menuDidClose();

    // The menu's actions. `sender` triggered it; null: the program itself.

    void showAboutWindow(QObject* sender);
    void showPreferencePanel(QObject* sender) override;
    void toggleTimesheetWindow(QObject* sender) override;
    void showTimesheetWindow(QObject* sender);
    void showNewTimerWindow(QObject* sender) override;
    void showHelp(QObject* sender) override;
    void showFirstSteps(QObject* sender);
    void openQuillonInBrowser(QObject* sender) override;
    void manageProjects(QObject* sender);
    void manageTasks(QObject* sender);
    /// Starts or stops the current entry's timer; without an entry, opens the window for a new one, or the preferences
    /// while nobody is signed in.
    void toggleCurrentTimer(QObject* sender) override;
    /// The same, for a caller that needs the result. `ended` is not called where there is no entry.
    void toggleCurrentTimer(QObject* sender, std::function<void(bool toggled)> ended);
    void checkForUpdates(QObject* sender);
    void quitQuilonForMac(QObject* sender) override;
    void relaunch(QObject* sender) override;
    QStringList startArguments() const override;

    // How timer commands end.

    void startNewTimerDidFailWithError(const std::optional<service::Error>& error) override;
    void deleteTimerDidSucceed() override;
    void deleteTimerDidFailWithError(const std::optional<service::Error>& error) override;
    void toggleTimerDidFailWithError(const std::optional<service::Error>& error) override;
    void updateTimerDidSucceed() override;
    void updateTimerDidFailWithError(const std::optional<service::Error>& error) override;

    // Idle time. The controller is idle from the first report until the person has answered.

    void setupIdleTimer();
    /// Forgets the idle time that was reported, and the timer that was noted for it.
    void resetIdleTimer();
    /// Notes the running timer, if any. Neither this nor the next does anything while a question is open.
    void saveCurrentRunningTimerForPossibleIdle() override;
    void clearCurrentRunningTimerForPossibleIdle() override;
    /// If a timer runs, asks whether to go on timing or to remove the idle time; meanwhile the time shown grows, and
    /// the question is withdrawn when the timer was stopped elsewhere. One that was put away unanswered stands in the
    /// timesheet.
    void applicationWasIdle(double seconds) override;
    void updateIdleSheetLabels(double seconds);
    static QString idleAlertMessage(int minutes);
    static QString idleAlertButtonText(int minutes);
    /// Removes the idle time from the timer that was noted, which stops. The next refresh shows the result.
    void revertRunningTimerSinceIdle(QObject* sender);
    void correctIdleTimerDidFailWithError(const std::optional<service::Error>& error) override;

    /// The timer that ran when the idle time began, null when none did or it is gone.
    model::DayEntry* runningTimerWhenIdleStarted() const;
    QDateTime runningTimerSavedAt() const { return m_runningTimerSavedAt; }
    /// Whole seconds, the most reported so far; 0 while not idle.
    double idleTime() const { return m_idleTime; }
    bool displayingIdleAlert() const { return m_displayingIdleAlert; }
    IdleTimer& idleTimer() const { return *m_idleTimer; }

signals:
    // QuillonNetworkReachable and QuillonNetworkNotReachable, for all that show connectivity.
    void quillonForMacNetworkReachable();
    void quillonForMacNetworkNotReachable();

    /// What the status item shows may have changed.
    void statusChanged();

private:
    struct Connection
    {
        bool loggedOut = false;
        bool offline = false;
    };

    void wire();
    void setConnection(Connection connection);
    void askUntilAnswered();
    /// Once the day has turned or another one is shown.
    void forgetOtherDays();
    void setupReachabilityTarget();
    void watchHours(const model::DayEntry* entry);
    void hoursDidChange();
    /// What it is spent on: project, task.
    static QString aboutEntry(const model::DayEntry& entry);
    void describeStatusItem(const model::DayEntry* entry);
    void showAlert(const QString& title, const QString& text);
    void openPage(const QString& path);
    void enableTimerItems(bool enable);
    timesheet::TimesheetController& timesheet();
    /// The first day opens the timesheet: its window is made while the day is fetched.
    void prepareTimesheet();
    void bringHoursUpToDate(model::DayEntry& entry) const;
    void forgetRunningTimer();
    void withdrawIdleQuestionOfStoppedTimer();
    void withdrawIdleQuestion();
    void idleAlertEnded(int button);
    void updateQuestionInTimesheet();
    void idleEpisodeIsOver();

    TimeHere m_timeHere;
    booking::Bookings m_bookings;
    platform::StatusItem* m_statusItem = nullptr; ///< the environment's
    service::QuillonApi* m_api = nullptr;         ///< the run's
    settings::QuillonPreferences* m_userPreferences = nullptr;
    std::unique_ptr<StatusMenu> m_menu;
    std::unique_ptr<skin::QuillonStatusItemView> m_view;

    std::unique_ptr<FirstSteps> m_firstSteps;
    std::unique_ptr<skin::AboutController> m_aboutController;
    std::unique_ptr<preferences::PreferenceController> m_preferenceController;
    std::unique_ptr<timesheet::TimesheetController> m_timesheetController;
    std::unique_ptr<timesheet::TimesheetController> m_preparedTimesheet; ///< until it is opened
    std::unique_ptr<editing::NewTimerController> m_addTimerController;

    std::unique_ptr<const store::Model> m_managedObjectModel;
    std::mutex m_storeMutex; ///< guards the creation of the coordinator
    std::shared_ptr<store::Coordinator> m_persistentStoreCoordinator;
    std::unique_ptr<store::Context> m_managedObjectContext;
    store::Ref<model::Company> m_company;
    mutable std::mutex m_accountMutex; ///< guards the account's name, which workers read
    QString m_account;

    std::unique_ptr<platform::Reachability::Watch> m_reachabilityTarget;
    std::unique_ptr<platform::TimeSource::Timer> m_updateTimer;
    std::unique_ptr<platform::TimeSource::Timer> m_firstAnswer; ///< tries again until the service has answered once
    std::pair<QDate, QDate> m_days; ///< today and the one shown, as of the last refresh
    /// When the service last reported the hours of an entry, in this run: the uptime.
    std::unordered_map<store::ObjectId, platform::TimeSource::Duration, store::ObjectIdHash> m_hoursAsOf;

    std::unique_ptr<IdleTimer> m_idleTimer;
    double m_idleTime = 0;
    platform::Alert m_idleAlert;
    platform::AlertId m_idleAlertId{};
    bool m_displayingIdleAlert = false;
    bool m_idleQuestionIsInTimesheet = false;
    bool m_runningTimerNoted = false;
    store::Ref<model::DayEntry> m_runningTimerWhenIdleStarted;
    QDateTime m_runningTimerSavedAt;

    Connection m_connection; ///< what the status item, its menu and the windows show of it comes from here
    bool m_watchesThisComputer = false;
    bool m_showingInDock = false;
    bool m_clearingCompanyData = false;
    bool m_cacheVersionChanged = false;
    bool m_showingMenu = false;
    bool m_inBackground = false;
};

} // namespace app
