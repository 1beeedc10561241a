#pragma once

#include "app/ProgramWindows.h"
#include "app/StatusMenu.h"
#include "app/WrenfoldMenulet.h"
#include "localservice/Service.h"
#include "model/Company.h"
#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"
#include "service/QuillonApi.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/HintCard.h"
#include "skin/QuillonStatusItemView.h"
#include "store/Context.h"
#include "support/ScriptedPeer.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

/// Windows that only note what they were told.
struct RecordingWindow : app::Window
{
    explicit RecordingWindow(QStringList& log, const QString& name) : calls(log), name(name) {}
    void show() override { calls << name + QStringLiteral(" show"); }

    QStringList& calls;
    QString name;
};

struct RecordingTimesheet : app::TimesheetWindow
{
    explicit RecordingTimesheet(QStringList& log, QDate day) : calls(log), day(day) {}
    void show() override { calls << QStringLiteral("timesheet show"); }
    void toggle() override { calls << QStringLiteral("timesheet toggle"); }
    void setCompany(model::Company* company) override
    {
        calls << QStringLiteral("timesheet company ") + (company ? company->subdomain() : QStringLiteral("none"));
    }
    void setOffline(bool offline) override { calls << QStringLiteral("timesheet offline %1").arg(offline); }
    QDate currentDate() const override { return day; }
    void reloadEntries() override { ++reloads; }
    void catalogDidChange() override { ++catalogChanges; }
    void setHint(const std::optional<skin::Hint>& hint) override
    {
        calls << (hint ? QStringLiteral("timesheet hint ") + hint->title : QStringLiteral("timesheet no hint"));
        shownHint = hint;
    }
    void updateKeyEquivalents() override { calls << QStringLiteral("timesheet keys"); }

    QStringList& calls;
    QDate day;
    std::optional<skin::Hint> shownHint;
    int reloads = 0;
    int catalogChanges = 0;
};

struct RecordingNewTimer : app::NewTimerWindow
{
    explicit RecordingNewTimer(QStringList& log) : calls(log) {}
    void show() override { calls << QStringLiteral("new timer show"); }
    void setEntry(model::DayEntry* entry) override { calls << QStringLiteral("new timer entry ") + entry->idString(); }
    void setEnabled(bool enabled) override { calls << QStringLiteral("new timer enabled %1").arg(enabled); }
    void clearSelections() override { calls << QStringLiteral("new timer cleared"); }
    void catalogDidChange() override { ++catalogChanges; }

    QStringList& calls;
    int catalogChanges = 0;
};

/// A whole program but for its desktop, against a real service on loopback in which "acme" has one project and two
/// tasks. The clock stands at Tue, 15 Jan 2013 09:00 UTC until it is moved.
class AppRun
{
public:
    enum class Windows
    {
        All,      ///< recording ones
        Program,  ///< those of the program
        Timesheet ///< the program's timesheet, else recording ones
    };
    enum class Timers
    {
        Hours,
        Timestamps
    };
    explicit AppRun(bool signedIn = true, Windows windows = Windows::All, Timers timers = Timers::Hours)
        : timers(timers), service(serviceOptions())
    {
        qputenv("TZ", "UTC");
        localservice::Database& data = *service.database().value();
        account = data.addAccount({.subdomain = "acme", .timestampTimers = timers == Timers::Timestamps}).value();
        person = data.addPerson({account, "ann@example.com", "secret", "Ann", "Lee"}).value();
        client = data.addClient(account, "Harbour").value();
        website = data.addProject({client, "Website", "W1"}).value();
        design = data.addTask(account, "Design").value();
        data.offerTask(website, design, true).value();
        meetings = data.addTask(account, "Meetings").value();
        data.offerTask(website, meetings, true).value();
        data.assignPerson(website, person).value();

        test.info.set(QLatin1StringView("QuillonLocalDebug"), true);
        test.info.set(QLatin1StringView("QuillonDevelopmentDomain"), QStringLiteral(".localhost:%1").arg(port));
        if (signedIn)
            signIn(QStringLiteral("acme"), QStringLiteral("ann@example.com"), QStringLiteral("secret"));
        menulet = std::make_unique<app::WrenfoldMenulet>(makers(windows));
    }

    void signIn(const QString& account, const QString& email, const QString& password)
    {
        auto& defaults = settings::UserDefaults::standardUserDefaults();
        defaults.setString(settings::SCQuillonUrlKey, account);
        defaults.setString(settings::SCEmailKey, email);
        test.secrets.store(settings::SCServiceName(), email, password.toUtf8(), {});
    }

    /// Starts and waits for the first downloads to be through.
    void start()
    {
        menulet->applicationWillFinishLaunching();
        menulet->awakeFromNib();
        settle();
    }

    /// Waits until every request has ended and everything it had to say was heard.
    void settle()
    {
        const auto& api = service::QuillonApi::sharedApi();
        QTimer limit;
        limit.setSingleShot(true);
        limit.start(std::chrono::seconds(20));
        while (api.operationCount() > 0 && limit.isActive())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCOMPARE(api.operationCount(), 0);
        QCoreApplication::processEvents();
    }

    /// What was asked of the service since the last call, "GET /daily/15/2013".
    QStringList requested()
    {
        QStringList list = peer.asked();
        peer.forgetRequests();
        return list;
    }

    void refresh()
    {
        test.time.advance(std::chrono::seconds(30));
        settle();
    }

    /// Starts a timer as the new-timer window does.
    void startTimer(const QString& task)
    {
        model::DayEntry* entry = model::DayEntry::entryWithDefaults();
        QVERIFY(entry);
        entry->setProject(menulet->company()->projects().front());
        for (model::Task* offered : menulet->company()->tasks()) {
            if (offered->name() == task)
                entry->setTask(offered);
        }
        service::QuillonApi::sharedApi().startNewTimer(*entry);
        settle();
    }

    skin::QuillonStatusItemView& view() { return menulet->statusItemView(); }
    app::StatusMenu& menu() { return menulet->menu(); }
    QString face()
    {
        if (view().offline())
            return QStringLiteral("offline");
        if (view().loggedOut())
            return QStringLiteral("signed out");
        return view().hoursString() + (view().isRunning() ? QStringLiteral(" running") : QString());
    }

    const Timers timers;
    support::TestRun test;
    localservice::Service service;
    support::ScriptedPeer peer{service.start().value()}; ///< the service, to the program
    const std::uint16_t port = peer.port();
    localservice::Id account = 0;
    localservice::Id person = 0;
    localservice::Id client = 0;
    localservice::Id website = 0;
    localservice::Id design = 0;
    localservice::Id meetings = 0;
    QStringList windowCalls;
    QDate timesheetDay{2013, 1, 15};
    RecordingTimesheet* timesheet = nullptr;
    std::unique_ptr<app::WrenfoldMenulet> menulet;

private:
    localservice::Service::Options serviceOptions()
    {
        return {.dataFile = test.folders.path(QStringLiteral("service.sqlite")).toStdString(),
                .clock = [this] { return test.time.now(); }};
    }

    app::WindowMakers makers(Windows which)
    {
        if (which == Windows::Program)
            return app::programWindows();
        app::WindowMakers windows;
        windows.about = [this](app::WrenfoldMenulet&) {
            return std::make_unique<RecordingWindow>(windowCalls, QStringLiteral("about"));
        };
        windows.preferences = [this](app::WrenfoldMenulet&) {
            return std::make_unique<RecordingWindow>(windowCalls, QStringLiteral("preferences"));
        };
        windows.timesheet = [this](app::WrenfoldMenulet&) {
            auto made = std::make_unique<RecordingTimesheet>(windowCalls, timesheetDay);
            timesheet = made.get();
            return made;
        };
        if (which == Windows::Timesheet)
            windows.timesheet = app::programWindows().timesheet;
        windows.newTimer = [this](app::WrenfoldMenulet&) { return std::make_unique<RecordingNewTimer>(windowCalls); };
        return windows;
    }
};
