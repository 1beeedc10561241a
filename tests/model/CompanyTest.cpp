#include "ModelRun.h"

#include "model/Client.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"
#include "model/TaskAssignment.h"

#include "support/VerifyEach.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace model;

namespace {

/// An entry of a local day, running since `started` when that is given.
DayEntry& entry(ModelRun& run, const char* id, QDate day, const char* started = nullptr, const char* updated = nullptr)
{
    auto& made = run.company().findOrCreateById<DayEntry>(QString::fromLatin1(id), run.main());
    made.setSpentAt(startOfDay(day));
    made.setHours(0.5);
    made.setTimerStarted(started ? QDateTime::fromString(QLatin1StringView(started), Qt::ISODate) : QDateTime());
    made.setUpdatedAt(updated ? QDateTime::fromString(QLatin1StringView(updated), Qt::ISODate) : QDateTime());
    return made;
}

QStringList ids(const std::vector<DayEntry*>& entries)
{
    QStringList ids;
    for (const DayEntry* entry : entries)
        ids << entry->idString();
    return ids;
}

QString id(const DayEntry* entry)
{
    return entry ? entry->idString() : u"none"_s;
}

const QDate Today(2024, 3, 5);

} // namespace

class CompanyTest : public QObject
{
    Q_OBJECT

private slots:
    void importsNothingIntoAnAccountThatIsGone()
    {
        ModelRun run;
        run.signIn();
        store::Context worker(run.coordinator(), store::MergePolicy::PropertyObjectTrump);
        Company& stale = Company::findOrCreateCompany(u"acme"_s, worker);
        run.company().clearAllData();
        run.main().remove(run.company());
        QVERIFY(run.main().save());

        const QByteArray list = "<clients><client><id>3</id></client></clients>";
        VERIFY_EACH(Client::parseXml(list, stale, worker), run.all<Client>().empty());
        QVERIFY(run.import(&Client::parseXml, list));
        QCOMPARE(run.all<Client>().size(), 1U);
        QCOMPARE(run.byId<Client>("3")->company(), &run.company());
    }

    void listsADay()
    {
        ModelRun run("America/Sao_Paulo");
        // The first of these days begins at one in the morning.
        const QDate first(2018, 11, 4);
        for (const char* each : {"99", "100", "newEntry"})
            entry(run, each, first);
        entry(run, "1", first.addDays(-1));
        entry(run, "2", first.addDays(1));
        entry(run, "98", first).setSpentAt(QDateTime(first, QTime(23, 59, 59, 999)));
        Company::findOrCreateCompany(u"other"_s)
            ->findOrCreateById<DayEntry>(u"5"_s, run.main())
            .setSpentAt(startOfDay(first));

        QCOMPARE(ids(run.company().dayEntriesForDate(first)), QStringList({u"100"_s, u"98"_s, u"99"_s}));
        QCOMPARE(ids(run.company().dayEntriesForDate(first.addDays(1))), QStringList{u"2"_s});
        QCOMPARE(run.company().numberTotalForDate(first), 1.5);
        QCOMPARE(run.company().numberTotalForDate(first.addDays(7)), 0.0);
        QVERIFY(run.company().dayEntriesForDate(QDate()).empty());

        auto& project = run.company().findOrCreateById<Project>(u"7"_s, run.main());
        for (const auto& [id, minute] : {std::pair("1", 9), {"98", 1}, {"99", 3}, {"100", 2}, {"newEntry", 8}}) {
            auto* each = run.byId<DayEntry>(id);
            each->setUpdatedAt(now().addSecs(minute));
            each->setProject(minute % 3 ? nullptr : &project);
        }
        QVERIFY(run.main().save());
        run.main().forgetUnused(DayEntry::EntityName);
        QCOMPARE(ids(run.company().newestDayEntries(first.addDays(-1), first.addDays(1))),
                 QStringList({u"98"_s, u"99"_s}));

        const Zone afterAJourney("Asia/Tokyo");
        QCOMPARE(ids(run.company().dayEntriesForDate(first)), QStringList({u"100"_s, u"98"_s, u"99"_s}));
        QCOMPARE(run.company().dayEntriesForDate(first).front()->spentAt(), startOfDay(first));
    }

    void choosesTheCurrentEntry()
    {
        ModelRun run("America/New_York");
        run.setNow("2024-03-06T03:30:00Z"); // half past ten in the evening of the fifth
        Company& company = run.company();
        QCOMPARE(id(company.mostRecentDayEntry()), u"none");

        DayEntry& overnight = entry(run, "5", Today.addDays(-1), "2024-03-05T04:00:00Z");
        entry(run, "4", Today.addDays(-1));
        entry(run, "3", Today.addDays(-2), "2024-03-03T12:00:00Z");
        QCOMPARE(id(company.mostRecentDayEntry()), u"5");
        QCOMPARE(id(company.mostRecentRunningDayEntryFromToday()), u"none");

        entry(run, "20", Today);
        QCOMPARE(id(company.mostRecentDayEntry()), u"20");
        entry(run, "21", Today, nullptr, "2024-03-05T12:00:00Z");
        entry(run, "22", Today, nullptr, "2024-03-05T11:00:00Z");
        entry(run, "23", Today);
        QCOMPARE(id(company.mostRecentDayEntry()), u"21");
        QCOMPARE(id(company.mostRecentRunningDayEntryFromYesterday()), u"5");
        entry(run, "24", Today, nullptr, "2024-03-05T12:00:00Z");
        QCOMPARE(id(company.mostRecentDayEntry()), u"24");

        // The first running one in the order of the day, whenever it was updated.
        entry(run, "9", Today, "2024-03-05T10:00:00Z");
        entry(run, "10", Today, "2024-03-05T11:00:00Z");
        QCOMPARE(id(company.mostRecentDayEntry()), u"10");
        QCOMPARE(id(company.mostRecentRunningDayEntryFromToday()), u"10");
        overnight.setTimerStarted({});
        QCOMPARE(id(company.mostRecentRunningDayEntryFromYesterday()), u"none");
        // Days pass without a reply.
        QCOMPARE(id(company.mostRecentDayEntry()), u"10");
        run.setNow("2024-03-08T03:30:00Z");
        QCOMPARE(id(company.mostRecentDayEntry()), u"none");
    }

    void findsObjectsOfAnyCompany()
    {
        ModelRun run;
        Company& other = *Company::findOrCreateCompany(u"other"_s);
        auto& theirs = other.findOrCreateById<Project>(u"12"_s, run.main());
        QCOMPARE(run.company().findObject<Project>(u"12"_s, run.main()), &theirs);
        QVERIFY(!run.company().findObject<Project>(u"13"_s, run.main()));

        auto& ours = run.company().findOrCreateById<Project>(u"12"_s, run.main());
        QVERIFY(&ours != &theirs);
        QCOMPARE(run.company().findObject<Project>(u"12"_s, run.main()), &ours);
        QCOMPARE(&run.company().findOrCreateById<Project>(u"12"_s, run.main()), &ours);
        QCOMPARE(&run.company().findOrCreateByName<Client>(u"Zoo"_s, run.main()),
                 &run.company().findOrCreateByName<Client>(u"Zoo"_s, run.main()));
        QVERIFY(run.main().hasChanges());
    }

    void clearsTheAccountOnly()
    {
        ModelRun run;
        run.signIn();
        Company& other = *Company::findOrCreateCompany(u"other"_s);
        VERIFY_EACH(User::findByEmail(ModelRun::email, run.company()), !User::findByEmail(ModelRun::email, other));
        for (Company* company : {&run.company(), &other}) {
            auto& project = company->findOrCreateById<Project>(u"1"_s, run.main());
            project.setClient(&company->findOrCreateById<Client>(u"2"_s, run.main()));
            auto& task = company->findOrCreateById<Task>(u"3"_s, run.main());
            company->findOrCreateById<DayEntry>(u"4"_s, run.main()).setTask(&task);
            company->setCacheVersion(12);
        }
        QVERIFY(run.main().save());
        run.company().clearAllData();
        QVERIFY(run.main().save());

        QCOMPARE(run.company().cacheVersion(), 12);
        VERIFY_EACH(run.company().projects().empty(), run.company().clients().empty(), run.company().users().empty());
        for (const std::size_t left :
             {run.all<Project>().size(), run.all<Task>().size(), run.all<DayEntry>().size(), run.all<Client>().size()})
            QCOMPARE(left, 1U);
        QCOMPARE(run.all<DayEntry>().front()->task()->company(), &other);
    }
};

QTEST_GUILESS_MAIN(CompanyTest)
#include "CompanyTest.moc"
