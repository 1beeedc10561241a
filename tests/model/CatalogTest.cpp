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
    void importsProjects()
    {
        const QByteArray single = "<project><id>11</id><name>A&amp;amp;B</name><code>X&amp;lt;</code>"
                                  "<billable>true</billable><bill-by>Tasks</bill-by><hourly-rate>12.5</hourly-rate>"
                                  "<active>false</active><client-id>31</client-id></project>";
        for (const QByteArray& response : {single, "<projects>" + single + "</projects>"}) {
            ModelRun run;
            QVERIFY(run.import(&Project::parseXml, response));
            const Project* project = run.byId<Project>("11");
            QVERIFY(project);
            QCOMPARE(project->displayName(), u"[X<] A&B");
            QCOMPARE(values(project, "billBy rate isBillable isActive client"), u"Tasks; 12.5; yes; no; 31");
            QCOMPARE(project->company(), &run.company());
            QCOMPARE(project->description(), u"Name: A&B | ID: 11 | Billable Flag: YES | Active Flag: YES");

            // What may be missing stays as it was; the rest does not.
            QVERIFY(run.import(&Project::parseXml, "<project><id>11</id><client>Zoo</client></project>"));
            QCOMPARE(values(project, "rate isBillable isActive name code"), u"12.5; yes; yes; -; -");
            QCOMPARE(project->client()->name(), u"Zoo");
            QCOMPARE(run.all<Client>().size(), 2U);
        }
    }

    void importsTasksAndUsers()
    {
        ModelRun run;
        const QByteArray tasks = "<tasks><task><id>21</id><name>R&amp;amp;D</name><default-hourly-rate>80"
                                 "</default-hourly-rate></task><task><id>22</id><name>b</name></task></tasks>";
        VERIFY_EACH(run.import(&Task::parseXml, tasks), run.import(&Task::parseXml, tasks));
        QCOMPARE(run.saves, 0);
        QCOMPARE(names(run.all<Task>()), QStringList({u"R&D"_s, u"b"_s}));
        QCOMPARE(run.byId<Task>("21")->description(), u"Name: R&D | ID: 21 | rate: 80");
        QCOMPARE(run.byId<Task>("22")->description(), u"Name: b | ID: 22 | rate: (null)");
        QVERIFY(run.byId<Task>("22")->taskCaseInsenstiveCompare(*run.byId<Task>("21")) < 0);

        QVERIFY(run.import(&User::parseXml, "<user><id>7</id><first-name>Ann</first-name><last-name>Lee</last-name>"
                                            "<email>ann@example.com</email></user>"));
        const User* user = User::findByEmail(u"ann@example.com"_s, run.company());
        QVERIFY(user);
        QCOMPARE(user->description(),
                 u"Email: ann@example.com | firstName: Ann | lastName: Lee | ID: 7 | defaultRate: 0");
        QVERIFY(!User::findByEmail(u"ann@example.com"_s, *Company::findOrCreateCompany(u"other"_s)));
        QVERIFY(run.import(&User::parseXml, "<users><user><id>7</id><first-name>Ann</first-name></user></users>"));
        QVERIFY(user->email().isNull());
        for (XmlImport import : {&Task::parseXml, &User::parseXml, &Project::parseXml, &UserAssignment::parseXml,
                                 &TaskAssignment::parseXml})
            QVERIFY(!run.import(import, "<tasks><task><id>1</id></task>"));
        QVERIFY(run.import(&Company::parseXml, "anything"));
    }

    void importsAssignments()
    {
        ModelRun run;
        run.signIn();
        const QByteArray users =
            "<user-assignments><user-assignment><id>41</id><project-id>11</project-id>"
            "<user-id>7</user-id><hourly-rate>5</hourly-rate></user-assignment></user-assignments>";
        const QByteArray tasks = "<task-assignments><task-assignment><id>42</id><project-id>11</project-id>"
                                 "<task-id>21</task-id></task-assignment></task-assignments>";
        VERIFY_EACH(run.import(&UserAssignment::parseXml, users), run.import(&TaskAssignment::parseXml, tasks));
        QCOMPARE(values(run.byId<UserAssignment>("41"), "user userId project projectId rate"), u"7; 7; -; 11; 5");
        QCOMPARE(values(run.byId<TaskAssignment>("42"), "task taskId project projectId"), u"-; 21; -; 11");

        // Linked once the rest is there.
        VERIFY_EACH(run.import(&DayEntry::parseXml, Sheet), run.import(&UserAssignment::parseXml, users));
        QVERIFY(run.import(&TaskAssignment::parseXml, tasks));
        QCOMPARE(values(run.byId<UserAssignment>("41"), "project"), u"11");
        QCOMPARE(run.byId<TaskAssignment>("42")->name(), u"Design & more");
    }

    void importsTheCatalogOfASheet()
    {
        ModelRun run;
        run.signIn();
        QVERIFY(run.import(&DayEntry::parseXml, Sheet));
        QCOMPARE(names(run.all<Project>()), QStringList({u"Website"_s, u"Books"_s, u"Attic"_s}));
        QCOMPARE(names(run.all<Task>()), QStringList({u"Design & more"_s, u"admin"_s, u"Build"_s}));
        QCOMPARE(run.all<Client>().size(), 2U);
        QCOMPARE(run.all<UserAssignment>().size(), 3U);
        QCOMPARE(run.all<TaskAssignment>().size(), 4U);
        for (const UserAssignment* assignment : run.all<UserAssignment>())
            QCOMPARE(values(assignment, "user userId idString"), u"7; -; -");
        for (const TaskAssignment* assignment : run.all<TaskAssignment>()) {
            QCOMPARE(values(assignment, "projectId taskId"), values(assignment, "project task"));
            QCOMPARE(assignment->company(), &run.company());
        }

        QVERIFY(run.import(&DayEntry::parseXml, Sheet));
        QCOMPARE(run.saves, 0);
    }

    void dropsWhatAFullSheetLeavesOut()
    {
        ModelRun run;
        run.signIn();
        QVERIFY(run.import(&DayEntry::parseXml, Sheet));
        const store::Ref<Project> books = run.byId<Project>("12");
        const store::Ref<Task> build = run.byId<Task>("23");

        QVERIFY(run.import(&DayEntry::parseXml, "<daily><for_day>Tue, 5 Mar 2024</for_day><day_entries/></daily>"));
        QVERIFY(run.import(&DayEntry::parseXml, "<daily><projects></projects></daily>"));
        QVERIFY(!run.import(&DayEntry::parseXml, "<daily><projects><project><id>11"));
        QCOMPARE(run.all<Project>().size(), 3U);

        // An entry of the day is still booked on what is archived: a stand-by takes the place of the project.
        QVERIFY(
            run.import(&DayEntry::parseXml,
                       "<daily><for_day>Tue, 5 Mar 2024</for_day><day_entries><day_entry><id>1</id>"
                       "<project_id>12</project_id><project>Books</project><client>Bank</client><task_id>21</task_id>"
                       "</day_entry></day_entries><projects><project><id>11</id><name>Web</name><client>Zoo</client>"
                       "<tasks><task><id>21</id><name>Design</name></task><task><id>22</id><name>admin</name></task>"
                       "</tasks></project></projects></daily>"));
        VERIFY_EACH(!books, !build);
        QCOMPARE(names(run.all<Project>()), QStringList({u"Web"_s, u"Books"_s}));
        QCOMPARE(names(run.all<Task>()), QStringList({u"Design"_s, u"admin"_s}));
        QCOMPARE(run.all<UserAssignment>().size(), 1U);
        // Of project 11 with the tasks 21 and 22: assignments go with their task or project only.
        QCOMPARE(run.all<TaskAssignment>().size(), 2U);
        QCOMPARE(run.byId<DayEntry>("1")->project(), run.byId<Project>("12"));
        QCOMPARE(run.byId<DayEntry>("1")->lockedReason(), u"Project has been archived.");
    }

    void anEmptyNameOfAClientIsNotAMissingOne()
    {
        ModelRun run;
        for (int i = 0; i < 2; ++i)
            QVERIFY(run.import(&DayEntry::parseXml,
                               "<daily><projects><project><id>11</id></project><project><id>12</id><client></client>"
                               "</project><project><id>13</id></project></projects></daily>"));
        QCOMPARE(run.all<Client>().size(), 2U);
        QVERIFY(run.byId<Project>("11")->client()->name().isNull());
        QCOMPARE(run.byId<Project>("12")->client()->name(), u""_s);
        QVERIFY(!run.byId<Project>("12")->client()->name().isNull());
        QCOMPARE(run.byId<Project>("13")->client(), run.byId<Project>("11")->client());
    }

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
        QCOMPARE(assigned.mid(0, 2), QStringList({u"No client"_s, u"Books"_s}));
        QCOMPARE(assigned.size(), 4);
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
        QVERIFY(run.byId<Project>("13")->tasksWithMatchingNamesGroupedByBillable({}).empty());
    }
};

QTEST_GUILESS_MAIN(CatalogTest)
#include "CatalogTest.moc"
