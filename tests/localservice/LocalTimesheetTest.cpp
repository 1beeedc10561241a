#include "Scenario.h"

#include "localservice/DateText.h"
#include "localservice/Timesheet.h"

#include "support/VerifyEach.h"

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {

/// Start, end and hours of the entry, or the message of a refusal.
QString times(const Answer& answer)
{
    return answer.status == 200 ? answer.row(u"started_at ended_at hours"_s) : answer.text(u"message"_s);
}

} // namespace

class LocalTimesheetTest : public QObject
{
    Q_OBJECT

private slots:
    void offersOnlyBookableProjects()
    {
        Scenario s;
        QCOMPARE(s.get(u"/daily"_s).texts(u"billable"_s),
                 (QStringList{u"false"_s, u"false"_s, u"true"_s, u"true"_s, u"false"_s}));
        QVERIFY(s.database().setProjectActive(s.acme.internal, false));
        const auto full = s.get(u"/daily"_s);
        QCOMPARE(full.texts(u"name"_s), (QStringList{u"Website"_s, u"Design"_s, u"Support"_s}));
        QCOMPARE(full.texts(u"client"_s), QStringList{u"Bread <& Sons>"_s});
        QVERIFY(s.database().withdrawTask(s.acme.website, s.acme.design));
        QCOMPARE(s.get(u"/daily/65/2024"_s).texts(u"name"_s), (QStringList{u"Website"_s, u"Support"_s}));
        QCOMPARE(s.get(u"/daily/65/2024?slim=1"_s).texts(u"project"_s), QStringList{});
    }

    void writesEveryFieldOfAnEntry()
    {
        Scenario s;
        const auto id = s.add(u"notes=R&D_<b>\nline_–_ü spent_at=Thu,_29_Feb_2024"_s);
        s.pass(90min);
        const auto day = s.get(u"/daily/60/2024?slim=1"_s);
        QCOMPARE(day.text(u"for_day"_s), u"Thu, 29 Feb 2024"_s);
        const QString moment = u"Tue, 5 Mar 2024 08:15:40 +0000"_s;
        QCOMPARE(day.row(u"id user_id spent_at project_id project client task_id task hours hours_without_timer"_s),
                 id + u"|1|2024-02-29|1|Website|Bread <& Sons>|1|Design|1.5|0.0"_s);
        QCOMPARE(day.row(u"timer_started_at created_at updated_at notes is_locked is_billed"_s),
                 QStringList({moment, moment, moment, u"R&D <b>\nline – ü"_s, u"false"_s, u"false"_s}).join(u'|'));
        VERIFY_EACH(day.texts(u"started_at"_s).isEmpty(), day.texts(u"locked_reason"_s).isEmpty());

        QVERIFY(s.database().setBilled(id.toLongLong(), true));
        QVERIFY(s.database().lockEntry(id.toLongLong(), "Approved."));
        QCOMPARE(s.get(u"/daily/60/2024?slim=1"_s).row(u"is_billed locked_reason"_s), u"true|Approved."_s);
    }

    void addsFinishedAndRunningEntries()
    {
        Scenario s;
        const auto check = [&](const QString& fields, const QString& hours, bool running) {
            const auto added = s.book(fields);
            QCOMPARE(added.text(u"hours"_s), hours);
            QCOMPARE(!added.text(u"timer_started_at"_s).isEmpty(), running);
            QVERIFY(added.text(u"started_at"_s).isEmpty());
        };
        check(u""_s, u"0.0"_s, true);
        check(u"hours="_s, u"0.0"_s, true);
        check(u"hours=1.25"_s, u"1.25"_s, false);
        check(u"hours=0.08"_s, u"0.0833"_s, false); // five minutes in hundredths
        check(u"hours=1.3958"_s, u"1.3958"_s, false);
        check(u"hours=24"_s, u"24.0"_s, false);
        check(u"hours=2 started_at=9:00AM"_s, u"2.0"_s, false); // clock times mean nothing here
    }

    void refusesWhatCannotBeBooked()
    {
        Scenario s;
        const auto check = [&](const QByteArray& body, const QString& message) {
            const auto answer = s.post(u"/daily/add"_s, body);
            QCOMPARE(answer.status, 500);
            QCOMPARE(answer.root(), u"error"_s);
            QCOMPARE(answer.text(u"kind"_s), u"Validation"_s);
            QCOMPARE(answer.text(u"message"_s), message);
        };
        const auto book = [&](const QString& fields, const QString& message) { check(requestBody(fields), message); };
        book(u"task_id=1"_s, u"This project does not exist."_s);
        book(u"project_id=3 task_id=1"_s, u"This project does not exist."_s); // another account's
        book(u"project_id=1"_s, u"This task does not exist."_s);
        book(u"project_id=2 task_id=1"_s, u"This task is not offered on the project."_s);
        book(u"project_id=1 task_id=1 hours=two"_s, u"The hours cannot be read."_s);
        book(u"project_id=1 task_id=1 hours=inf"_s, u"The hours cannot be read."_s);
        book(u"project_id=1 task_id=1 hours=24.02"_s, u"An entry cannot have more than 24 hours."_s);
        book(u"project_id=1 task_id=1 spent_at=Fri,_30_Feb_2024"_s, u"The date cannot be read."_s);
        for (const auto& body : {""_ba, "<request><notes>a</notes>"_ba,
                                 "<!DOCTYPE r [<!ENTITY f SYSTEM 'file:///etc/hostname'>]><request><project_id>1"
                                 "</project_id><task_id>1</task_id><notes>&f;</notes></request>"_ba,
                                 "<request>"_ba.repeated(100'000)})
            check(body, u"The request body cannot be read."_s);
        QCOMPARE(s.today().texts(u"id"_s), QStringList{});
    }

    void togglingCountsEverySecondOnce()
    {
        Scenario s;
        const auto first = s.add();
        s.pass(125s);
        const auto second = s.add();
        QCOMPARE(s.today().texts(u"hours"_s), (QStringList{u"0.0347"_s, u"0.0"_s}));
        s.pass(600s);
        QCOMPARE(s.toggle(first).text(u"timer_started_at"_s), u"Tue, 5 Mar 2024 08:27:45 +0000"_s);
        s.pass(1s);
        const auto running = s.today();
        QCOMPARE(running.texts(u"hours"_s), (QStringList{u"0.035"_s, u"0.1667"_s}));
        QCOMPARE(running.texts(u"hours_without_timer"_s), (QStringList{u"0.0347"_s, u"0.1667"_s}));
        QCOMPARE(running.texts(u"timer_started_at"_s).size(), 1);
        QCOMPARE(s.toggle(first).root(), u"timer"_s);
        s.pass(1h);
        const auto stopped = s.today();
        QCOMPARE(stopped.texts(u"hours"_s), (QStringList{u"0.035"_s, u"0.1667"_s}));
        QCOMPARE(stopped.texts(u"timer_started_at"_s), QStringList{});
        QCOMPARE(s.get(u"/daily/timer/4711"_s).text(u"message"_s), u"This entry no longer exists."_s);
    }

    void aTimerKeepsItsDayAcrossMidnight()
    {
        Scenario s;
        const auto id = s.add();
        // 9:15 in the evening of the fifth is 14 hours and 44 minutes before local midnight of it.
        s.pass(14h + 44min + 30s);
        QCOMPARE(s.today().text(u"for_day"_s), u"Wed, 6 Mar 2024"_s);
        QCOMPARE(s.today().texts(u"id"_s), QStringList{});
        QCOMPARE(s.get(u"/daily/65/2024?slim=1"_s).text(u"hours"_s), u"14.7417"_s);
        const auto stopped = s.toggle(id);
        QCOMPARE(stopped.row(u"spent_at hours"_s), u"2024-03-05|14.7417"_s);
        QCOMPARE(s.toggle(id).text(u"spent_at"_s), u"2024-03-05"_s);
        QCOMPARE(s.book(u""_s).text(u"spent_at"_s), u"2024-03-06"_s);
    }

    void aClockSetBackTakesNothingAway()
    {
        Scenario s;
        const auto id = s.add(u"hours=0.5"_s);
        s.toggle(id);
        s.pass(-2h);
        QCOMPARE(s.today().row(u"hours timer_started_at"_s), u"0.5|Tue, 5 Mar 2024 06:15:40 +0000"_s);
        QCOMPARE(s.toggle(id).text(u"hours"_s), u"0.5"_s);
    }

    void editingLeavesUntouchedTimeExact()
    {
        Scenario s;
        const auto check = [&](int seconds, bool running, const QString& fields, const QString& hours) {
            const auto id = s.add();
            s.pass(std::chrono::seconds(seconds));
            if (!running)
                s.toggle(id);
            const auto answer = s.update(id, fields);
            QCOMPARE(answer.root(), u"add"_s);
            QCOMPARE(answer.text(u"hours"_s), hours);
            QCOMPARE(!answer.text(u"timer_started_at"_s).isEmpty(), running);
            s.pass(36s);
            const auto later = s.timesheet().entry(id.toLongLong()).value().total(s.now());
            QCOMPARE(qRound(static_cast<double>(later) / 36 - hours.toDouble() * 100), running ? 1 : 0);
        };
        check(5025, false, u"hours=1.40 notes=new"_s, u"1.3958"_s); // as they were sent
        check(5025, false, u"hours=2.00"_s, u"2.0"_s);
        check(7185, false, u"hours=1.00"_s, u"1.9958"_s); // shown without its last hour
        check(5025, false, u"notes=new"_s, u"1.3958"_s);
        check(5025, false, u"project_id=1 task_id=1 spent_at=Tue,_5_Mar_2024 notes=new"_s, u"0.0"_s);
        check(600, true, u"hours=0.17 notes=new"_s, u"0.1667"_s);
        check(610, true, u"hours=0.15"_s, u"0.1694"_s); // as shown a minute ago
        check(90, true, u"project_id=1 task_id=1 spent_at=Tue,_5_Mar_2024 notes=n"_s, u"0.025"_s);
        check(200'000, true, u"hours=55.55"_s, u"55.5556"_s);
    }

    void formsLeaveUntouchedTimeExact()
    {
        Scenario s;
        const auto check = [&](int seconds, bool running, const char* hours, int after) {
            const auto id = s.add().toLongLong();
            s.pass(std::chrono::seconds(seconds));
            QVERIFY(s.timesheet().setRunning(id, true).value().timerStarted);
            if (!running)
                QVERIFY(!s.timesheet().setRunning(id, false).value().timerStarted);
            const localservice::EntryFields form{.project = s.acme.website,
                                                 .task = s.acme.design,
                                                 .day = localservice::readDay("2024-03-05"),
                                                 .notes = "n",
                                                 .hours = localservice::readTypedHours(hours),
                                                 .hoursTouched = *hours != 0};
            const auto saved = s.timesheet().update(id, form);
            QCOMPARE(saved.value().total(s.now()), localservice::Seconds{after});
            QCOMPARE(saved.value().timerStarted.has_value(), running);
        };
        check(5025, false, "", 5025);
        check(5025, false, "1:25", 5100);
        check(7185, false, "1:00", 3600); // other hours that look like these
        check(5025, true, "", 5025);
        check(5025, true, "0:05", 300);
    }

    void formsOlderThanTheirEntryAreRefused()
    {
        Scenario s;
        const auto id = s.add(u"hours=1"_s);
        const auto seen = s.timesheet().entry(id.toLongLong()).value().updated;
        s.update(id, u"notes=elsewhere"_s);
        const auto refused = s.timesheet().update(id.toLongLong(), {.notes = "here"}, seen).error();
        QCOMPARE(refused.problem.status, 409);
        QCOMPARE(refused.current.value().notes, "elsewhere"s);
        QCOMPARE(s.timesheet().remove(id.toLongLong(), seen).error().current.value().notes, "elsewhere"s);
        QCOMPARE(s.timesheet().update(id.toLongLong(), {.notes = "here"}, refused.current->updated).value().notes,
                 "here"s);
    }

    void editingMovesAnEntry()
    {
        Scenario s;
        const auto id = s.add(u"hours=1"_s);
        const auto moved = s.update(id, u"project_id=2 task_id=2 spent_at=Mon,_4_Mar_2024 notes=moved hours=1.00"_s);
        QCOMPARE(moved.row(u"project spent_at"_s), u"Internal|2024-03-04"_s);
        QCOMPARE(s.today().texts(u"id"_s), QStringList{});
        QCOMPARE(s.get(u"/daily/64/2024"_s).text(u"notes"_s), u"moved"_s);
        const auto refused = s.update(id, u"task_id=1"_s);
        QCOMPARE(refused.text(u"message"_s), u"This task is not offered on the project."_s);
    }

    void addsTimestampEntries()
    {
        Scenario s;
        s.useTimestamps();
        QCOMPARE(s.get(u"/account/who_am_i"_s).row(u"id timestamp-timers"_s), u"2|true"_s);
        const auto check = [&](const QString& fields, const QString& summary, bool running = false) {
            const auto answer = s.book(fields);
            QCOMPARE(times(answer), summary);
            QCOMPARE(answer.text(u"timer_started_at"_s).isEmpty(), !running);
        };
        check(u""_s, u"9:15am||0.0"_s, true);
        check(u"started_at=8:45AM hours=3"_s, u"8:45am||0.5111"_s, true);
        check(u"started_at=11:50AM ended_at=1:05PM"_s, u"11:50am|1:05pm|1.25"_s);
        check(u"hours=0.75"_s, u"||0.75"_s);
        check(u"started_at=8:45AM spent_at=2024-03-01"_s, u"8:45am||0.0"_s, true);
        check(u"started_at=9:00AM ended_at=8:59AM"_s, u"The end time is before the start time."_s);
        check(u"started_at=9:16AM"_s, u"The start time is later than now."_s);
        check(u"started_at=25:00"_s, u"The start time cannot be read."_s);
        s.pass(24h * 120); // to a quarter past ten in summer
        check(u"started_at=9:45AM"_s, u"9:45am||0.5111"_s, true);
    }

    void editsTimestampEntries()
    {
        const auto check = [](bool running, const QString& fields, const QString& summary) {
            Scenario s;
            s.useTimestamps();
            const auto id = s.add();
            // From 9:15:40 to 9:45:40 and again from 10:15:40; where it is finished, until 10:25:40.
            s.pass(30min);
            QCOMPARE(s.toggle(id).text(u"ended_at"_s), u"9:45am"_s);
            s.pass(30min);
            QVERIFY(s.toggle(id).text(u"ended_at"_s).isEmpty());
            s.pass(10min);
            if (!running)
                s.toggle(id);
            const auto answer = s.update(id, fields);
            QCOMPARE(times(answer), summary);
            QCOMPARE(s.today().texts(u"timer_started_at"_s).size(), running ? 1 : 0);
        };
        check(false, u"started_at=9:15AM ended_at=10:25AM hours=1.17"_s, u"9:15am|10:25am|0.6667"_s); // untouched
        check(false, u"started_at=9:15AM ended_at=10:30AM"_s, u"9:15am|10:30am|1.25"_s);
        check(true, u"started_at=9:15AM ended_at=9:45AM hours=1"_s, u"9:15am||0.6667"_s);
        check(true, u"started_at=9:00AM"_s, u"9:00am||0.9167"_s);
        check(true, u"started_at=10:00AM"_s, u"The start time is later than now."_s);
    }

    void lockedAndArchivedEntriesStay()
    {
        Scenario s;
        const auto running = s.add();
        const auto finished = s.add(u"hours=1"_s);
        for (const auto& id : {running, finished})
            QVERIFY(s.database().lockEntry(id.toLongLong(), "Approved."));
        const auto message = u"This entry is locked: Approved."_s;
        QCOMPARE(s.update(finished, u"notes=x"_s).text(u"message"_s), message);
        QCOMPARE(s.get(u"/daily/delete/"_s + finished).text(u"message"_s), message);
        QCOMPARE(s.toggle(finished).text(u"message"_s), message);
        QCOMPARE(s.sync(finished, u"0.50"_s, u"stopped"_s, u"Wed, 6 Mar 2024 00:00:00 +0000"_s).status, 500);
        QCOMPARE(s.today().texts(u"hours"_s), (QStringList{u"0.0"_s, u"1.0"_s}));
        // Only stopping is allowed: a timer that nobody can stop would count for ever.
        s.pass(36s);
        QCOMPARE(s.toggle(running).text(u"hours"_s), u"0.01"_s);

        QVERIFY(s.database().lockEntry(finished.toLongLong(), ""));
        QVERIFY(s.database().setProjectActive(s.acme.website, false));
        QCOMPARE(s.toggle(finished).text(u"message"_s), u"This project has been archived."_s);
        QCOMPARE(s.update(finished, u"hours=2"_s).text(u"hours"_s), u"2.0"_s);
        QCOMPARE(s.get(u"/daily/delete/"_s + finished).root(), u"result"_s);
        QCOMPARE(s.today().texts(u"id"_s), QStringList{running});
        const auto again = s.get(u"/daily/delete/"_s + finished);
        QCOMPARE(again.status, 404);
        QCOMPARE(again.root(), u"result"_s);
    }

    void synchronizes()
    {
        const auto check = [](const QString& hours, const QString& state, int status, const QString& after) {
            Scenario s;
            const auto id = s.add();
            s.pass(30h);
            const auto answer = s.sync(id, hours, state, u"Tue, 5 Mar 2024 08:15:40 +0000"_s);
            QCOMPARE(answer.status, status);
            QCOMPARE(answer.root(), status == 200 ? u"day_entry"_s : u"error"_s);
            s.pass(1h);
            QCOMPARE(s.get(u"/daily/65/2024?slim=1"_s).text(u"hours"_s), after);
        };
        check(u"0.00"_s, u"stopped"_s, 200, u"0.0"_s);
        check(u"0.25"_s, u"running"_s, 200, u"1.25"_s);
        check(u"30.50"_s, u"stopped"_s, 500, u"31.0"_s); // more than there was
        check(u""_s, u"stopped"_s, 500, u"31.0"_s);
        check(u"0.25"_s, u"paused"_s, 500, u"31.0"_s);

        // It ended when the time that counts was over.
        Scenario s;
        s.useTimestamps();
        const auto id = s.add();
        s.pass(2h);
        const auto answer = s.sync(id, u"0.50"_s, u"stopped"_s, u"Tue, 5 Mar 2024 08:15:40 +0000"_s);
        QCOMPARE(answer.row(u"started_at ended_at hours"_s), u"9:15am|9:45am|0.5"_s);
    }

    void refusesStaleSynchronization()
    {
        Scenario s;
        const auto id = s.add();
        s.pass(10min);
        const auto seen = s.today().text(u"updated_at"_s);
        // Two changes within the second that the client has seen.
        const auto changed = s.update(id, u"notes=elsewhere"_s).text(u"updated_at"_s);
        VERIFY_EACH(changed != seen, s.update(id, u"notes=again"_s).text(u"updated_at"_s) != changed);
        for (const auto& stale : {seen, changed}) {
            const auto refused = s.sync(id, u"0.00"_s, u"stopped"_s, stale);
            QCOMPARE(refused.status, 409);
            QCOMPARE(refused.root(), u"day_entry"_s);
            QCOMPARE(refused.text(u"notes"_s), u"again"_s);
        }
        QCOMPARE(s.today().text(u"hours"_s), u"0.1667"_s);
        QCOMPARE(s.sync(id, u"0.10"_s, u"stopped"_s, u"Tue, 5 Mar 2024 10:00:00 +0100"_s).status, 200);
        s.get(u"/daily/delete/"_s + id);
        QCOMPARE(s.sync(id, u"0.10"_s, u"stopped"_s, u"Wed, 6 Mar 2024 00:00:00 +0000"_s).status, 410);
        QCOMPARE(s.sync(id, u"0.10"_s, u"stopped"_s, u"yesterday"_s).text(u"message"_s),
                 u"The update time cannot be read."_s);
    }

    void reachesOnlyOwnEntries()
    {
        Scenario s;
        const auto id = s.add(u"hours=1"_s);
        QVERIFY(s.database().addPerson({s.acme.id, "bob@example.com", "secret", "Bob", "Ray"}));
        const auto client = s.client(s.acme, u"secret"_s, u"bob@example.com"_s);
        HttpClient& bob = *client;
        QCOMPARE(bob.get(u"/daily?slim=1"_s).texts(u"id"_s), QStringList{});
        QCOMPARE(bob.get(u"/daily/timer/"_s + id).status, 500);
        QCOMPARE(bob.get(u"/daily/delete/"_s + id).status, 404);
        QCOMPARE(bob.post(u"/daily/update/"_s + id, requestBody(u"hours=9"_s)).status, 500);
        QCOMPARE(bob.get(u"/daily"_s).texts(u"name"_s), QStringList{});
        QCOMPARE(bob.post(u"/daily/add"_s, requestBody(u"project_id=1 task_id=1"_s)).text(u"message"_s),
                 u"You are not assigned to this project."_s);
        QCOMPARE(s.today().text(u"hours"_s), u"1.0"_s);
    }

    void cacheVersionGrowsWithTheCatalogOnly()
    {
        Scenario s;
        const auto version = [&] { return s.today().headers.value(u"x-company-cache-version"_s).toInt(); };
        const int before = version();
        QVERIFY(before > 0);
        const auto id = s.add();
        s.toggle(id);
        s.get(u"/daily/delete/"_s + id);
        QVERIFY(s.database().addClient(s.clock.id, "Elsewhere"));
        QVERIFY(s.database().setPassword("acme", "ann@example.com", "secret"));
        QCOMPARE(version(), before);
        int last = before;
        const auto grows = [&](bool changed) {
            const int now = version();
            const bool grown = changed && now > last;
            last = now;
            return grown;
        };
        auto data = s.database();
        QVERIFY(grows(data.addClient(s.acme.id, "New").has_value()));
        QVERIFY(grows(data.renameProject(s.acme.website, "Web Site").has_value()));
        QVERIFY(grows(data.setProjectActive(s.acme.internal, false).has_value()));
        QVERIFY(grows(data.addTask(s.acme.id, "New").has_value()));
        QVERIFY(grows(data.withdrawTask(s.acme.website, s.acme.support).has_value()));
        QVERIFY(grows(data.addPerson({s.acme.id, "new@example.com", "x"}).has_value()));
        s.restart();
        QCOMPARE(version(), last);
    }

    void oneTimerRunsWhateverHappensAtOnce()
    {
        Scenario s;
        constexpr int seconds = 120;
        QStringList ids;
        for (int i = 0; i < 4; ++i)
            ids += s.add();
        s.get(u"/daily/timer/"_s + ids.last());
        // A second service on the same file: what holds must hold between processes too.
        localservice::Service other({.dataFile = s.folder.filePath(u"deep/service.sqlite"_s).toStdString(),
                                     .clock = [&s] { return std::chrono::system_clock::now(); }});
        const auto otherPort = other.start();
        QVERIFY(otherPort);
        std::atomic<int> failures = 0;
        std::atomic<int> tooMany = 0;
        std::vector<std::thread> people;
        for (int n = 0; n < 6; ++n) {
            people.emplace_back([&, n] {
                const auto client = s.client(s.acme);
                for (int i = 0; i < seconds / 6; ++i) {
                    s.pass(1s);
                    failures += client->get(u"/daily/timer/"_s + ids[(n + i) % 4]).status != 200;
                    tooMany += client->get(u"/daily/65/2024?slim=1"_s).texts(u"timer_started_at"_s).size() > 1;
                }
            });
        }
        for (auto& person : people)
            person.join();
        QCOMPARE(failures.load(), 0);
        QCOMPARE(tooMany.load(), 0);
        double counted = 0;
        for (const auto& hours : s.today().texts(u"hours"_s))
            counted += hours.toDouble() * 3600;
        QVERIFY2(counted <= seconds + 1, QByteArray::number(counted));

        const auto running = s.today().texts(u"timer_started_at"_s).size();
        if (running == 0)
            s.get(u"/daily/timer/"_s + ids[0]);
        HttpClient second(QString::fromStdString(other.url("acme")), u"ann@example.com"_s, u"secret"_s);
        QCOMPARE(second.post(u"/daily/add"_s, requestBody(u"project_id=1 task_id=1"_s)).status, 200);
        QCOMPARE(s.today().texts(u"timer_started_at"_s), QStringList{});
    }

    void readsDatesAndTimes()
    {
        const auto day = [](const std::string& text) {
            const auto read = localservice::readDay(text);
            return read ? localservice::isoDayText(*read) : "none";
        };
        for (const auto* text : {"Tue, 5 Mar 2024", "\n  Tue, 5 Mar 2024 \n", "2024-03-05"})
            QCOMPARE(day(text), "2024-03-05");
        for (const auto* text : {"2024-03-05x", "Tue, 5 Mai 2024"})
            QCOMPARE(day(text), "none");
        for (const auto* text :
             {"Tue, 5 Mar 2024 08:15:40 +0000", "Tue, 5 Mar 2024 09:15:40 +01:00", "Tue, 5 Mar 2024 03:45:40 -0430"})
            QCOMPARE(localservice::readMoment(text).value_or(0), 1709626540);
        QVERIFY(!localservice::readMoment("Tue, 5 Mar 2024 08:15:40"));
        QCOMPARE(localservice::readClock("09:05 PM").value_or(-1), 1265);
        QCOMPARE(localservice::readClock("12:00AM").value_or(-1), 0);
        QCOMPARE(localservice::readClock("21:05").value_or(-1), 1265);
        QVERIFY(!localservice::readClock("13:00pm"));
    }

    void readsTypedHours()
    {
        const auto minutes = [](const char* text) {
            return qRound(localservice::readTypedHours(text).value_or(-1) * 60);
        };
        for (const auto* text : {"1:30", " 1,5 ", "90 min", "1H 30m"})
            QCOMPARE(minutes(text), 90);
        QCOMPARE(minutes(":05"), 5);
        for (const auto* text : {"", "1:60", "-1", "1m30", "1e3", "nan", "1,5,0"})
            QVERIFY2(!localservice::readTypedHours(text), text);
    }
};

QTEST_GUILESS_MAIN(LocalTimesheetTest)
#include "LocalTimesheetTest.moc"
