#include "../support/InRow.h"
#include "Scenario.h"

#include "localservice/AccountFile.h"
#include "localservice/CalendarFile.h"
#include "localservice/Import.h"
#include "localservice/Removals.h"
#include "localservice/Report.h"
#include "localservice/Sheet.h"

#include "support/VerifyEach.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace localservice;

namespace {

std::string everything(Scenario& s, Id account)
{
    AccountWriter writer(s.file(), account, s.now());
    std::string file;
    for (auto piece = writer.next(); !piece.empty(); piece = writer.next())
        file += piece;
    return file;
}

Importer::Plan planOf(Scenario& s, const Incoming& incoming, const Person& person)
{
    return s
        .change([&](SQLite::Database& data) -> tl::expected<Importer::Plan, Problem> {
            return Importer(data, person, incoming).plan();
        })
        .value();
}

Id import(Scenario& s, const Incoming& incoming, const Person& person)
{
    return s
        .change([&](SQLite::Database& data) -> tl::expected<Id, Problem> {
            return Importer(data, person, incoming).apply("file", s.now());
        })
        .value();
}

/// The problem with a file: "3: …".
template <typename Result>
QString problem(const Result& result)
{
    return result ? u"none"_s
                  : QString::number(result.error().line) + u": "_s + QString::fromStdString(result.error().text);
}

/// The entries of a file as they are understood: day, project, task, hours, notes.
QStringList entriesOf(const std::string& text, const Sheet& sheet, const Meaning& meaning, bool times = false)
{
    const auto incoming = readSheet(text, sheet, meaning, times);
    if (!incoming)
        return {problem(incoming)};
    QStringList result;
    for (const auto& entry : incoming->entries) {
        const auto& project = incoming->projects[entry.project];
        const auto client =
            project.client == Incoming::None ? incoming->homeless : incoming->clients[project.client].name;
        result += QString::fromStdString(isoDayText(entry.day) + "|" + client + "|" + project.name + "|" +
                                         incoming->tasks[entry.task].name + "|" + hoursMinutes(entry.seconds) + "|" +
                                         entry.notes);
    }
    for (const auto& remark : incoming->unreadable)
        result += u"%1: %2"_s.arg(remark.line).arg(QString::fromStdString(remark.text));
    return result;
}

// With the sanitizers, which take ten times as long, fewer will do.
#ifdef __SANITIZE_ADDRESS__
constexpr int Many = 20'000;
#else
constexpr int Many = 200'000;
#endif

} // namespace

class ImportTest : public QObject
{
    Q_OBJECT

private slots:
    void aRoundTripLosesNothing()
    {
        Scenario s;
        s.run(R"(UPDATE people SET rate = 0.1 + 0.2, active = 0 WHERE id = 1;
            INSERT INTO people (account_id, email, first_name, last_name, admin, rate, password_hash)
                VALUES (1, 'zoë@example.com', 'Zoë "Z"', '', 0, 0, 'never written');
            INSERT INTO clients (account_id, name, active) VALUES (1, 'Old \ Client', 0);
            INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)
                VALUES (1, (SELECT MAX(id) FROM clients), 'Old', 'X-1', 0, 'People', 1e-7, 0);
            UPDATE task_assignments SET rate = 12.345678901234567;
            INSERT INTO user_assignments (account_id, project_id, person_id, rate) VALUES (1, 1, 3, 7))");
        s.run("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(Many - 1) +
              R"()
            INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, started_at, ended_at,
                                 locked_reason, billed, created_at, updated_at)
            SELECT CASE WHEN i % 3 = 0 THEN 3 ELSE 1 END, 1 + i % 2, 1 + i % 2, date('2004-01-01', (i / 40) || ' days'),
                   CASE i % 5 WHEN 0 THEN '' WHEN 1 THEN 'Zeile 1' || char(10) || '"2", ü' ELSE 'Note ' || (i % 50) END,
                   i % 86400, CASE WHEN i % 7 = 0 THEN i % 1440 END, CASE WHEN i % 7 = 0 THEN (i + 60) % 1440 END,
                   CASE WHEN i % 11 = 0 THEN 'billed' END, i % 11 = 0, 1000000000 + i, 1100000000 + i FROM n)");
        QElapsedTimer watch;
        watch.start();
        const auto file = everything(s, s.acme.id);
        const auto written = watch.restart();
        QVERIFY(file.find("never written") == std::string::npos);

        // Into an account in which there is nothing.
        s.run(
            R"(INSERT INTO accounts (subdomain, name, timezone, timestamp_timers) VALUES ('new', 'Acme & Co', 'UTC', 0);
            INSERT INTO people (account_id, email, first_name, last_name, admin, rate, password_hash, active)
                SELECT 3, email, first_name, last_name, admin, rate, 'x', active FROM people WHERE id = 1)");
        Person owner = s.ann();
        owner.account = 3;
        owner.id = 4;
        const auto incoming = readAccountFile(file);
        QVERIFY2(incoming, qPrintable(problem(incoming)));
        const auto parsed = watch.restart();
        const Id made = import(s, *incoming, owner);
        qInfo() << Many << "entries:" << file.size() / 1000 << "kB, written in" << written << "ms, read in" << parsed
                << "ms, imported in" << watch.restart() << "ms";
        QVERIFY(everything(s, 3) == file);
        // Once more there is nothing to do.
        const auto again = planOf(s, *incoming, owner);
        QCOMPARE(again.entries, 0U);
        QCOMPARE(again.present, std::size_t{Many});
        VERIFY_EACH(again.clients.empty(), again.projects.empty(), again.tasks.empty(), again.people.empty());
        // All of it goes at once, and comes back.
        const auto removal =
            s.change([&](SQLite::Database& data) { return Importer::undo(data, owner, made, s.now()); });
        QVERIFY(removal);
        QCOMPARE(s.rows("SELECT (SELECT COUNT(*) FROM projects WHERE account_id = 3),"
                        " (SELECT COUNT(*) FROM people WHERE account_id = 3), COUNT(*) FROM entries"),
                 QStringList{u"0|1|%1"_s.arg(Many)});
        QVERIFY(s.change([&](SQLite::Database& data) {
            Removals removals(data, 3);
            return removals.bringBack(*removals.find(*removal, owner), s.now());
        }));
        s.run("UPDATE entries SET updated_at = 1100000000 + (created_at - 1000000000)");
        QVERIFY(everything(s, 3) == file);
    }

    void undoingLeavesWhatWasUsedSince()
    {
        Scenario s;
        const std::string csv =
            "Date;Client;Project;Task;Hours\n5.3.2024;Quay;Boats;Paint;1,5\n6.3.2024;Quay;Sails;Sew;2\n";
        const auto sheet = recognise(csv).value();
        const Id made = import(s, readSheet(csv, sheet, guess(csv, sheet), false).value(), s.ann());
        s.run("INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)"
              " SELECT 1, project_id, task_id, spent_at, 'mine', 60, 1, 1 FROM entries WHERE seconds = 5400");
        Person stranger = s.ann();
        stranger.account = s.clock.id;
        QVERIFY(!s.change([&](SQLite::Database& data) { return Importer::undo(data, stranger, made, s.now()); }));
        QVERIFY(s.change([&](SQLite::Database& data) { return Importer::undo(data, s.ann(), made, s.now()); }));
        QVERIFY(!s.change([&](SQLite::Database& data) { return Importer::undo(data, s.ann(), made, s.now()); }));
        QCOMPARE(s.rows("SELECT notes FROM entries"), QStringList{u"mine"_s});
        QCOMPARE(s.rows("SELECT name FROM projects WHERE account_id = 1"),
                 (QStringList{u"Website"_s, u"Internal"_s, u"Boats"_s}));
        QCOMPARE(s.rows("SELECT name FROM tasks WHERE account_id = 1 ORDER BY id"),
                 (QStringList{u"Design"_s, u"Support"_s, u"Paint"_s}));
    }

    void refusesBrokenAccountFiles()
    {
        const QString entry = u"\"entries\": [{\"person\": 1, \"project\": 1, \"task\": 1, "_s;
        for (const auto& [records, says] :
             {std::pair(u"\"clients\": [\n{\"id\": 1, \"name\""_s, u"4: this is not JSON"_s),
              {u"\"clients\": [\n[[[[[["_s, u"4: there is a list where none can be"_s},
              {u"\"clients\": [{\"id\": 1, \"name\": {\"a\": 1}}]}"_s, u"3: there is a record where none can be"_s},
              {u"\"clients\": [\n{\"id\": 1, \"name\": \" \"}]}"_s, u"4: a name is missing"_s},
              {u"\"tasks\": [\n{\"id\": 1, \"name\": \"a\"},\n{\"id\": 1, \"name\": \"b\"}]}"_s,
               u"5: there are two of one number"_s},
              {entry + u"\n\"day\": \"2024-03-05\", \"seconds\": -1}]}"_s, u"4: “seconds” is no number"_s},
              {entry + u"\"day\": \"2024-02-30\", \"seconds\": 1}]}"_s, u"3: the day cannot be read"_s},
              {u"\n\n"_s + entry + u"\"day\": \"2024-02-03\", \"seconds\": 1}]}"_s, u"5: there is no person 1"_s}}) {
            const auto file = u"{\"format\": \"quillon-timesheet\",\n\"version\": 1,\n"_s + records;
            QCOMPARE(problem(readAccountFile(file.toStdString())), says);
        }
        QCOMPARE(problem(readAccountFile("{\"format\": \"quillon-timesheet\", \"version\": 2}")),
                 u"1: a newer version of Quillon wrote this file"_s);
        QCOMPARE(problem(readAccountFile("{}")), u"1: the file does not say which version it has"_s);
    }

    void understandsFiles()
    {
        Scenario s; // its zone
        const auto row = [](const char* name, const QByteArray& file, const QStringList& entries) {
            const support::InRow inRow(name);
            const auto text = utf8Of(file.toStdString());
            const auto sheet = recognise(text);
            QCOMPARE(sheet ? entriesOf(text, *sheet, guess(text, *sheet)) : QStringList{problem(sheet)}, entries);
        };
        row("commas, quotes, breaks",
            "Date,Project,Task,Hours,Notes\r\n2024-03-05,Web,Design,1:30,\"a, \"\"b\"\"\r\nc\"\r\n",
            {u"2024-03-05|Imported|Web|Design|1:30|a, \"b\"\nc"_s});
        row("semicolons, Latin-1, comma",
            "Datum;Kunde;Projekt;T\xe4tigkeit;Stunden\n13. 3. 24;B\xe4r & S\xf6hne;Netz;Planung;1,25\n",
            {u"2024-03-13|Bär & Söhne|Netz|Planung|1:15|"_s});
        const auto utf16 = [](const QString& text) {
            return "\xff\xfe" + QByteArray(reinterpret_cast<const char*>(text.utf16()), 2 * text.size());
        };
        row("UTF-16, tabs", utf16(u"Day\tHours\n2024-03-05\t2h\n"_s), {u"2024-03-05|Imported|Imported|Work|2:00|"_s});
        row("month first", "date,hours\n3/4/2024,1\n3/25/2024,1\n",
            {u"2024-03-04|Imported|Imported|Work|1:00|"_s, u"2024-03-25|Imported|Imported|Work|1:00|"_s});
        row("no headings", "x,2024-03-05,0:45\ny,2024-03-06,90m\n",
            {u"2024-03-05|Imported|Imported|Work|0:45|"_s, u"2024-03-06|Imported|Imported|Work|1:30|"_s});
        row("start and end",
            "Start,End,Project\n2024-03-05 23:30,2024-03-06 00:15,Web\n2024-03-05T09:00Z,2024-03-05T10:00Z,Web\n",
            {u"2024-03-05|Imported|Web|Work|0:45|"_s, u"2024-03-05|Imported|Web|Work|1:00|"_s});
        row("what cannot be read",
            "date,hours,billable\n2024-02-30,1,\n2024-03-05,-1,\n2024-03-05,25,\n,1,\n2024-03-05,1,perhaps\n",
            {u"2: “2024-02-30” is no date"_s, u"3: “-1” is no duration"_s, u"4: it has more than 24 hours"_s,
             u"5: there is no date"_s, u"6: “perhaps” is neither yes nor no"_s});
        row("open quotation", "a,b\n1,\"x\n\n", {u"2: a quotation mark is never closed"_s});
        row("after a quotation", "a,b\n1,\"x\"y\n", {u"2: there is more after a closing quotation mark"_s});
        row("no text", QByteArray("a,b\n\0", 5), {u"2: this is no text"_s});
        row("too wide", QByteArray("a\n") + QByteArray(101, ','), {u"2: there are too many columns"_s});
        row("too long", QByteArray("a\n") + QByteArray("1\n").repeated(500'001),
            {u"500001: there are too many lines"_s});
        row("nothing", "date,hours\n", {u"0: there are no entries in it"_s});
        row("Hamster",
            "<?xml version=\"1.0\" ?>\n<activities>\n<activity name=\"sketch\" category=\"Web\" "
            "start_time=\"2024-03-05 09:15:00\""
            " end_time=\"2024-03-05 10:45:00\" duration_minutes=\"90\" description=\"one &amp; two\" tags=\"a, "
            "b\"/>\n</activities>",
            {u"2024-03-05|Imported|Web|sketch|1:30|one & two\na, b"_s});
        row("entities",
            "<?xml version=\"1.0\"?>\n<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;\">]>\n<activities/>",
            {u"2: a document type is not accepted"_s});
        row("deep XML", "<a>\n<a><a><a><a/></a></a></a></a>", {u"2: this is nested too deeply"_s});
        row("cut XML", "<activities>\n<activity name=\"x\"\n", {u"3: this is not XML"_s});
        row("timewarrior",
            "[\n{\"id\":2,\"start\":\"20240305T081500Z\",\"end\":\"20240305T094500Z\",\"tags\":[\"Web\",\"Design\","
            "\"x\",\"y\"],"
            "\"annotation\":\"sketch\"},\n{\"id\":1,\"start\":\"20240305T230000Z\"}\n]",
            {u"2024-03-05|Imported|Web|Design|1:30|sketch\nx, y"_s, u"3: it has not ended"_s});
        row("deep JSON", "[\n{\"tags\":[[[[", {u"2: there is a list where none can be"_s});
        row("other JSON", "{\"a\":1}", {u"1: this JSON is neither from Quillon nor from “timew export”"_s});
    }

    void saysWhenTheOrderOfDatesIsOpen()
    {
        const std::string csv = "date,hours\n3/4/2024,1\n5/6/2024,1\n";
        const auto sheet = recognise(csv).value();
        auto meaning = guess(csv, sheet);
        QVERIFY(!meaning.isOrderSure);
        QCOMPARE(entriesOf(csv, sheet, meaning).front().left(10), u"2024-04-03"_s);
        meaning.order = DateOrder::MonthFirst;
        QCOMPARE(entriesOf(csv, sheet, meaning).front().left(10), u"2024-03-04"_s);
    }

    void takesBackItsOwnTable()
    {
        Scenario s;
        s.useTimestamps();
        for (const char* notes : {"=1+1", "a\n=b;-c", "'quoted", "- list", "plain, \"x\"", "\t=x"})
            s.run(
                std::string("INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, started_at,"
                            " ended_at, created_at, updated_at) VALUES (1, 1, 1, '2024-03-05', '") +
                (notes[0] == '\'' ? "''quoted" : notes) + "', 4321, NULL, NULL, 1, 1)");
        CsvFile writer({s.acme.id, 0, *readDay("2024-03-01"), *readDay("2024-03-31"), s.now()});
        std::string csv;
        while (!writer.isAtEnd())
            csv += s.change([&](SQLite::Database& data) -> tl::expected<std::string, Problem> {
                        return writer.next(data);
                    }).value();
        const auto text = utf8Of(csv);
        const auto sheet = recognise(text).value();
        QVERIFY(sheet.kind == Sheet::Kind::OwnCsv);
        const auto plan = planOf(s, readSheet(text, sheet, guess(text, sheet), false).value(), s.ann());
        QCOMPARE(plan.entries, 0U);
        QCOMPARE(plan.present, 6U);
        const auto twice = text + text.substr(text.find('\n') + 1); // of two that are alike one is there
        const auto planOfBoth = planOf(s, readSheet(twice, sheet, guess(twice, sheet), false).value(), s.ann());
        QCOMPARE(std::pair(planOfBoth.entries, planOfBoth.present), std::pair(std::size_t{6}, std::size_t{6}));
        VERIFY_EACH(plan.clients.empty(), plan.projects.empty(), plan.tasks.empty());
    }

    void leavesOutPeopleWhoAreNotHere()
    {
        Scenario s;
        const std::string csv = "date,hours,person,project\n2024-03-05,1,Ann Lee,website\n2024-03-05,1,Max,website\n";
        const auto sheet = recognise(csv).value();
        const auto plan = planOf(s, readSheet(csv, sheet, guess(csv, sheet), false).value(), s.ann());
        QCOMPARE(plan.entries, 1U);
        QCOMPARE(plan.strangers, 1U);
        VERIFY_EACH(plan.projects.empty(), plan.people.empty()); // whosever project it is
    }

    void writesCalendars()
    {
        QCOMPARE(QString::fromStdString(calendarText("a,b;c\\d\ne\r\x01")), u"a\\,b\\;c\\\\d\\ne"_s);
        const auto folded =
            QString::fromStdString(calendarLine("SUMMARY", "ä" + std::string(66, 'x') + "üü€" + std::string(80, 'y')));
        for (const auto& line : folded.split(u"\r\n"_s))
            QVERIFY2(line.toUtf8().size() <= 75, qPrintable(line));
        QCOMPARE(QString(folded).remove(u"\r\n "_s),
                 u"SUMMARY:ä"_s + QString(66, u'x') + u"üü€"_s + QString(80, u'y') + u"\r\n"_s);
        Scenario s;
        s.useTimestamps();
        s.add(u"started_at=9:00am ended_at=10:30am notes=one,_two"_s);
        s.run(
            "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, started_at, ended_at,"
            " created_at, updated_at) VALUES (2, 3, 3, '2024-03-30', '', 3600, 1410, 30, 1, 1), (2, 3, 3, '2024-03-06',"
            " '', 5400, NULL, NULL, 1, 1)");
        CalendarFile file(s.clock.person, "clock.localhost", s.now());
        QStringList lines;
        while (!file.isAtEnd())
            lines += QString::fromStdString(s.change([&](SQLite::Database& data) -> tl::expected<std::string, Problem> {
                                                 return file.next(data);
                                             }).value())
                         .split(u"\r\n"_s, Qt::SkipEmptyParts);
        QCOMPARE(lines.filter(u"UID:"_s).size(), 3);
        QCOMPARE(lines.filter(QRegularExpression(u"^(DTSTART|DTEND|DESC|SUMM|BEGIN:VC|END:VC)"_s)),
                 (QStringList{u"BEGIN:VCALENDAR"_s, u"DTSTART:20240305T080000Z"_s, u"DTEND:20240305T093000Z"_s,
                              u"SUMMARY:[WEB] Website\\, Design (1:30)"_s, u"DESCRIPTION:one\\, two"_s,
                              // Past midnight, before the clocks are put forward.
                              u"DTSTART:20240330T223000Z"_s, u"DTEND:20240330T233000Z"_s,
                              u"SUMMARY:[WEB] Website\\, Design (1:00)"_s, u"DTSTART;VALUE=DATE:20240306"_s,
                              u"SUMMARY:[WEB] Website\\, Design (1:30)"_s, u"END:VCALENDAR"_s}));
    }
};

QTEST_GUILESS_MAIN(ImportTest)
#include "ImportTest.moc"
