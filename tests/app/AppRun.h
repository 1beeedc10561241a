#pragma once

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
#include "skin/QuillonStatusItemView.h"
#include "store/Context.h"
#include "support/ScriptedPeer.h"
#include "support/TestData.h"
#include "support/TestEnvironment.h"
#include "timesheet/TimesheetController.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

/// A whole program but for its desktop, against a real service on loopback in which "acme" has one project and two
/// tasks. The clock stands at Tue, 15 Jan 2013 09:00 UTC, 19:30 here, until it is moved.
class AppRun
{
public:
    enum class Timers
    {
        Hours,
        Timestamps
    };
    explicit AppRun(bool signedIn = true, Timers timers = Timers::Hours) : timers(timers), service(serviceOptions())
    {
        support::TestData data = this->data();
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
        menulet = std::make_unique<app::WrenfoldMenulet>();
    }

    /// What the service has in its file.
    support::TestData data() { return support::TestData(*service.database().value()); }

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

    /// A new entry on the website.
    model::DayEntry& newEntry(const QString& task)
    {
        model::DayEntry& entry = *model::DayEntry::entryWithDefaults();
        const auto& company = *menulet->company();
        store::Context& cache = *menulet->managedObjectContext();
        entry.setProject(company.findObject<model::Project>(QString::number(website), cache));
        const localservice::Id id = task == QLatin1StringView("Design") ? design : meetings;
        entry.setTask(company.findObject<model::Task>(QString::number(id), cache));
        return entry;
    }
    /// Starts a timer as the new-timer window does.
    void startTimer(const QString& task)
    {
        service::QuillonApi::sharedApi().startNewTimer(newEntry(task));
        settle();
    }

    /// The titles of the windows that can be seen, which are put away: those that came up since the last call.
    static QStringList shown()
    {
        QStringList titles;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->isVisible() && !window->windowTitle().isEmpty()) {
                titles << window->windowTitle();
                window->hide();
            }
        }
        titles.sort();
        return titles;
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
    std::unique_ptr<app::WrenfoldMenulet> menulet;

private:
    localservice::Service::Options serviceOptions()
    {
        return {.dataFile = test.folders.path(QStringLiteral("service.sqlite")).toStdString(),
                .clock = [this] { return test.time.now(); },
                .ownerPassword = "secret"};
    }
};

/// The same, signed in and past its first downloads; with a task its timer runs.
class StartedRun : public AppRun
{
public:
    explicit StartedRun(const QString& task = {})
    {
        start();
        if (!task.isEmpty())
            startTimer(task);
    }
};
