#include "AppRun.h"

#include "model/User.h"
#include "skin/QuillonTextFieldCell.h"
#include "store/Coordinator.h"
#include "support/TestMain.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetListViewCell.h"
#include "timesheet/TimesheetWindow.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <QFile>
#include <QPushButton>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::Reply;

class RefreshTest : public QObject
{
    Q_OBJECT
private slots:
    void firstStartDownloadsTheDay()
    {
        AppRun run;
        run.menulet->applicationWillFinishLaunching();
        QVERIFY(run.menulet->showingInDock());
        run.menulet->showStatusItem();
        QCOMPARE(run.face(), u"-:--"_s);
        QCOMPARE(run.test.statusItem.view, &run.view());
        QCOMPARE(run.test.statusItem.toolTip, u"Wrenfold"_s);
        VERIFY_EACH(run.test.statusItem.enabled, run.peer.requests().empty());

        run.menulet->awakeFromNib();
        run.settle();
        QCOMPARE(run.requested(),
                 QStringList({u"GET /account/who_am_i"_s, u"GET /daily/15/2013"_s, u"GET /daily?slim=1"_s}));
        QCOMPARE(run.face(), u"0:00"_s);
        QCOMPARE(run.menulet->company()->projects().size(), std::size_t(1));
        QCOMPARE(run.menulet->currentUser()->email(), u"ann@example.com"_s);
        QCOMPARE(run.test.updates.backgroundChecks, 1);
        QCOMPARE(run.test.updates.interval, 3600);
        QVERIFY(QFile::exists(run.menulet->directoryForDataStore() + u"/QuillonX.sqlite"_s));
        // The first day that is there opens the timesheet, and only the first.
        QCOMPARE(run.shown(), QStringList{u"Timesheet"_s});
        run.refresh();
        QCOMPARE(run.shown(), QStringList());
    }

    void firstDayComesAfterMidnight()
    {
        AppRun run;
        run.peer.answer("GET /daily/15/2013", {support::Reply::cut("<daily/>")});
        run.start();
        QCOMPARE(run.shown(), QStringList());
        run.test.time.setNow(run.test.time.now() + 24h);
        run.requested();
        run.refresh();
        QCOMPARE(run.shown(), QStringList{u"Timesheet"_s});
        QCOMPARE(run.requested().filter(u"/daily/16/"_s).size(), 1); // the window was made for that day
    }

    void refreshesQuietly()
    {
        StartedRun run(u"Design"_s);
        QCOMPARE(run.face(), u"0:00 running"_s);
        run.settle();
        run.requested();

        run.test.time.advance(29s);
        run.settle();
        QVERIFY(run.requested().isEmpty());
        run.test.time.advance(1s);
        run.settle();
        QCOMPARE(run.requested(), QStringList{u"GET /daily/15/2013?slim=1"_s});
        for (int i = 0; i < 9; ++i)
            run.refresh();
        QCOMPARE(run.face(), u"0:05 running"_s);
        QVERIFY(run.test.alerts.shown.empty());
    }

    /// What is read from the file again, which says something else by then, was forgotten.
    void daysThatHavePassedAreForgotten()
    {
        StartedRun run;
        model::DayEntry& made = run.newEntry(u"Design"_s);
        made.setSpentAt(model::startOfDay({2013, 1, 14}));
        made.setHours(1);
        service::QuillonApi::sharedApi().startNewTimer(made);
        run.refresh();
        const auto notes = [&] { return run.menulet->company()->dayEntriesForDate({2013, 1, 14}).front()->notes(); };
        QCOMPARE(notes(), u""_s);
        SQLite::Database((run.menulet->directoryForDataStore() + u"/QuillonX.sqlite"_s).toStdString(),
                         SQLite::OPEN_READWRITE)
            .exec("UPDATE DayEntry SET notes = 'stored'");
        run.test.time.setNow(run.test.time.now() + 24h);
        run.refresh();
        QCOMPARE(notes(), u"stored"_s);
    }

    void itemAndRowChangeTogether()
    {
        StartedRun run;
        run.test.time.advance(17s);
        run.startTimer(u"Design"_s);
        auto& list = run.menulet->timesheetController()->dayEntriesListView();
        QTRY_COMPARE(list.visibleCells().size(), 1);
        auto* row = static_cast<timesheet::TimesheetListViewCell*>(list.visibleCells().front());
        QStringList texts;
        for (int second = 0; second < 400; ++second) {
            if (second == 200) {
                // To the end of the second hour. (The last half minute of each is shown as the hour before it.)
                run.test.time.setNow(run.test.time.now() + 6850s);
                run.refresh();
            }
            const model::DayEntry& entry = *run.menulet->currentEntry();
            const QString aSecondAgo = entry.hoursMinutes();
            run.test.time.advance(1s);
            const QString text = row->hoursLabel->text();
            QVERIFY2(text == aSecondAgo || text == entry.hoursMinutes(), qPrintable(text));
            QCOMPARE(run.view().hoursString(), text);
            QCOMPARE(run.test.statusItem.description.hours, text);
            QCOMPARE(run.menulet->timesheetController()->window().totalHoursLabel->text(), text);
            if (!texts.contains(text))
                texts << text;
        }
        QCOMPARE(texts, QStringList({u"0:00"_s, u"0:01"_s, u"0:02"_s, u"0:03"_s, u"1:58"_s, u"1:59"_s, u"1:00"_s,
                                     u"2:00"_s, u"2:01"_s}));
        run.settle();

        // What the item shows instead stays.
        run.test.network.setReachable(false);
        run.test.statusItem.setLength(10);
        run.test.time.advance(1min);
        QCOMPARE(run.face(), u"offline"_s);
        QCOMPARE(run.test.statusItem.length(), 10.0);
    }

    void changedCatalogIsFetchedAgain()
    {
        StartedRun run;
        run.refresh();
        run.requested();
        QVERIFY(run.data().renameProject(run.website, "Shop"));

        // The next slim reply tells the new version; then the account and the day come again, in full.
        run.refresh();
        const QStringList requests = run.requested();
        QCOMPARE(requests.mid(0, 3),
                 QStringList({u"GET /daily/15/2013?slim=1"_s, u"GET /account/who_am_i"_s, u"GET /daily/15/2013"_s}));
        QCOMPARE(run.menulet->company()->projects().front()->name(), u"Shop"_s);
        run.refresh();
        QCOMPARE(run.requested(), QStringList{u"GET /daily/15/2013?slim=1"_s});
    }

    void requestsTheDaysThatMatter()
    {
        const QString today = u"GET /daily/15/2013?slim=1"_s;
        const QString tomorrow = u"GET /daily/16/2013?slim=1"_s;
        // Today; another day on screen; a timer that runs since yesterday; both, on one day or two. In UTC it is one.
        for (const auto& [onScreen, hoursLater, expected] :
             {std::tuple(QDate(2013, 1, 15), 1, QStringList{today}),
              {QDate(2012, 12, 31), 1, QStringList{u"GET /daily/366/2012?slim=1"_s, today}},
              {QDate(2013, 1, 16), 11, QStringList{today, tomorrow}},
              {QDate(2013, 1, 15), 11, QStringList{today, tomorrow}},
              {QDate(2013, 1, 1), 11, QStringList{u"GET /daily/1/2013?slim=1"_s, today, tomorrow}}}) {
            StartedRun run;
            run.menulet->timesheetController()->setCurrentDate(onScreen);
            run.startTimer(u"Design"_s);
            run.refresh();
            run.test.time.setNow(run.test.time.now() + std::chrono::hours(hoursLater));
            run.requested();
            run.menulet->downloadLatest();
            run.settle();
            QCOMPARE(run.requested(), expected);
        }
    }

    void refusedCredentials()
    {
        AppRun run;
        run.test.secrets.store(settings::SCServiceName(), u"ann@example.com"_s, "wrong", {});
        run.start();
        QCOMPARE(run.face(), u"signed out"_s);
        QVERIFY(run.menulet->loggedOut());
        QCOMPARE(run.test.statusItem.length(), 71.0); // the sign-in picture is cut at less
        QVERIFY(run.test.alerts.shown.empty());

        // A press beside the button leads to where one signs in, never to the menu.
        QTest::mousePress(&run.view(), Qt::LeftButton, {}, QPoint(50, 11));
        QCOMPARE(run.shown(), QStringList{u"Quillon Preferences"_s});
        VERIFY_EACH(!run.menu().isVisible(), !run.view().clicked());

        auto& preferences = settings::QuillonPreferences::sharedPreferences();
        preferences.setPassword(u"secret"_s);
        preferences.save();
        emit preferences.preferencesChanged();
        run.settle();
        QCOMPARE(run.face(), u"0:00"_s);
    }

    void withoutAnAccount()
    {
        AppRun run(false);
        run.start();
        QVERIFY(run.menulet->loggedOut());
        QCOMPARE(run.face(), u"signed out"_s);
        QCOMPARE(run.shown(), QStringList{u"Quillon Preferences"_s});
        QCOMPARE(run.test.updates.backgroundChecks, 1);
        QVERIFY(run.test.statusItem.description.loggedOut);
    }

    void timeKeptHereFromNowOn()
    {
        AppRun run(false);
        run.test.info.set("QuillonLocalDebug"_L1, false);
        run.start();
        run.requested();
        auto& preferences = settings::QuillonPreferences::sharedPreferences();
        preferences.keepTimeHere({u"ann@example.com"_s, u"secret"_s, u".local"_s, QString::fromLatin1(run.peer.url())});
        emit preferences.preferencesChanged();
        run.settle();
        QCOMPARE(run.test.network.host, u"localhost"_s);
        QCOMPARE(run.face(), u"0:00"_s);
        // The account once, and with the day once more because the version of its data is news.
        QCOMPARE(run.requested(),
                 QStringList({u"GET /daily/15/2013?slim=1"_s, u"GET /account/who_am_i"_s, u"GET /account/who_am_i"_s,
                              u"GET /daily/15/2013"_s, u"GET /daily?slim=1"_s, u"GET /daily?slim=1"_s}));
    }

    void repliesThatChangeNothing()
    {
        StartedRun run;
        // The save of the cache version has not undone what the account's reply brought.
        store::Context stored(run.menulet->persistentStoreCoordinator(), store::MergePolicy::Overwrite);
        QCOMPARE(model::Company::findBySubdomain(u"acme"_s, stored)->userId(), run.menulet->currentUser()->idString());

        run.refresh();
        run.test.statusItem.setLength(10);
        run.peer.answer("GET /daily/15/2013?slim=1", {Reply{401, "Authentication failed for API request."}});
        run.refresh();
        QCOMPARE(run.face(), u"signed out"_s);
        run.test.statusItem.setLength(10);
        run.refresh();
        QCOMPARE(run.face(), u"0:00"_s);
        QCOMPARE(run.test.statusItem.length(), 71.0);
    }

    void lockedKeyring()
    {
        AppRun run;
        run.test.secrets.failure = platform::SecretStore::Failure::Locked;
        run.start();
        QCOMPARE(run.face(), u"signed out"_s);
        run.test.secrets.answerPrompts(true);
        QTRY_COMPARE(run.face(), u"0:00"_s);
    }

    void offlineAndBack()
    {
        StartedRun run;
        run.requested();
        run.test.network.setReachable(false);
        QCOMPARE(run.face(), u"offline"_s);
        QVERIFY(run.menulet->offline());
        QCOMPARE(run.test.statusItem.length(), 71.0);
        VERIFY_EACH(run.menu().offlineIndicator->isVisible(), run.menu().offlineSeparatorItem->isVisible());
        VERIFY_EACH(!run.menu().offlineIndicator->isEnabled(), !run.menu().toggleCurrentTimerMenuItem->isEnabled());
        VERIFY_EACH(!run.menu().newTimerMenuItem->isEnabled(), run.test.statusItem.description.offline);

        run.test.network.setReachable(true);
        QCOMPARE(run.face(), u"0:00"_s);
        VERIFY_EACH(!run.menulet->offline(), !run.menu().offlineIndicator->isVisible());
        VERIFY_EACH(run.menu().toggleCurrentTimerMenuItem->isEnabled(), run.menu().newTimerMenuItem->isEnabled());
        run.settle();
        QCOMPARE(run.requested().first(), u"GET /account/who_am_i"_s);
    }

    void changedSettingsClearTheAccount()
    {
        StartedRun run(u"Design"_s);
        support::TestData data = run.data();
        const auto other = data.addAccount({"other"}).value();
        QVERIFY(data.addPerson({other, "ann@example.com", "secret"}));
        timesheet::TimesheetController& timesheet = *run.menulet->timesheetController();

        auto& preferences = settings::QuillonPreferences::sharedPreferences();
        preferences.setUrl(u"http://other"_s);
        preferences.setNewTimerWindowHotKeyCombo({settings::KeyCombo::Command, 3});
        preferences.save();
        emit preferences.preferencesChanged();
        VERIFY_EACH(!timesheet.company(), timesheet.dayEntries().empty());
        QVERIFY(timesheet.window().startNewTimerButton->text().endsWith("(Ctrl+F)"_L1));
        run.settle();
        QCOMPARE(run.menulet->company()->subdomain(), u"other"_s);
        QCOMPARE(run.face(), u"0:00"_s);
        QCOMPARE(timesheet.company(), run.menulet->company());

        // Nothing of the old account is left, on disk either.
        store::Context context(run.menulet->persistentStoreCoordinator(), store::MergePolicy::Overwrite);
        QCOMPARE(context.fetch({"Company", {}, {}}).size(), std::size_t(1));
        for (const char* entity : {"Project", "Task", "TaskAssignment", "UserAssignment"})
            QVERIFY2(context.fetch({entity, {}, {}}).empty(), entity);
    }

    void damagedReplies()
    {
        StartedRun run(u"Design"_s);
        run.refresh();
        for (const char* body : {"<daily><for_day>Tue, 15 Jan 2013</for_day><day_entries><day_en",
                                 "<html><body>Hello</body></html>", ""}) {
            run.peer.answer("GET /daily/15/2013?slim=1", {Reply{200, body}});
            run.refresh();
            // The entry, and the one for a new timer.
            QCOMPARE(run.menulet->company()->dayEntries().size(), std::size_t(2));
            QCOMPARE(run.menulet->company()->projects().front()->name(), u"Website"_s);
        }
        run.refresh();
        QCOMPARE(run.face(), u"0:03 running"_s);
        QVERIFY(run.test.alerts.shown.empty());
    }

    void storeThatCannotBeUsed()
    {
        // From the start, and from the middle on.
        for (const bool later : {false, true}) {
            AppRun run;
            const QString file = app::WrenfoldMenulet::directoryForDataStore() + u"/QuillonX.sqlite"_s;
            if (later) {
                run.start();
                run.refresh();
                SQLite::Database other(file.toStdString(), SQLite::OPEN_READWRITE);
                for (const store::Entity& entity : run.menulet->managedObjectModel()->entities())
                    other.exec("DROP TABLE " + entity.name);
                run.refresh();
            } else {
                QFile garbage(file);
                QVERIFY(garbage.open(QIODevice::WriteOnly));
                garbage.write(QByteArray(4096, '!'));
                garbage.close();
                run.start();
            }
            QVERIFY(run.menulet->persistentStoreCoordinator()->failure());
            QCOMPARE(run.face(), u"0:00"_s);
            VERIFY_EACH(run.menulet->currentUser(), !run.menulet->company()->projects().empty());
            run.startTimer(u"Design"_s);
            QCOMPARE(run.face(), u"0:00 running"_s);
            QCOMPARE(run.menulet->company()->mostRecentDayEntry()->project()->name(), u"Website"_s);
            QVERIFY(!run.menulet->company()->mostRecentDayEntry()->isLocked());
            QTest::mousePress(&run.view(), Qt::LeftButton, {}, QPoint(10, 11));
            run.settle();
            QCOMPARE(run.face(), u"0:00"_s);
            QVERIFY(run.test.alerts.shown.empty());
        }
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(RefreshTest)
#include "RefreshTest.moc"
