#include "../localservice/HttpClient.h"
#include "AppRun.h"
#include "store/Utc.h"

#include "support/InRow.h"
#include "support/TestMain.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetWindow.h"

#include <QAbstractButton>
#include <QLabel>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using platform::AlertPresenter;
using platform::TimeSource;
using support::Reply;

namespace {

constexpr auto Step = std::chrono::milliseconds(15s);

const QString NoAlert = u"none"_s;

/// How long a person must be away to be measured as so many minutes: the fast seconds are 7 % long.
TimeSource::Duration measured(int minutes)
{
    return std::chrono::ceil<TimeSource::Duration>(std::chrono::nanoseconds(qint64(minutes) * 60 << 30));
}

/// A program that is signed in, a person in front of it, and alerts that wait for the test to answer.
class IdleRun : public AppRun
{
public:
    explicit IdleRun(int thresholdMinutes = 10, const std::function<void(IdleRun&)>& beforeStart = {})
    {
        auto& defaults = settings::UserDefaults::standardUserDefaults();
        defaults.setInteger(settings::QuillonIdleMinutesThreshold, thresholdMinutes);
        test.alerts.answer.reset();
        if (beforeStart)
            beforeStart(*this);
        start();
    }

    /// Somebody starts a timer and leaves for as long as it takes to be asked.
    void leaveWithATimer()
    {
        startTimer(u"Design"_s);
        work(Step);
        away(measured(10) + Step);
    }
    /// Nobody is there; the program's own rhythm goes on.
    void away(TimeSource::Duration duration)
    {
        for (auto left = duration; left > 0s; left -= Step) {
            test.time.advance(std::min(left, Step));
            settle();
        }
    }
    void work(TimeSource::Duration duration)
    {
        for (auto left = duration; left > 0s; left -= Step) {
            test.idle.touch();
            away(std::min(left, Step));
        }
        test.idle.touch();
    }

    /// What the open alert says and offers, "none" without one.
    QString alert()
    {
        QCoreApplication::processEvents();
        const auto open = test.alerts.open();
        return open ? (QStringList{open->title} + open->buttons).join(u'|') : NoAlert;
    }
    bool press(int button)
    {
        const bool pressed = test.alerts.press(button);
        settle();
        return pressed;
    }
    /// Likewise the question that stands in the timesheet.
    QString question()
    {
        if (const QWidget* card = questionCard())
            return QStringList{card->findChild<QLabel*>(u"hintTitle"_s)->text(), questionButton(0)->text(),
                               questionButton(1)->text()}
                .join(u'|');
        return NoAlert;
    }
    QAbstractButton* questionButton(int button) const
    {
        return questionCard()->findChild<QAbstractButton*>(button ? u"hintOtherButton"_s : u"hintButton"_s);
    }
    QWidget* questionCard() const
    {
        auto* card = menulet->timesheetController()->window().findChild<QWidget*>(u"questionCard"_s);
        return card && card->isVisible() ? card : nullptr;
    }
    /// The person comes back and answers.
    bool answer(int button)
    {
        test.idle.touch();
        return press(button);
    }

    /// What the corrections have sent: hours, state and the time at which the entry was known.
    QStringList corrections() const
    {
        QStringList list;
        for (const support::Request& request : peer.requests()) {
            if (!request.target.starts_with("/hc/day_entry/"))
                continue;
            Answer body;
            body.body = QByteArray::fromStdString(request.body);
            list << body.text(u"hours"_s) + u' ' + body.text(u"timer_state"_s) + u' ' + body.text(u"updated_at"_s);
        }
        return list;
    }

    void toggle()
    {
        menulet->toggleCurrentTimer(nullptr);
        settle();
    }

    /// The same account in a browser.
    Answer elsewhere(const QString& target, const QByteArray& body = {})
    {
        HttpClient client(QString::fromStdString(service.url("acme")), u"ann@example.com"_s, u"secret"_s);
        return body.isEmpty() ? client.get(target) : client.post(target, body);
    }
    /// An earlier run has left half an hour of a timer that runs.
    void rememberTimer()
    {
        const QString id =
            elsewhere(u"/daily/add"_s,
                      requestBody(u"project_id=%1 task_id=%2 spent_at=2013-01-15"_s.arg(website).arg(design)))
                .text(u"id"_s);
        store::Context& cache = *menulet->managedObjectContext();
        auto& company = model::Company::findOrCreateCompany(u"acme"_s, cache);
        auto& entry = company.findOrCreateById<model::DayEntry>(id, cache);
        entry.setProject(&company.findOrCreateById<model::Project>(QString::number(website), cache));
        entry.setTask(&company.findOrCreateById<model::Task>(QString::number(design), cache));
        entry.setSpentAt(QDateTime(QDate(2013, 1, 15), QTime(), store::Utc));
        entry.setTimerStarted(QDateTime(QDate(2013, 1, 15), QTime(9, 0), store::Utc));
        entry.setHours(0.5);
        QVERIFY(cache.save());
        test.time.advance(30min);
    }
    QString currentId() const { return menulet->company()->mostRecentDayEntry()->idString(); }
    void toggleElsewhere() { QCOMPARE(elsewhere(u"/daily/timer/"_s + currentId()).status, 200); }
    void deleteElsewhere() { QCOMPARE(elsewhere(u"/daily/delete/"_s + currentId()).status, 200); }
    /// All hours that the service holds for the day.
    double dayTotal()
    {
        double total = 0;
        for (const QString& hours : elsewhere(u"/daily"_s).texts(u"hours"_s))
            total += hours.toDouble();
        return total;
    }
};

QString asksAbout(const QString& time, const QString& removed)
{
    return u"You've been idle for %1 with a timer running.|Continue Timing|Remove %2"_s.arg(time, removed);
}

QString asksAboutMinutes(int minutes)
{
    return asksAbout(u"%1 minutes"_s.arg(minutes), u"%1 Idle Minutes"_s.arg(minutes));
}

} // namespace

class IdleTest : public QObject
{
    Q_OBJECT
private slots:
    void asksAtTheThreshold()
    {
        for (const auto& [minutes, alert] : {std::pair(1, asksAboutMinutes(1)), // in the plural
                                             {59, asksAboutMinutes(59)},
                                             {75, asksAbout(u"1:15"_s, u"1:15 of Idle Time"_s)}}) {
            IdleRun run(minutes);
            run.startTimer(u"Design"_s);
            run.work(2 * Step);
            run.away(measured(minutes) - 1s);
            QCOMPARE(run.alert(), NoAlert);
            run.away(Step);
            QCOMPARE(run.alert(), alert);
            const platform::Alert shown = run.test.alerts.shown.back();
            QCOMPARE(shown.text, u"Would you like to stop your timer and remove the minutes, or continue timing?"_s);
            QCOMPARE(shown.buttons.value(shown.escapeButton), u"Continue Timing"_s);
            QVERIFY(shown.unasked);
        }
    }

    // What is changed in the preferences counts from the next look on.
    void asksOnlyWhoIsAskedFor()
    {
        for (const auto& [enabled, threshold, alert] :
             {std::tuple(false, 1, NoAlert), {true, 1, asksAboutMinutes(5)}, {true, 20, NoAlert}}) {
            IdleRun run(10);
            run.startTimer(u"Design"_s);
            run.work(Step);
            run.away(measured(5));
            auto& preferences = settings::QuillonPreferences::sharedPreferences();
            preferences.setIdleTimerEnabled(enabled);
            preferences.setIdleMinutesThreshold(threshold);
            run.away(Step);
            QCOMPARE(run.alert(), alert);
        }
    }

    void nobodyToMeasure()
    {
        IdleRun run(1);
        run.startTimer(u"Design"_s);
        run.test.idle.measurable = false;
        QCOMPARE(app::SystemIdleTime(), -1);
        run.away(5min);
        QCOMPARE(run.alert(), NoAlert);
        QCOMPARE(run.menulet->idleTimer().computedIdleTime(), 1.0);
        // Sleep is seen all the same.
        run.test.sleep.sleep(20min);
        QCOMPARE(run.alert(), asksAboutMinutes(19));
    }

    void nothingRunning()
    {
        IdleRun run;
        run.work(Step);
        run.away(measured(12) + Step);
        QCOMPARE(run.alert(), NoAlert);
        VERIFY_EACH(run.menulet->idleTime() >= 720, !run.menulet->displayingIdleAlert());
        // A timer that somebody starts elsewhere is one to be asked about.
        run.menulet->resetIdleTimer();
        QCOMPARE(run.menulet->idleTime(), 0.0);
        run.startTimer(u"Design"_s);
        run.away(Step);
        QCOMPARE(run.alert(), asksAboutMinutes(12));
    }

    void growsWhileOpen()
    {
        IdleRun run;
        run.leaveWithATimer();
        QCOMPARE(run.alert(), asksAboutMinutes(10));
        run.away(measured(8));
        QCOMPARE(run.alert(), asksAboutMinutes(18));
        run.away(measured(57));
        QCOMPARE(run.alert(), asksAbout(u"1:15"_s, u"1:15 of Idle Time"_s));
        run.menulet->applicationWasIdle(700.9);
        QCOMPARE(run.alert(), asksAbout(u"1:15"_s, u"1:15 of Idle Time"_s));
        // The person is back, and what was measured stays until they say what is to become of it.
        run.work(2min);
        QCOMPARE(run.alert(), asksAbout(u"1:15"_s, u"1:15 of Idle Time"_s));
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));
    }

    void closesWhenThereIsNothingToAsk()
    {
        const auto comesBackAnd = [](const std::function<void(IdleRun&)>& does) {
            return [does](IdleRun& run) {
                run.test.idle.touch();
                does(run);
            };
        };
        const auto changeAccount = [](IdleRun&) {
            emit settings::QuillonPreferences::sharedPreferences().preferencesChanged();
        };
        for (const std::function<void(IdleRun&)>& happens : {std::function<void(IdleRun&)>(&IdleRun::toggleElsewhere),
                                                             {&IdleRun::deleteElsewhere},
                                                             {comesBackAnd(&IdleRun::toggle)},
                                                             {comesBackAnd(changeAccount)}}) {
            for (const bool isPutAway : {false, true}) {
                IdleRun run;
                run.leaveWithATimer();
                QVERIFY(run.menulet->runningTimerWhenIdleStarted());
                if (isPutAway)
                    run.press(AlertPresenter::Dismissed);
                happens(run);
                run.away(30s + Step); // a refresh, and the look after it
                QCOMPARE(run.alert() + run.question(), NoAlert + NoAlert);
                QCOMPARE(run.corrections(), QStringList());
                QVERIFY(!run.menulet->displayingIdleAlert());
                QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));
            }
        }
    }

    // The desktop that shows the question lets the person put it away.
    void standsInTheTimesheetWhenPutAway()
    {
        IdleRun run;
        run.leaveWithATimer();
        QVERIFY(run.press(AlertPresenter::Dismissed));
        QCOMPARE(run.question(), asksAboutMinutes(10));
        QVERIFY(run.menulet->displayingIdleAlert());
        // It grows with the absence, and leaves the keyboard on what the person has turned to.
        run.questionButton(1)->setFocus();
        run.away(measured(8));
        QCOMPARE(run.question(), asksAboutMinutes(18));
        QVERIFY(run.questionButton(1)->hasFocus());
        QCOMPARE(run.questionCard()->accessibleName().section(u'.', 0, 0),
                 u"You've been idle for 18 minutes with a timer running"_s);
        run.work(2min);
        QCOMPARE(run.question(), asksAboutMinutes(18));
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));

        QTest::keyClick(run.questionButton(1), Qt::Key_Space);
        run.settle();
        QCOMPARE(run.corrections(), QStringList{u"0.06 stopped Tue, 15 Jan 2013 09:11:00 +0000"_s});
        QCOMPARE(run.question(), NoAlert);
        QVERIFY(!run.menulet->displayingIdleAlert());
        QVERIFY(run.menulet->timesheetController()->dayEntriesListView().hasFocus());
    }

    void isAskedAnewAfterItWasPutAway()
    {
        IdleRun run;
        run.leaveWithATimer();
        QVERIFY(run.press(AlertPresenter::Dismissed));
        run.test.idle.touch();
        run.questionButton(0)->click();
        QCOMPARE(run.question(), NoAlert);
        run.away(measured(10) + Step);
        QCOMPARE(run.alert(), asksAboutMinutes(10));
        QCOMPARE(run.question(), NoAlert);
        QCOMPARE(run.corrections(), QStringList());

        // Pressed to see what it is about.
        run.menulet->timesheetController()->window().hide();
        VERIFY_EACH(run.press(AlertPresenter::Opened), run.menulet->timesheetController()->window().isVisible());
        QCOMPARE(run.question(), asksAboutMinutes(10));
    }

    // Who lets the question lie and works on may send the machine to sleep for a moment.
    void asksAboutTheSameTimerAcrossASleep()
    {
        IdleRun run;
        run.leaveWithATimer();
        run.work(Step);
        run.test.sleep.sleep(3min);
        QCOMPARE(run.alert(), asksAboutMinutes(10));
        run.elsewhere(
            u"/daily/add"_s,
            requestBody(u"project_id=%1 task_id=%2 spent_at=2013-01-15"_s.arg(run.website).arg(run.meetings)));
        run.refresh();
        run.press(1);
        QCOMPARE(run.corrections(), QStringList());
        QCOMPARE(run.alert(), NoAlert);
    }

    void removesIdleTime()
    {
        IdleRun run;
        run.startTimer(u"Design"_s);
        run.work(30min);
        run.away(1290s);
        QCOMPARE(run.alert(), asksAboutMinutes(20));
        QVERIFY(run.answer(1));
        // Known since the first report, which came at 600 fast seconds.
        QCOMPARE(run.corrections(), QStringList{u"0.52 stopped Tue, 15 Jan 2013 09:40:45 +0000"_s});
        QCOMPARE(run.dayTotal(), 0.52);
        QCOMPARE(run.menulet->idleTime(), 0.0);
        run.away(30s);
        QCOMPARE(run.face(), u"0:31"_s);
        QCOMPARE(run.alert(), NoAlert);
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));

        // And once more of the same entry.
        run.toggle();
        run.work(10min);
        run.away(15min); // 14 of them measured
        QCOMPARE(run.alert(), asksAboutMinutes(13));
        QVERIFY(run.answer(1));
        QCOMPARE(run.corrections().size(), 2);
        QCOMPARE(qRound(run.dayTotal() * 60), 31 + 10 + 1);
    }

    void removesNoMoreThanThereIs()
    {
        IdleRun run;
        run.away(measured(30));
        run.startTimer(u"Design"_s);
        run.away(15min);
        QVERIFY(run.press(1));
        QCOMPARE(run.dayTotal(), 0.0);
        QVERIFY(run.corrections().value(0).startsWith("0.00 stopped"_L1));
    }

    void sleepCounts()
    {
        // Minutes asleep, and by how many the clock is put forward meanwhile.
        for (const auto& [minutes, clock, alert] : {std::tuple(120, 0, asksAbout(u"2:00"_s, u"2:00 of Idle Time"_s)),
                                                    {10, 0, asksAboutMinutes(10)},
                                                    {9, 0, NoAlert},
                                                    {20, -8 * 60, asksAboutMinutes(20)},
                                                    {20, 3 * 60, asksAboutMinutes(20)},
                                                    {20, -20, asksAboutMinutes(20)}}) {
            const support::InRow inRow(u"%1, %2"_s.arg(minutes).arg(clock));
            IdleRun run;
            run.startTimer(u"Design"_s);
            run.work(5min);
            bool noted = false;
            run.test.sleep.sleep(std::chrono::minutes(minutes), [&, put = clock] {
                noted = run.menulet->runningTimerWhenIdleStarted() != nullptr;
                run.test.time.setNow(run.test.time.now() + std::chrono::minutes(put));
            });
            QVERIFY(noted);
            QCOMPARE(run.alert(), alert);
            QCOMPARE(run.menulet->runningTimerWhenIdleStarted() != nullptr, alert != NoAlert);
            run.away(measured(1));
            QCOMPARE(run.alert(), alert);
            QCOMPARE(run.test.alerts.shown.size(), std::size_t(alert != NoAlert));
            // And the looks go on.
            run.test.idle.touch();
            run.test.alerts.press(0);
            run.away(measured(10) + Step);
            QCOMPARE(run.alert(), asksAboutMinutes(10));
        }
    }

    void twoSleepsAreOneAbsence()
    {
        IdleRun run(60);
        run.startTimer(u"Design"_s);
        run.work(5min);
        run.test.sleep.sleep(40min);
        run.away(2 * Step);
        QCOMPARE(run.alert(), NoAlert);
        run.test.sleep.sleep(40min);
        // The first one in fast seconds, the second in true ones.
        QCOMPARE(run.alert(), asksAbout(u"1:17"_s, u"1:17 of Idle Time"_s));
        run.away(Step);
        run.test.sleep.sleep(40min);
        QCOMPARE(run.alert(), asksAbout(u"1:55"_s, u"1:55 of Idle Time"_s));
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));
        QVERIFY(run.press(1));
        QCOMPARE(run.corrections().size(), 1);
    }

    void hoursFromBeforeTheSleepAreNotLost()
    {
        // Heard every half minute, and heard again as they were.
        for (const int unchangedReplies : {0, 20}) {
            IdleRun run;
            run.startTimer(u"Design"_s);
            run.work(30min);
            const Reply sheet{200, run.elsewhere(u"/daily/15/2013?slim=1"_s).body.toStdString()};
            run.peer.answer("GET /daily/15/2013", std::vector<Reply>(std::size_t(unchangedReplies), sheet));
            run.work(unchangedReplies * 30s);
            run.test.sleep.sleep(2h);
            QCOMPARE(run.alert(), asksAbout(u"2:00"_s, u"2:00 of Idle Time"_s));
            // Before any refresh has told what the hours are by now.
            QVERIFY(run.press(1));
            QVERIFY2(run.corrections().value(0).startsWith("0.50 stopped"_L1), qPrintable(run.corrections().value(0)));
            QCOMPARE(run.dayTotal(), 0.5);
        }
    }

    void hoursOfUnknownAgeStayAsTheyAre()
    {
        // Nothing is heard, or the account alone, or another day.
        for (const std::vector<std::string>& refused :
             {std::vector<std::string>{"/account/who_am_i", "/daily", "/daily/15/2013"},
              {"/daily", "/daily/15/2013"},
              {"/daily/15/2013"}}) {
            IdleRun run(10, [&](IdleRun& before) {
                before.rememberTimer();
                for (const std::string& path : refused)
                    before.peer.answer("GET " + path, std::vector<Reply>(100, Reply{500, "not now"}));
            });
            run.menulet->showTimesheetWindow(nullptr);
            run.menulet->timesheetController()->setCurrentDate(QDate(2013, 1, 14));
            run.work(Step);
            run.test.sleep.sleep(12min);
            QCOMPARE(run.alert(), asksAboutMinutes(12));
            QVERIFY(run.press(1));
            QVERIFY2(run.corrections().value(0).startsWith("0.30 stopped"_L1), qPrintable(run.corrections().value(0)));
        }
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(IdleTest)
#include "IdleTest.moc"
