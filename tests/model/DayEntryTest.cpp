#include "ModelRun.h"

#include "model/Client.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"
#include "model/TaskAssignment.h"
#include "model/UserAssignment.h"

#include "support/VerifyEach.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace model;

namespace {

const QByteArray Catalog = R"(<daily>
  <projects>
    <project><id>11</id><name>Website</name><client>Zoo</client><tasks><task><id>21</id><name>Design</name></task></tasks></project>
  </projects>
</daily>)";

QByteArray dayEntry(const QByteArray& id, const QByteArray& more)
{
    return "<day_entry><id>" + id + "</id><project_id>11</project_id><task_id>21</task_id><user_id>7</user_id>" + more +
           "</day_entry>";
}

QByteArray sheet(const QByteArray& day, const QByteArray& entries)
{
    return "<daily><for_day>" + day + "</for_day><day_entries>" + entries + "</day_entries></daily>";
}

/// That of 5 March.
QByteArray sheet(const QByteArray& entries)
{
    return sheet("Tue, 5 Mar 2024", entries);
}

const QByteArray OfTheDay = "<spent_at>2024-03-05</spent_at>";

/// A run with Ann signed in and one project with one task.
class EntryRun : public ModelRun
{
public:
    explicit EntryRun(const char* zone = "UTC", bool timestampTimers = false) : ModelRun(zone)
    {
        signIn(timestampTimers);
        import(&DayEntry::parseXml, Catalog);
    }

    bool import(const QByteArray& xml) { return ModelRun::import(&DayEntry::parseXml, xml); }
    using ModelRun::import;

    DayEntry& entry(const char* id)
    {
        auto& made = company().findOrCreateById<DayEntry>(QString::fromLatin1(id), main());
        made.setProject(byId<Project>("11"));
        made.setTask(byId<Task>("21"));
        made.setUser(currentUser());
        return made;
    }
    QStringList ids()
    {
        QStringList found;
        for (const DayEntry* each : all<DayEntry>())
            found << each->idString();
        return found;
    }
};

QDateTime moment(const char* iso)
{
    return QDateTime::fromString(QLatin1StringView(iso), Qt::ISODate);
}

} // namespace

class DayEntryTest : public QObject
{
    Q_OBJECT

private slots:
    void largeSheetsTakeLittleMemory()
    {
        EntryRun run("UTC");
        QByteArray entries;
        for (int id = 1; entries.size() < 5'000'000; ++id)
            entries += dayEntry(QByteArray::number(id).constData(),
                                "<user_id>7</user_id><spent_at>2024-03-05</spent_at><hours>1.75</hours>"
                                "<project>Website</project><client>Harbour</client><task>Design</task>"
                                "<hours_without_timer>0.5</hours_without_timer><is_locked>false</is_locked>"
                                "<is_billed>false</is_billed><notes>Reworked the import so that totals agree</notes>"
                                "<created_at>Tue, 5 Mar 2024 14:00:02 +0000</created_at>"
                                "<updated_at>Tue, 5 Mar 2024 15:00:01 +0000</updated_at>");
        const QByteArray xml = sheet("Wed, 6 Mar 2024", entries);
        const qsizetype before = bytesInUse();
        QVERIFY(run.import(xml));
        // The reply itself is given up by then, and is the fourth part.
        QVERIFY2(run.bytesAtSave - before < 3 * xml.size(),
                 qPrintable(u"%1 of %2"_s.arg(run.bytesAtSave - before).arg(xml.size())));
    }
    void sheetsLeaveThePlaceholderAlone()
    {
        EntryRun run("Asia/Tokyo");
        QVERIFY(run.import(sheet(dayEntry("1", OfTheDay) + dayEntry("2", OfTheDay))));
        run.entry("newEntry").setSpentAt(startOfDay(QDate(2024, 3, 5)));
        QVERIFY(run.main().save());
        const store::Ref<DayEntry> shown = run.byId<DayEntry>("1");
        VERIFY_EACH(run.import(sheet(dayEntry("2", OfTheDay))), !shown);
        QCOMPARE(run.ids(), QStringList({u"2"_s, u"newEntry"_s}));
    }

    void timersOfOtherAccountsRunOn()
    {
        EntryRun run;
        DayEntry& theirs = Company::findOrCreateCompany(u"other"_s)->findOrCreateById<DayEntry>(u"9"_s, run.main());
        theirs.setTimerStarted(moment("2024-03-05T08:00:00Z"));
        QVERIFY(run.main().save());
        QVERIFY(run.import(
            "<add>" + dayEntry("4", "<timer_started_at>Tue, 5 Mar 2024 08:00:00 +0000</timer_started_at>") + "</add>"));
        VERIFY_EACH(run.byId<DayEntry>("4")->isRunning(), theirs.isRunning());
    }

    void keepsWhatIsTypedMeanwhile()
    {
        EntryRun run;
        QVERIFY(run.import(sheet(dayEntry("1", OfTheDay + "<notes>old</notes>"))));
        DayEntry& shown = *run.byId<DayEntry>("1");
        shown.setNotes(u"typed"_s);
        QVERIFY(run.import(sheet(dayEntry("1", OfTheDay + "<notes>new</notes><hours>2</hours>"))));
        QCOMPARE(shown.notes(), u"typed");
        QCOMPARE(shown.hours(), 2.0);
    }

    void countsHours()
    {
        EntryRun run;
        run.setNow("2024-03-05T10:00:00Z");
        DayEntry& entry = run.entry("1");
        QCOMPARE(entry.totalHours(), 0.0);
        QCOMPARE(entry.hoursMinutes(), u"0:00");
        entry.setTimerStarted(moment("2024-03-05T09:30:00Z"));
        entry.setHoursWithoutTimer(1.25);
        QCOMPARE(entry.totalHours(), 1.75);
        QCOMPARE(entry.hoursMinutes(), u"0:00");
        entry.setHours(1.25);
        QCOMPARE(entry.hoursMinutes(), u"1:45");
        run.test.time.advance(std::chrono::minutes(30));
        QCOMPARE(entry.hoursMinutes(), u"2:15");
        entry.setTimerStarted({});
        QCOMPARE(entry.hoursMinutes(), u"1:15");

        entry.setStartedAt(moment("2024-03-05T09:00:00Z"));
        entry.setStoppedAt(moment("2024-03-05T11:30:00Z"));
        entry.updateHoursFromTimestamps();
        QCOMPARE(entry.hours(), 2.5);
        entry.setStoppedAt({});
        entry.updateHoursFromTimestamps();
        QCOMPARE(entry.hours(), 0.0);
    }

    void splitsHours()
    {
        ModelRun run;
        auto& entry = run.company().findOrCreateById<DayEntry>(u"1"_s, run.main());
        QCOMPARE(entry.hourFromFractionalHours(), 0);
        for (const auto& [hours, h, m] : {std::tuple(1.5, 1, 30), {2.9999, 1, 0}, {0.016, 0, 1}}) {
            entry.setHours(hours);
            QCOMPARE(entry.hourFromFractionalHours(), h);
            QCOMPARE(entry.minuteFromFractionalHours(), m);
        }
    }

    void tellsRealIds()
    {
        ModelRun run;
        auto& entry = run.company().findOrCreateById<DayEntry>(u"12345"_s, run.main());
        QVERIFY(entry.hasRealId());
        for (const QString& id : {u"newEntry"_s, u""_s, QString(), u"12 "_s, u"-1"_s}) {
            entry.setIdString(id);
            QVERIFY2(!entry.hasRealId(), qPrintable(id));
        }
    }

    void preparesOnePlaceholder()
    {
        EntryRun run;
        run.setNow("2024-03-05T10:00:00Z");
        DayEntry* entry = DayEntry::entryWithDefaults();
        QVERIFY(entry);
        QCOMPARE(entry->idString(), u"newEntry");
        QCOMPARE(entry->company(), &run.company());
        VERIFY_EACH(!entry->project(), !entry->hasRealId(), !entry->hours());

        QVERIFY(run.import(sheet(dayEntry("1", OfTheDay))));
        entry->setNotes(u"typed"_s);
        entry->setHours(2);
        entry->setStartedAt(moment("2024-03-05T09:00:00Z"));
        entry->setStoppedAt(moment("2024-03-05T10:00:00Z"));
        entry->setSpentAt(moment("2024-03-05T00:00:00Z"));
        entry->setTimerStarted(moment("2024-03-05T09:00:00Z"));
        entry->setValue("lockedReason", u"kept"_s);
        QCOMPARE(DayEntry::entryWithDefaults(), entry);
        QCOMPARE(entry->project(), run.byId<Project>("11"));
        QCOMPARE(entry->task(), run.byId<Task>("21"));
        QCOMPARE(entry->user(), run.currentUser());
        VERIFY_EACH(!entry->notes().isNull(), entry->notes().isEmpty());
        VERIFY_EACH(!entry->hours(), !entry->isRunning(), !entry->spentAt().isValid(), !entry->startedAt().isValid());
        QVERIFY(!entry->stoppedAt().isValid());
        QCOMPARE(entry->lockedReason(), u"kept");
        QCOMPARE(run.all<DayEntry>().size(), 2U);

        QVERIFY(run.main().save());
        QVERIFY(run.import(sheet("")));
        VERIFY_EACH(!DayEntry::entryWithDefaults()->project(), !entry->task());
        run.currentUser()->setEmail(u"other@example.com"_s);
        QVERIFY(!DayEntry::entryWithDefaults());
    }

    void findsItsAssignments()
    {
        EntryRun run;
        DayEntry& entry = run.entry("1");
        entry.setValue("taskId", u"21"_s);
        entry.setValue("projectId", u"11"_s);
        entry.setValue("userId", u"7"_s);
        QCOMPARE(entry.taskAssignment(), run.byId<Project>("11")->taskAssignments().front());
        // One that a sheet made does not know its user's id.
        QVERIFY(!entry.userAssignment());
        run.byId<Project>("11")->userAssignments().front()->setValue("userId", u"7"_s);
        QCOMPARE(entry.userAssignment(), run.byId<Project>("11")->userAssignments().front());
        entry.setValue("projectId", u"12"_s);
        QVERIFY(!entry.taskAssignment());
    }

    void writesTheRequest()
    {
        EntryRun run("America/New_York");
        DayEntry& entry = run.entry("100");
        entry.setNotes(u"R&D <\u00e4>\u0007 \"x\""_s);
        entry.setSpentAt(moment("2024-03-05T05:00:00Z"));
        entry.setHours(1.125); // seven and a half minutes, halfway between two hundredths
        entry.setStartedAt(moment("2024-03-05T14:00:00Z"));
        QCOMPARE(entry.toXml(), QByteArray(R"(<?xml version="1.0" encoding="UTF-8"?>
<request>
  <id>100</id>
  <notes>R&amp;D &lt;ä&gt; "x"</notes>
  <project_id>11</project_id>
  <task_id>21</task_id>
  <spent_at>Tue, 5 Mar 2024</spent_at>
  <hours>1.12</hours>
</request>
)"));
    }

    void writesAnEmptyRequest()
    {
        ModelRun run("America/New_York");
        run.setNow("2024-03-06T03:00:00Z");
        auto& entry = run.company().findOrCreateById<DayEntry>(DayEntry::NewEntryId, run.main());
        entry.setHours(0);
        QCOMPARE(entry.toXml(), QByteArray(R"(<?xml version="1.0" encoding="UTF-8"?>
<request>
  <notes></notes>
  <project_id></project_id>
  <task_id></task_id>
  <spent_at>Tue, 5 Mar 2024</spent_at>
</request>
)"));
        QCOMPARE(utc(entry.spentAt()), u"2024-03-06T03:00:00Z");
    }
};

QTEST_GUILESS_MAIN(DayEntryTest)
#include "DayEntryTest.moc"
