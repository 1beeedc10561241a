#include "Scenario.h"

#include "localservice/ReportRange.h"

#include "support/VerifyEach.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono;
using namespace std::chrono_literals;
using localservice::Amount;
using localservice::Day;
using localservice::DayRange;
using localservice::Id;
using localservice::Report;
using localservice::StepLength;

namespace {

Day dayOf(const QString& text)
{
    return localservice::readDay(text.toStdString()).value();
}

/// "2024-03-05 2024-03-06"
DayRange rangeOf(const QString& text)
{
    return {dayOf(text.section(u' ', 0, 0)), dayOf(text.section(u' ', -1))};
}

QString textOf(const DayRange& range)
{
    return QString::fromStdString(localservice::isoDayText(range.from) + " " + localservice::isoDayText(range.to));
}

Report reportOf(Scenario& s, const QString& days)
{
    const auto range = rangeOf(days);
    return s.database()
        .storage()
        .look([&](SQLite::Database& database) -> tl::expected<Report, localservice::Problem> {
            return Report::of(database, {s.acme.id, 0, range.from, range.to, Scenario::Start});
        })
        .value();
}

} // namespace

class ReportTest : public QObject
{
    Q_OBJECT

private slots:
    void narrows()
    {
        Scenario s;
        const Id client = s.database().addClient(s.acme.id, "Harbour").value();
        const Id boats = s.database().addProject({client, "Boats"}).value();
        const auto book = [&s](Id project, Id task, int hours, const char* notes, const char* day) {
            const auto numbers = u"%1, %2, %3, %4"_s.arg(s.acme.person).arg(project).arg(task).arg(3600 * hours);
            s.run(
                "INSERT INTO entries (person_id, project_id, task_id, seconds, notes, spent_at, created_at, updated_at)"
                " VALUES (" +
                numbers.toStdString() + ", '" + notes + "', '" + day + "', 0, 0)");
        };
        book(s.acme.website, s.acme.design, 1, "Sketches", "2024-03-05");
        book(s.acme.website, s.acme.design, 2, "100% of it", "2024-03-05");
        book(s.acme.website, s.acme.support, 4, "", "2024-03-05");
        book(s.acme.internal, s.acme.support, 8, "", "2024-03-05");
        book(boats, s.acme.design, 16, "", "2024-03-05");
        book(boats, s.acme.design, 0, "", "2024-03-06"); // no time, so no day with hours

        using Filter = localservice::ReportFilter;
        const Filter all{
            .account = s.acme.id, .from = dayOf(u"2024-03-01"_s), .to = dayOf(u"2024-03-31"_s), .now = s.now()};
        const auto hours = [&](const std::function<void(Filter&)>& narrow) {
            auto filter = all;
            narrow(filter);
            const auto look = [&](auto work) { return s.database().storage().look(work).value(); };
            const auto report = look([&](SQLite::Database& database) -> tl::expected<Report, localservice::Problem> {
                return Report::of(database, filter);
            });
            // The file has the same entries.
            const auto csv = look([&](SQLite::Database& database) -> tl::expected<std::string, localservice::Problem> {
                localservice::CsvFile file(filter);
                std::string text;
                while (!file.isAtEnd())
                    text += file.next(database);
                return text;
            });
            double sum = 0;
            const auto rows = QString::fromStdString(csv).split(u"\r\n"_s, Qt::SkipEmptyParts);
            for (qsizetype i = 1; i < rows.size(); ++i)
                sum += rows[i].section(u',', 7, 7).toDouble();
            return sum * 3600 == static_cast<double>(report.total.all) ? report.total.all / 3600 : -1;
        };
        QCOMPARE(hours([](Filter&) {}), 31);
        QCOMPARE(hours([&](Filter& filter) { filter.client = client; }), 16);
        QCOMPARE(hours([&](Filter& filter) { filter.project = s.acme.website; }), 7);
        QCOMPARE(hours([&](Filter& filter) { filter.task = s.acme.support; }), 12);
        QCOMPARE(hours([](Filter& filter) { filter.billable = true; }), 19);
        QCOMPARE(hours([](Filter& filter) { filter.billable = false; }), 12);
        QCOMPARE(hours([](Filter& filter) { filter.notes = "sketch"; }), 1);
        QCOMPARE(hours([](Filter& filter) { filter.notes = "0% O"; }), 2);
        QCOMPARE(hours([](Filter& filter) { filter.notes = "'"; }), 0);
        QCOMPARE(hours([&](Filter& filter) {
                     filter.task = s.acme.design;
                     filter.notes = "s";
                 }),
                 1);
        // Another account's records narrow to nothing.
        QCOMPARE(hours([&](Filter& filter) { filter.project = s.clock.website; }), 0);
        QCOMPARE(reportOf(s, u"2024-03-01 2024-03-31"_s).days.size(), 1U);
    }

    void filesOfManyYearsComeInPieces()
    {
        Scenario s;
        s.run(
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 9999)"
            " INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)"
            " SELECT 1, 1, 1, date('2000-01-01', '+' || (i / 7 * i / 3000) || ' days'), 'note ' || i, 60, 0, 0 FROM n");
        localservice::CsvFile file(
            {.account = s.acme.id, .from = dayOf(u"1900-01-01"_s), .to = dayOf(u"9999-12-31"_s)});
        QByteArray csv;
        int pieces = 0;
        for (; !file.isAtEnd(); ++pieces) {
            const auto piece = s.database().storage().look(
                [&](SQLite::Database& database) -> tl::expected<std::string, localservice::Problem> {
                    return file.next(database);
                });
            VERIFY_EACH(!piece->empty(), piece->size() < 160 * 1024);
            csv += *piece;
        }
        QVERIFY(pieces > 5);
        QCOMPARE(csv.count("\r\n"), 10'001);
        QCOMPARE(csv.count("note "), 10'000);
        const auto lines = csv.split('\n').mid(1, 10'000);
        QVERIFY(std::is_sorted(lines.begin(), lines.end(),
                               [](const auto& one, const auto& other) { return one.first(10) < other.first(10); }));
    }

    void showsAFittingNumberOfSteps()
    {
        // `booked` are days with an hour each; `first` and `last` are name and label of these steps.
        const auto check = [](const QString& range, const QString& booked, StepLength length, std::size_t count,
                              const char* first, const char* last) {
            Report report;
            for (const auto& text : booked.split(u' '))
                report.days[dayOf(text)] = {3600, 0};
            QCOMPARE(stepLengthOf(rangeOf(range), report), length);
            const auto steps = stepsOf(rangeOf(range), report, length, Day{2024y / March / 5});
            QCOMPARE(steps.size(), count);
            QCOMPARE(steps.front().name + "|" + steps.front().label, first);
            QCOMPARE(steps.back().name + "|" + steps.back().label, last);
            Amount sum;
            for (std::size_t i = 0; i < count; ++i) {
                sum += steps[i].amount;
                QVERIFY(i == 0 || sys_days(steps[i].range.from) == sys_days(steps[i - 1].range.to) + days(1));
            }
            QCOMPARE(sum.all, 3600 * static_cast<std::int64_t>(report.days.size()));
        };
        check(u"2024-03-05"_s, u"2024-03-05"_s, StepLength::Day, 1, "Tue, 5 Mar 2024|Tue 5", "Tue, 5 Mar 2024|Tue 5");
        check(u"2024-01-01 2024-03-02"_s, u"2024-01-01"_s, StepLength::Day, 62, "Mon, 1 Jan 2024|1",
              "Sat, 2 Mar 2024|2");
        // Weeks are cut at both ends.
        check(u"2024-01-03 2024-03-05"_s, u"2024-01-03"_s, StepLength::Week, 10, "3 – 7 January 2024|3 Jan",
              "4 – 5 March 2024|4 Mar");
        check(u"2024-01-01 2024-12-31"_s, u"2024-05-05"_s, StepLength::Week, 53, "1 – 7 January 2024|Jan",
              "30 – 31 December 2024|");
        // Long ranges go from the first hour to the last.
        check(u"1900-01-01 9999-12-31"_s, u"2022-11-30 2024-02-01"_s, StepLength::Month, 16, "30 November 2022|Nov",
              "1 February 2024|Feb");
        check(u"2000-01-01 2024-12-31"_s, u"2001-06-01 2024-12-31"_s, StepLength::Year, 24,
              "1 June – 31 December 2001|2001", "2024|2024");
    }

    void goesOnByWholeMonths()
    {
        const auto check = [](const QString& range, int count, const QString& expected) {
            const auto shifted = localservice::shifted(rangeOf(range), count);
            QCOMPARE(shifted ? textOf(*shifted) : QString(), expected);
        };
        check(u"2024-03-01 2024-03-31"_s, -1, u"2024-02-01 2024-02-29"_s);
        check(u"2024-10-01 2024-12-31"_s, 1, u"2025-01-01 2025-03-31"_s);
        check(u"2024-01-01 2024-12-31"_s, -1, u"2023-01-01 2023-12-31"_s);
        check(u"2024-03-01 2024-03-30"_s, 1, u"2024-03-31 2024-04-29"_s); // almost a month
        check(u"9999-12-01 9999-12-31"_s, 1, {});
    }

    void cellsAreNoFormulas()
    {
        for (const auto& [text, cell] : std::initializer_list<std::pair<std::string, std::string>>{
                 {"Ann's – ü", "Ann's – ü"},
                 {"a \"b\"", "\"a \"\"b\"\"\""},
                 {"=1+1", "'=1+1"},
                 {"-1", "'-1"},
                 {"@SUM(1)", "'@SUM(1)"},
                 {"\t=1", "\"'\t'=1\""},
                 {"\x01\x02=1", "'=1"},
                 {" \xC2\xA0\xE3\x80\x80=1", "' \xC2\xA0\xE3\x80\x80=1"},
                 {"\xEF\xBB\xBF\xEF\xBB\xBF\xE2\x80\x8B@A", "'\xEF\xBB\xBF\xEF\xBB\xBF\xE2\x80\x8B@A"},
                 {"\u2028＠A", "'\u2028＠A"}, // full width behind a line separator
                 {"\xFF\xC3=1", "'=1"},       // ill-formed bytes
                 {"a\r\n\xEF\xBB\xBF =A(1)\nb", "\"a\r\n'\xEF\xBB\xBF =A(1)\nb\""},
                 {"a; +A(1); =2", "a;' +A(1);' =2"},
                 {"Today:\n- A(1)\n-1\n- cmd|'x'!A", "\"Today:\n'- A(1)\n'-1\n'- cmd|'x'!A\""}})
            QCOMPARE(localservice::csvCell(text), cell);
    }
};

QTEST_GUILESS_MAIN(ReportTest)
#include "ReportTest.moc"
