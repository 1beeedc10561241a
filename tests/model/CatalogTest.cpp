#include "ModelRun.h"

#include "model/Client.h"
#include "model/DayEntry.h"
#include "model/Import.h"
#include "model/Project.h"
#include "model/Task.h"
#include "model/TaskAssignment.h"
#include "model/UserAssignment.h"

#include "support/UnreadableStore.h"
#include "support/VerifyEach.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace model;

namespace {

const QByteArray Sheet = R"(<daily>
  <for_day>Tue, 5 Mar 2024</for_day>
  <day_entries/>
  <projects>
    <project>
      <name>Website</name><code>ACME1</code><id>11</id><client>Zoo</client>
      <tasks>
        <task><name>Design &amp;amp; more</name><id>21</id><billable>true</billable></task>
        <task><name>admin</name><id>22</id><billable>false</billable></task>
        <task><name>Build</name><id>23</id><billable>true</billable></task>
      </tasks>
    </project>
    <project>
      <name>Books</name><code></code><id>12</id><client>Bank</client>
      <tasks><task><name>admin</name><id>22</id></task></tasks>
    </project>
  </projects>
  <projects>
    <project><name>Attic</name><id>13</id><client>Zoo</client></project>
  </projects>
</daily>)";

template <class T>
QStringList names(const std::vector<T*>& objects)
{
    QStringList names;
    for (const T* object : objects)
        names << object->name();
    return names;
}

template <class T>
QStringList sortedNames(const std::vector<T*>& objects)
{
    QStringList sorted = names(objects);
    sorted.sort();
    return sorted;
}

/// "group: names; …"
template <class T>
QString grouped(const std::map<QString, std::vector<T*>>& groups)
{
    QStringList texts;
    for (const auto& [group, members] : groups)
        texts << group + u": "_s + sortedNames(members).join(u", "_s);
    return texts.join(u"; "_s);
}

} // namespace

class CatalogTest : public QObject
{
    Q_OBJECT

private slots:
    void findsOrCreatesAssignments()
    {
        ModelRun run;
        run.signIn();
        QVERIFY(run.import(&DayEntry::parseXml, Sheet));
        Import import(run.company(), run.main());
        User& user = *run.currentUser();
        Project& project = *run.byId<Project>("13");
        auto& first = UserAssignment::findOrCreateForUser(user, project, import);
        QCOMPARE(&UserAssignment::findOrCreateForUser(user, project, import), &first);
        QCOMPARE(run.all<UserAssignment>().size(), 3U);

        auto& made = TaskAssignment::findOrCreateForUser(user, project, *run.byId<Task>("21"), import);
        QCOMPARE(&TaskAssignment::findOrCreateForUser(user, project, *run.byId<Task>("21"), import), &made);
        QVERIFY(!made.billableBool());
        made.setValue("isBillable", true);
        QCOMPARE(names(project.billableTasks()), QStringList{u"Design & more"_s});
    }

    void filtersProjects()
    {
        support::UnreadableStore unreadable;
        ModelRun run;
        run.signIn();
        QVERIFY(run.import(&DayEntry::parseXml, Sheet));
        Import import(run.company(), run.main());
        auto& clientless = Project::createWithName(u"No client"_s, u"14"_s, import);
        UserAssignment::findOrCreateForUser(*run.currentUser(), clientless, import);
        Project::createWithName(u"Not assigned"_s, u"15"_s, import);

        const User& user = *run.currentUser();
        const auto matching = [&](const QString& filter) {
            return grouped(user.projectsWithMatchingNamesGroupedByClient(filter));
        };
        QCOMPARE(matching({}), u": No client; Bank: Books; Zoo: Attic, Website");
        QCOMPARE(matching(u"acme"_s), u"Zoo: Website"); // the code
        QCOMPARE(matching(u"OO"_s), u"Bank: Books");
        QCOMPARE(matching(u"Bank"_s), u"");
        const QStringList assigned = names(user.assignedProjects());
        QCOMPARE(assigned, QStringList({u"No client"_s, u"Books"_s, u"Attic"_s, u"Website"_s}));
        QCOMPARE(grouped(user.groupByClientName({run.byId<Project>("11"), &clientless})), u": No client; Zoo: Website");

        QCOMPARE(run.byId<Project>("12")->displayName(), u"Books");

        // What changes is seen at once: here, by a merge, and what is gone.
        run.byId<Project>("12")->setName(u"Zoology"_s);
        QCOMPARE(matching(u"OO"_s), u"Bank: Zoology");
        QVERIFY(run.import(&Project::parseXml, "<project><id>13</id><name>Room</name><client>Zoo</client></project>"));
        QCOMPARE(matching(u"OO"_s), u"Bank: Zoology; Zoo: Room");
        run.main().remove(*run.byId<Project>("12"));
        QCOMPARE(matching(u"OO"_s), u"Zoo: Room");
        // Nothing is kept of a store that fails for a moment.
        QVERIFY(run.main().save());
        store::Context context(run.coordinator(), store::MergePolicy::Overwrite);
        const User& other = *run.currentUserInContext(context);
        for (const bool fails : {true, false}) {
            unreadable.fails = fails;
            QCOMPARE(other.assignedProjects().size(), fails ? 0U : 3U);
        }
    }

    void filtersTasks()
    {
        ModelRun run;
        run.signIn();
        QVERIFY(run.import(&DayEntry::parseXml, Sheet));
        const Project& project = *run.byId<Project>("11");
        const auto matching = [&](const QString& filter) {
            return grouped(project.tasksWithMatchingNamesGroupedByBillable(filter));
        };
        QCOMPARE(matching({}), u"Billable: Build, Design & more; Non-Billable: admin");
        QCOMPARE(matching(u"ADMIN"_s), u"Non-Billable: admin");
        QCOMPARE(matching(u"i"_s), u"Billable: Build, Design & more; Non-Billable: admin");
        QCOMPARE(matching(u"zzz"_s), u"");
        QCOMPARE(names(project.billableTasks()), QStringList({u"Build"_s, u"Design & more"_s}));
        QCOMPARE(names(project.nonBillableTasks()), QStringList{u"admin"_s});
        QCOMPARE(project.assignedTasks().size(), 3U);
        QVERIFY(run.byId<Task>("22")->taskCaseInsenstiveCompare(*run.byId<Task>("23")) < 0);
        QVERIFY(run.byId<Project>("13")->tasksWithMatchingNamesGroupedByBillable({}).empty());
    }
};

QTEST_GUILESS_MAIN(CatalogTest)
#include "CatalogTest.moc"
