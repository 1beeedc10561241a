#include "Scenario.h"

#include "localservice/DateText.h"
#include "localservice/Timesheet.h"

#include "support/VerifyEach.h"

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace std::string_literals;

class LocalTimesheetTest : public QObject
{
    Q_OBJECT

private slots:
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
