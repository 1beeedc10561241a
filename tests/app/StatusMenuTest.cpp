#include "AppRun.h"

#include "app/Check.h"
#include "app/SearchBus.h"
#include "app/SessionBus.h"
#include "app/TimeHere.h"

#include "support/InRow.h"
#include "support/TestMain.h"
#include "timesheet/TimesheetWindow.h"

#include <QLabel>
#include <QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::Reply;

namespace {

constexpr QPoint OnTheButton(10, 11);
constexpr QPoint BesideTheButton(50, 11);

QStringList titles(const QMenu& menu)
{
    QStringList list;
    for (const QAction* item : menu.actions()) {
        if (item->isVisible())
            list << (item->isSeparator() ? u"-"_s
                                         : item->text().remove(u'&') + (item->isEnabled() ? QString() : u" (off)"_s));
    }
    return list;
}

/// The error that is answered in the end, empty when it was done.
QString perform(AppRun& run, const app::SessionBus& bus, const QString& action)
{
    QStringList answers;
    bus.perform(action, [&](const auto& refused) { answers << (refused ? refused->error : QString()); });
    run.settle();
    return answers.size() == 1 ? answers.first() : u"answers: "_s + QString::number(answers.size());
}

} // namespace

class StatusMenuTest : public QObject
{
    Q_OBJECT
private slots:
    void openingAndClosing()
    {
        StartedRun run;
        run.test.desktop.activated.clear();
        QTest::mousePress(&run.view(), Qt::LeftButton, {}, BesideTheButton);
        VERIFY_EACH(run.menu().isVisible(), run.view().clicked());
        // Who opens the menu has not asked for any of the windows.
        QVERIFY(run.test.desktop.activated.isEmpty());
        run.menulet->toggleStatusItemMenu();
        VERIFY_EACH(!run.menu().isVisible(), !run.view().clicked());

        QTest::mousePress(&run.view(), Qt::RightButton, {}, OnTheButton);
        QVERIFY(run.menu().isVisible());
        QTest::keyClick(&run.menu(), Qt::Key_Escape);
        VERIFY_EACH(!run.menu().isVisible(), !run.view().clicked());
        run.menulet->toggleStatusItemMenu();
        QVERIFY(run.menu().isVisible());
    }

    void aPlaceWithADrawback()
    {
        StartedRun run(u"Design"_s);
        QVERIFY(app::findingsOfThisRun(false, {}).first().ok);
        run.test.statusItem.whereabouts.drawback = u"Others cover it."_s;
        const app::Finding finding = app::findingsOfThisRun(false, {}).first();
        QVERIFY(!finding.ok);
        QCOMPARE(finding.text, u"in memory. Others cover it."_s);
        run.menulet->showTimesheetWindow(nullptr);
        run.menulet->showFirstSteps(nullptr);
        run.test.time.advance(2s);
        const auto* hint = run.menulet->timesheetController()->window().findChild<QLabel*>(u"hintText"_s);
        VERIFY_EACH(hint, hint->isVisible());
        QVERIFY2(hint->text().contains("Others cover it."_L1), qPrintable(hint->text()));
        QVERIFY(hint->parentWidget()->accessibleName().contains("Others cover it."_L1));
        // A desktop that asks for the keys waits until they have been read.
        run.refresh();
        QVERIFY(!run.test.hotKeys.mayAsk);
        run.menulet->timesheetController()->window().findChild<QPushButton*>(u"hintButton"_s)->click();
        VERIFY_EACH(!hint->isVisible(), run.test.hotKeys.mayAsk);
    }

    void signedOut()
    {
        StartedRun run(u"Design"_s);
        const QList<QAction*> everything = run.menu().actions();
        run.menulet->authenticationFailed();
        QCOMPARE(titles(run.menu()), QStringList({u"Preferences…"_s, u"Check for Updates…"_s, u"Quillon Help"_s,
                                                  u"About Quillon"_s, u"-"_s, u"Quit Quillon"_s}));
        run.shown();
        run.requested();
        // Pressed in the bar; and chosen in a menu that somebody drew before, or that a screen reader knows.
        run.test.statusItem.standIn.openMenu();
        for (QAction* item : everything) {
            if (!item->isVisible())
                item->trigger();
        }
        VERIFY_EACH(!run.menu().isVisible(), run.test.desktop.opened.isEmpty(), run.requested().isEmpty());
        QCOMPARE(run.shown(), QStringList{u"Quillon Preferences"_s});

        // What is known is sent all the same, and an answer signs in.
        run.test.statusItem.standIn.toggleTimer();
        run.settle();
        QVERIFY(run.requested().first().startsWith(u"GET /daily/timer/"_s));
        QCOMPARE(titles(run.menu()).at(4), u"Continue Website · Design"_s);
    }

    void continuesWhatWasBooked()
    {
        StartedRun run(u"Design"_s);
        run.test.time.setNow(run.test.time.now() + 10min);
        run.startTimer(u"Meetings"_s);
        QCOMPARE(titles(run.menu()).mid(3, 3), QStringList({u"-"_s, u"Continue Website · Design"_s, u"-"_s}));
        // Without a task: that of the project's last entry.
        QString booked;
        run.menulet->bookings().add({.hours = u"1"_s, .project = u"website"_s},
                                    [&](const auto& added) { booked = added ? added->task : added.error().reason; });
        run.settle();
        QCOMPARE(booked, u"Meetings"_s);
        run.requested();
        // Two keys: the one that opens the menu, and its own.
        run.menulet->toggleStatusItemMenu();
        QTest::keyClick(&run.menu(), Qt::Key_C);
        QVERIFY(!run.menu().isVisible());
        run.settle();
        // Today's entry goes on; it is looked at first, because it may have been started elsewhere.
        QCOMPARE(run.requested().mid(0, 2), QStringList({u"GET /daily/15/2013?slim=1"_s, u"GET /daily/timer/1"_s}));
        QCOMPARE(run.face(), u"0:10 running"_s);
        QCOMPARE(titles(run.menu()).mid(3, 3), QStringList({u"-"_s, u"Continue Website · Meetings"_s, u"-"_s}));

        // What is planned is not what was done last.
        model::DayEntry& planned = run.newEntry(u"Meetings"_s);
        planned.setSpentAt(model::startOfDay(QDate(2013, 1, 17)));
        planned.setHours(1);
        service::QuillonApi::sharedApi().startNewTimer(planned);
        run.settle();
        run.menulet->toggleCurrentTimer(nullptr);
        run.settle();
        QCOMPARE(titles(run.menu()).at(4), u"Continue Website · Design"_s);
        run.menulet->toggleCurrentTimer(nullptr);
        run.settle();

        // One of another day gets a new entry, and what fails is said.
        QVERIFY(run.data().renameProject(run.website, "R&D"));
        run.test.time.setNow(run.test.time.now() + 24h);
        run.refresh();
        QCOMPARE(run.menu().continueMenuItems.front()->text(), u"&Continue R&&D · Meetings"_s);
        run.peer.answer("POST /daily/add", {Reply{500, "<error><kind>x</kind><message>No more</message></error>"}});
        run.menu().continueMenuItems.front()->trigger();
        run.settle();
        QCOMPARE(run.test.alerts.shown.back().text, u"No more"_s);
        QObject object;
        const app::SearchBus search(&object, run.menulet->bookings());
        QVERIFY(QMetaObject::invokeMethod(object.children().constFirst(), "ActivateResult", Q_ARG(QString, u"1/99"_s),
                                          Q_ARG(QStringList, {}), Q_ARG(uint, 0)));
        run.settle();
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(2));
        run.menulet->networkUnReachable();
        QVERIFY(!run.menu().continueMenuItems.front()->isEnabled());

        // Nor is anything offered whose project is no longer the person's.
        store::Context& context = *run.menulet->managedObjectContext();
        for (store::Object* mine : context.fetch({"UserAssignment", {}, {}}))
            context.remove(*mine);
        run.menulet->networkReachable();
        run.refresh();
        QCOMPARE(titles(run.menu()).filter(u"Continue"_s), QStringList());
    }

    /// Since yesterday, from an old row or a browser.
    void timerOfAnotherDay()
    {
        StartedRun run(u"Design"_s);
        run.test.time.setNow(run.test.time.now() + 24h);
        model::DayEntry& today = run.newEntry(u"Meetings"_s);
        today.setHours(0.5);
        service::QuillonApi::sharedApi().startNewTimer(today);
        run.settle();
        run.refresh();
        QCOMPARE(run.face(), u"0:30"_s);
        const QString said = u"A timer is running on Tuesday, January 15, 2013"_s;
        QCOMPARE(titles(run.menu()).mid(3, 5), QStringList({u"-"_s, said + u" (off)"_s, u"Show"_s, u"Stop"_s, u"-"_s}));
        QVERIFY(run.test.statusItem.description.spoken.endsWith(said));
        QObject object;
        const app::SessionBus bus(*run.menulet, &object);
        QCOMPARE(object.children().constFirst()->property("RunningOn"), u"2013-01-15"_s);
        timesheet::TimesheetController& timesheet = *run.menulet->timesheetController();
        timesheet.goToToday();
        run.settle();
        const auto* card = timesheet.window().findChild<QWidget*>(u"questionCard"_s);
        VERIFY_EACH(card, !card->isHidden());
        QVERIFY(card->accessibleName().startsWith(said));

        card->findChild<QWidget*>(u"hintButton"_s)->setFocus();
        run.menu().showElsewhereMenuItem->trigger();
        run.settle();
        QCOMPARE(timesheet.currentDate(), QDate(2013, 1, 15));
        VERIFY_EACH(card->isHidden(), timesheet.window().isContentFocused());

        // It is nobody's business once nobody is signed in.
        run.peer.answer("GET /daily/16/2013?slim=1", {Reply{401, "Authentication failed for API request."}});
        run.refresh();
        QCOMPARE(run.test.statusItem.description.spoken, u"Sign in"_s);
        run.refresh();
        QVERIFY(run.test.statusItem.description.spoken.endsWith(said));

        // It may have been stopped meanwhile: a toggle alone would start it, and so would that of a double click.
        run.requested();
        run.menu().stopElsewhereMenuItem->trigger();
        run.menu().stopElsewhereMenuItem->trigger();
        run.settle();
        const QStringList days{u"GET /daily/16/2013?slim=1"_s, u"GET /daily/15/2013?slim=1"_s};
        QCOMPARE(run.requested().mid(0, 6), days + days + QStringList({u"GET /daily/timer/1"_s, days.at(1)}));
        QVERIFY(run.test.alerts.shown.empty());
        VERIFY_EACH(!titles(run.menu()).contains(u"Show"_s), !run.test.statusItem.description.spoken.contains(said));
    }

    void startsAndStopsByClick()
    {
        StartedRun run(u"Design"_s);
        run.test.time.setNow(run.test.time.now() + 65min);
        run.requested();
        QTest::mousePress(&run.view(), Qt::LeftButton, {}, OnTheButton);
        run.settle();
        const QStringList requests = run.requested();
        QVERIFY(requests.first().startsWith(u"GET /daily/timer/"_s));
        QCOMPARE(requests.mid(1), QStringList{u"GET /daily/15/2013?slim=1"_s});
        QCOMPARE(run.face(), u"1:05"_s);
        QCOMPARE(run.menu().toggleCurrentTimerMenuItem->text(), u"Start Current Timer"_s);

        run.menu().toggleCurrentTimerMenuItem->trigger();
        run.settle();
        QCOMPARE(run.face(), u"1:05 running"_s);
        QCOMPARE(run.test.statusItem.description.spoken, u"1 hour 5 minutes, running, [W1] Website, Design"_s);
        QVERIFY(run.test.statusItem.description.running);
        QCOMPARE(run.menu().toggleCurrentTimerMenuItem->text(), u"Stop Current Timer"_s);
        QCOMPARE(titles(run.menu()).first(), u"Stop Current Timer"_s);
    }

    void firstStepsEndOnceUnderstood()
    {
        StartedRun run;
        auto& place = run.test.statusItem.whereabouts.onScreen;
        place = QRect(100, 0, 71, 22);
        run.menu().firstStepsMenuItem->trigger();
        run.test.time.advance(2s);
        const auto isThere = [](const QWidget* window) {
            return window->isVisible() && window->objectName() == u"callout"_s;
        };
        const QWidgetList all = QApplication::topLevelWidgets();
        const auto callout = std::ranges::find_if(all, isThere);
        QVERIFY(callout != all.end());
        // They follow it, also when nobody has moved it for long: within five seconds then, and soon after a first
        // move.
        const QPoint before = (*callout)->pos();
        run.test.time.advance(1min);
        place = QRect(200, 0, 71, 22);
        run.test.time.advance(6s);
        QVERIFY((*callout)->x() > before.x());
        place = QRect(100, 0, 71, 22);
        run.test.time.advance(2s);
        QCOMPARE((*callout)->pos(), before);
        // Into the timesheet while it is nowhere, and back.
        run.menulet->showTimesheetWindow(nullptr);
        const QWidget& window = run.menulet->timesheetController()->window();
        for (const bool isBack : {false, true}) {
            place = isBack ? std::optional(QRect(100, 0, 71, 22)) : std::nullopt;
            run.test.time.advance(2s);
            QCOMPARE((*callout)->isVisible(), isBack);
            QCOMPARE(window.findChild<QWidget*>(u"hintText"_s)->isVisible(), !isBack);
        }
        QTest::mouseClick((*callout)->findChild<QWidget*>(u"hintButton"_s), Qt::LeftButton);
        QVERIFY(!(*callout)->isVisible());
        // Nor do they come along when the panel moves.
        place = QRect(300, 0, 71, 22);
        run.test.time.advance(5s);
        QVERIFY(!(*callout)->isVisible());
    }

    void pagesOfTheBuiltInServiceAreSignedIn()
    {
        struct Fake final : app::BuiltInService
        {
            tl::expected<Account, QString> start(const QString&, FileTrouble) override
            {
                return Account{u"http://local.localhost:4000"_s, u"you@localhost"_s};
            }
            QUrl signedInLink(const QUrl& page) override { return QUrl(page.toString() + u"?key"_s); }
            QString copiesInWords() const override { return u"copies"_s; }
        };
        StartedRun run;
        app::TimeHere timeHere([] { return std::make_unique<Fake>(); });
        int started = 0;
        for (const int attempt : {1, 2}) {
            timeHere.startUp([&](const QString&) { ++started; });
            QTRY_COMPARE(started, attempt);
            QCOMPARE(timeHere.copiesInWords(), u"copies"_s);
        }
        // What else listens on this machine is somebody else's.
        for (const auto& [page, opened] :
             {std::pair(u"http://local.localhost:4000/daily"_s, u"http://local.localhost:4000/daily?key"_s),
              {u"http://local.localhost:4001/daily"_s, u"http://local.localhost:4001/daily"_s},
              {u"https://local.localhost:4000/daily"_s, u"https://local.localhost:4000/daily"_s},
              {u"http://acme.localhost:4000/daily"_s, u"http://acme.localhost:4000/daily"_s}}) {
            run.test.desktop.openUrl(QUrl(page));
            QCOMPARE(run.test.desktop.opened.last(), QUrl(opened));
        }
        timeHere.end();
        run.test.desktop.openUrl(QUrl(u"http://local.localhost:4000/"_s));
        QCOMPARE(run.test.desktop.opened.last(), QUrl(u"http://local.localhost:4000/"_s));
    }

    void leavesNothingInTheItem()
    {
        StartedRun run;
        QVERIFY(run.test.statusItem.standIn.menu);
        run.menulet.reset();
        QCOMPARE(run.test.statusItem.view, nullptr);
        QCOMPARE(run.test.statusItem.standIn.menu, nullptr);
        QVERIFY(!run.test.statusItem.standIn.toggleTimer);
    }

    void wideHours()
    {
        StartedRun run;
        auto& entry =
            run.menulet->company()->findOrCreateById<model::DayEntry>(u"7"_s, *run.menulet->managedObjectContext());
        entry.setHours(12.0 + 5.0 / 60.0);
        run.menulet->updateStatusItemForCurrentEntry(&entry);
        QCOMPARE(run.face(), u"12:05"_s);
        QCOMPARE(run.test.statusItem.length(), 71.0);
        entry.setHours(1000);
        run.menulet->updateStatusItemForCurrentEntry(&entry);
        QVERIFY(run.test.statusItem.length() > 71.0);
    }

    void currentTimerItems()
    {
        StartedRun run(u"Design"_s);
        // Their titles are kept, and they stay out of the menu.
        QCOMPARE(run.menu().currentProjectMenuItem->text(), u"Project: [W1] Website"_s);
        QCOMPARE(run.menu().currentTaskMenuItem->text(), u"Task: Design"_s);
        QCOMPARE(run.menu().indexOfItem(run.menu().currentProjectMenuItem), -1);
        const QStringList hidden = titles(run.menu());
        for (int again = 0; again < 2; ++again) {
            run.menulet->hideCurrentTimerMenuItems(false);
            QCOMPARE(titles(run.menu()).mid(0, 4), QStringList({u"Stop Current Timer"_s, u"Project: [W1] Website"_s,
                                                                u"Task: Design"_s, u"New Timer…"_s}));
        }
        for (int again = 0; again < 2; ++again) {
            run.menulet->hideCurrentTimerMenuItems(true);
            QCOMPARE(titles(run.menu()), hidden);
        }
    }

    void keyEquivalents()
    {
        StartedRun run;
        auto& preferences = settings::QuillonPreferences::sharedPreferences();
        preferences.setTimesheetWindowHotKeyCombo({settings::KeyCombo::Command, 3});
        preferences.setNewTimerWindowHotKeyCombo({settings::KeyCombo::Command, settings::KeyCombo::NoKey});
        run.menulet->updateKeyEquivalents();
        QCOMPARE(run.menu().timesheetMenuItem->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_F));
        QCOMPARE(run.menu().newTimerMenuItem->shortcut(), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_N));
    }

    void hotKeys()
    {
        StartedRun run;
        QVERIFY(run.test.hotKeys.mayAsk);
        run.shown();
        for (const Qt::Key key : {Qt::Key_M, Qt::Key_N})
            QVERIFY(run.test.hotKeys.press(Qt::ControlModifier | Qt::AltModifier | key));
        QTRY_COMPARE(std::ranges::count_if(QApplication::topLevelWidgets(), &QWidget::isVisible), 2);
        QCOMPARE(run.shown(), QStringList({u"New Timer"_s, u"Timesheet"_s}));
        run.menulet.reset();
        // A press that is still on its way meets nobody.
        run.test.hotKeys.press(Qt::ControlModifier | Qt::AltModifier | Qt::Key_M);
        QCoreApplication::processEvents();
    }

    void startedAgainWhileItRuns()
    {
        StartedRun run;
        run.shown();
        QVERIFY(!run.menulet->applicationShouldHandleReopen(false));
        QCOMPARE(run.shown(), QStringList{u"Timesheet"_s});
        QCOMPARE(run.test.statusItem.presented, 1);
    }

    void aChangeIsFollowedByALook()
    {
        StartedRun run(u"Design"_s);
        run.refresh();
        run.requested();
        service::QuillonApi::sharedApi().updateTimer(*run.menulet->company()->mostRecentDayEntry());
        run.settle();
        QCOMPARE(run.requested().last(), u"GET /daily/15/2013?slim=1"_s);
    }

    // What callers on the session bus may ask for, and when.
    void guards()
    {
        struct Guarded
        {
            QString action;
            QString online; // the error, empty when it is done
            QString offline;
            QString signedOut;
            QString effect;
        };
        const QString offline = u"com.wrenfold.Quillon1.Error.Offline"_s;
        const QString signedOut = u"com.wrenfold.Quillon1.Error.SignedOut"_s;
        const QString unknown = u"com.wrenfold.Quillon1.Error.NoSuchAction"_s;
        const QString done;
        for (const Guarded& guarded : {Guarded{u"toggle"_s, done, offline, done, u"GET /daily/timer/1"_s},
                                       {u"new-timer"_s, done, offline, signedOut, u"New Timer"_s},
                                       {u"timesheet"_s, done, done, signedOut, u"Timesheet"_s},
                                       {u"manage-tasks"_s, done, done, signedOut, u"/tasks"_s},
                                       {u"preferences"_s, done, done, done, u"Quillon Preferences"_s},
                                       {u"about"_s, done, done, done, u"About Quillon"_s},
                                       {u"abuot"_s, unknown, unknown, unknown, QString()}}) {
            StartedRun run(u"Design"_s);
            const app::SessionBus bus(*run.menulet, nullptr);

            // The error, and whether the action had its effect.
            const auto ask = [&] {
                run.shown();
                run.test.desktop.opened.clear();
                run.requested();
                const QString answer = perform(run, bus, guarded.action);
                QStringList seen = run.shown() + run.requested();
                for (const QUrl& url : run.test.desktop.opened)
                    seen << url.path();
                return std::pair(answer, seen.contains(guarded.effect));
            };
            const auto expected = [&](const QString& error) { return std::pair(error, error.isEmpty()); };

            QCOMPARE(ask(), expected(guarded.online));
            run.test.network.setReachable(false);
            QCOMPARE(ask(), expected(guarded.offline));
            run.test.network.setReachable(true);
            run.settle();
            run.menulet->authenticationFailed();
            QCOMPARE(ask(), expected(guarded.signedOut));
        }
    }

    void nothingToToggle()
    {
        StartedRun run;
        const app::SessionBus bus(*run.menulet, nullptr);
        // What there is to do instead is shown, and a script hears that no timer came of it.
        const auto toggle = [&] {
            run.shown();
            run.requested();
            const QString answer = perform(run, bus, u"toggle"_s);
            return QStringList(answer.section(u'.', -1)) + run.shown() + run.requested();
        };
        QCOMPARE(toggle(), QStringList({u"NoEntry"_s, u"New Timer"_s}));
        run.test.network.setReachable(false);
        QCOMPARE(toggle(), QStringList(u"Offline"_s));
        run.menulet->authenticationFailed();
        QCOMPARE(toggle(), QStringList({u"SignedOut"_s, u"Quillon Preferences"_s}));

        // Refused by the service, and a reply that is neither yes nor no.
        run.test.network.setReachable(true);
        run.settle();
        run.startTimer(u"Design"_s);
        const std::string id = run.menulet->company()->mostRecentDayEntry()->idString().toStdString();
        run.peer.answer("GET /daily/timer/" + id, {{500, "oops"}, {200, "<!DOCTYPE html>"}});
        QCOMPARE(toggle().first(), u"Failed"_s);
        QCOMPARE(toggle().first(), u"Failed"_s);
        QCOMPARE(toggle().first(), QString());
    }

    void statusOfTheCurrentEntry()
    {
        StartedRun run;
        QObject object;
        const app::SessionBus bus(*run.menulet, &object);
        const auto status = [&] {
            const QObject* adaptor = object.children().constFirst();
            QStringList values;
            for (const char* name : {"State", "Hours", "Running", "Offline", "SignedOut", "Project", "Task", "Client"})
                values << adaptor->property(name).toString();
            return values.join(u'|');
        };
        run.startTimer(u"Design"_s);
        QCOMPARE(status(), u"running|0:00|true|false|false|[W1] Website|Design|Harbour"_s);
        run.test.network.setReachable(false);
        QCOMPARE(status(), u"offline|0:00|true|true|false|[W1] Website|Design|Harbour"_s);
        // Nothing of an account whose password is no longer right.
        run.menulet->authenticationFailed();
        QCOMPARE(status(), u"offline|0:00|true|true|true|||"_s);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(StatusMenuTest)
#include "StatusMenuTest.moc"
