#include "Scenario.h"

#include "localservice/People.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using localservice::Id;
using localservice::People;
using localservice::PersonDetails;
using localservice::Problem;

namespace {

/// People of the account "acme", where Ann is the only administrator, each call in a transaction of its own.
class Acme : public Scenario
{
public:
    template <typename Work>
    auto people(Work work)
    {
        return change([&](SQLite::Database& data) { return work(People(data, acme.id)); });
    }

    Id add(const std::string& email, bool admin = false)
    {
        return database().addPerson({acme.id, email, "secret", "Bob", "Stone", admin}).value();
    }

    /// Why a change was refused: its field and message.
    QString changed(Id id, const PersonDetails& details)
    {
        return told(people([&](People people) { return people.change(id, details); }));
    }
    QString archived(Id id, Id by)
    {
        return told(people([&](People people) { return people.archive(id, by, Later); }));
    }

    static QString told(const tl::expected<void, Problem>& done)
    {
        return done ? u"done"_s : QString::fromStdString(done.error().field + "|" + done.error().message);
    }

    static constexpr localservice::Seconds Later = Start + 3600;
};

constexpr auto OnlyAdministrator = "An account needs an administrator. Make someone else an administrator first."_L1;

} // namespace

class PeopleTest : public QObject
{
    Q_OBJECT

private slots:
    void anAdministratorStays()
    {
        Acme s;
        const Id ann = s.acme.person;
        const PersonDetails demoted{"ann@example.com", "Ann", "Lee", false};
        QCOMPARE(s.changed(ann, demoted), u"admin|"_s + OnlyAdministrator);
        const Id bob = s.add("bob@example.com");
        QCOMPARE(s.archived(ann, bob), u"|"_s + OnlyAdministrator);

        QCOMPARE(s.changed(bob, {"bob@example.com", "Bob", "", true}), u"done"_s);
        QCOMPARE(s.archived(ann, ann), u"|You cannot archive yourself. Another administrator can."_s);
        QCOMPARE(s.archived(ann, bob), u"done"_s);
        // Who is archived administers nothing.
        QCOMPARE(s.changed(bob, {"bob@example.com", "Bob", "", false}), u"admin|"_s + OnlyAdministrator);
        QVERIFY(s.people([&](People people) { return people.restore(ann); }));
        QCOMPARE(s.changed(bob, {"bob@example.com", "Bob", "", false}), u"done"_s);
    }

    void archivedPeopleKeepTheirHours()
    {
        Acme s;
        const Id bob = s.add("bob@example.com");
        s.database().assignPerson(s.acme.website, bob).value();
        const auto client = s.client(s.acme, u"secret"_s, u"bob@example.com"_s);
        const auto entry = client->post(u"/daily/add"_s, requestBody(u"project_id=1 task_id=1"_s));
        QVERIFY(!entry.text(u"timer_started_at"_s).isEmpty());
        const auto version = s.get(u"/people"_s).headers.value(u"x-company-cache-version"_s);

        QCOMPARE(s.archived(bob, s.acme.person), u"done"_s);
        QCOMPARE(client->get(u"/daily"_s).status, 401);
        const auto list = s.get(u"/people"_s);
        QCOMPARE(list.texts(u"email"_s), (QStringList{u"ann@example.com"_s, u"bob@example.com"_s}));
        QCOMPARE(list.texts(u"is-active"_s), (QStringList{u"true"_s, u"false"_s}));
        // Nothing that clients keep of the catalog has changed.
        QCOMPARE(list.headers.value(u"x-company-cache-version"_s), version);

        QVERIFY(s.people([&](People people) { return people.restore(bob); }));
        const auto day = client->get(u"/daily?slim=1"_s);
        QCOMPARE(day.texts(u"hours"_s), QStringList{u"1.0"_s});
        QCOMPARE(day.texts(u"timer_started_at"_s), QStringList{});
    }

    void checksWhatIsTyped()
    {
        Acme s;
        const Id bob = s.add("bob@example.com");
        QCOMPARE(s.archived(s.add("cleo@example.com"), s.acme.person), u"done"_s);
        const auto check = [&](const QString& email, const QString& firstName, const QString& told) {
            QCOMPARE(s.changed(bob, {email.toStdString(), firstName.toStdString(), "", false}), told);
            if (told == u"done"_s) {
                const auto found = s.people([&](People people) { return people.find(bob); });
                QCOMPARE(QString::fromStdString(found->firstName), firstName.trimmed());
            }
        };
        check(u"BOB@example.com"_s, u"Bob"_s, u"done"_s); // one's own address in other case
        check(u"bob.stone+x@example.com"_s, u"Bob"_s, u"done"_s);
        check(u"bob@localhost"_s, u"  Bob "_s, u"done"_s); // a name of one machine
        // Programs could not send one with a colon.
        for (const auto& email :
             {u"bob.example.com"_s, u"bob:x@example.com"_s, u"bob@example.com\nx"_s, QString(250, u'b') + u"@x.de"_s})
            check(email, u"Bob"_s, u"email|Enter an address such as name@example.com."_s);
        check(u"bob@example.com"_s, u" \n "_s, u"first-name|A person needs a name."_s);
        check(u"bob@example.com"_s, QString(101, u'ü'),
              u"first-name|This name is too long. It can have 100 characters."_s);
        check(u"Ann@Example.com"_s, u"Bob"_s, u"email|This address already belongs to Ann Lee."_s);
        check(
            u"cleo@example.com"_s, u"Bob"_s,
            u"email|This address belongs to Bob Stone, who is archived. You can restore them in the list of people."_s);
    }

    void projectsChangeOnlyWhereTheyDiffer()
    {
        Acme s;
        const Id ann = s.acme.person;
        const auto set = [&](const std::vector<Id>& projects) {
            return Acme::told(s.people([&](People people) { return people.setProjects(ann, projects); }));
        };
        const auto version = [&] { return s.today().headers.value(u"x-company-cache-version"_s); };
        const auto before = version();
        QCOMPARE(set({s.acme.website, s.acme.internal}), u"done"_s);
        QCOMPARE(version(), before);
        QCOMPARE(set({s.acme.website, s.clock.website}), u"done"_s);
        QCOMPARE(s.get(u"/user_assignments"_s).texts(u"project-id"_s), QStringList{QString::number(s.acme.website)});
        QVERIFY(version() != before);

        // A form does not show archived projects: that they are missing from it says nothing.
        QVERIFY(s.database().setProjectActive(s.acme.website, false));
        QCOMPARE(set({s.acme.internal}), u"done"_s);
        QCOMPARE(s.get(u"/user_assignments"_s).texts(u"project-id"_s),
                 (QStringList{QString::number(s.acme.website), QString::number(s.acme.internal)}));
    }

    void reachesOnlyTheAccount()
    {
        Acme s;
        const Id stranger = s.clock.person;
        const QString unknown = u"|This person does not exist."_s;
        QCOMPARE(s.changed(stranger, {"x@example.com", "X", "", true}), unknown);
        QCOMPARE(s.archived(stranger, s.acme.person), unknown);
        QCOMPARE(Acme::told(s.people([&](People people) { return people.restore(stranger); })), unknown);
        QCOMPARE(Acme::told(s.people([&](People people) { return people.setPassword(stranger, "x"); })), unknown);
        QCOMPARE(Acme::told(s.people([&](People people) { return people.setProjects(stranger, {}); })), unknown);
        // The same address in another account is another person.
        QCOMPARE(s.changed(s.add("bob@example.com"), {"bob@example.com", "Bob", "", false}), u"done"_s);
    }

    void programsOfMembersReadOnlyTheirOwn()
    {
        Acme s;
        auto data = s.database();
        const Id member = data.addPerson({s.acme.id, "bob@example.com", "secret", "Bob", "Stone", false, 55}).value();
        data.assignPerson(s.acme.website, member, 45).value();
        const Id cages =
            data.addProject({.client = data.addClient(s.acme.id, "Zoo").value(), .name = "Cages", .rate = 70}).value();
        data.offerTask(cages, data.addTask(s.acme.id, "Feeding", 20).value(), true, 30).value();
        s.Scenario::add(u"hours=1 notes=private"_s);
        const auto client = s.client(s.acme, u"secret"_s, u"bob@example.com"_s);

        static const QRegularExpression leaf(u"<([\\w-]+)>([^<\n]*)</"_s);
        const auto told = [](const Answer& answer) {
            QStringList texts;
            for (auto all = leaf.globalMatch(QString::fromUtf8(answer.body)); all.hasNext();) {
                const auto next = all.next();
                texts.append(next.captured(1) + u'=' + next.captured(2));
            }
            return (answer.root() + u' ' + texts.join(u' ')).trimmed().toUtf8();
        };
        const QByteArray nothing = "error kind=NotFound message=There is nothing at this address.";
        const auto row = [&](const QByteArray& target, const QByteArray& root, const QByteArray& administrator,
                             const QByteArray& member) {
            const auto expected = [&](const QByteArray& records) {
                return target + ": " + (records == nothing ? nothing : (root + ' ' + records).trimmed());
            };
            QCOMPARE(target + ": " + told(s.get(QString::fromUtf8(target))), expected(administrator));
            QCOMPARE(target + ": " + told(client->get(QString::fromUtf8(target))), expected(member));
        };

        const QByteArray ann = "id=1 email=ann@example.com first-name=Ann last-name=Lee is-admin=true is-active=true"
                               " default-hourly-rate=80.00";
        const QByteArray bob = "id=3 email=bob@example.com first-name=Bob last-name=Stone is-admin=false is-active=true"
                               " default-hourly-rate=55.00";
        const QByteArray cost = "id=1 name=Website code=WEB billable=true bill-by=Tasks hourly-rate=0.00 active=true"
                                " client-id=1";
        const QByteArray noCost = "id=1 name=Website code=WEB billable=true bill-by=Tasks active=true client-id=1";
        row("/people", "users", ann + ' ' + bob, bob);
        row("/people/1", "user", ann, nothing);
        row("/people/3", "user", bob, bob);
        row("/people/2", "user", nothing, nothing);
        const QByteArray onWebsite = "id=1 project-id=1 user-id=1 hourly-rate=0.00";
        const QByteArray onInternal = "id=2 project-id=2 user-id=1 hourly-rate=0.00";
        const QByteArray own = "id=5 project-id=1 user-id=3 hourly-rate=45.00";
        row("/user_assignments", "user-assignments", onWebsite + ' ' + onInternal + ' ' + own, own);
        row("/projects/1/user_assignments", "user-assignments", onWebsite + ' ' + own, own);
        row("/projects/2/user_assignments", "user-assignments", onInternal, "");
        row("/projects", "projects",
            cost + " id=2 name=Internal code= billable=false bill-by=Tasks hourly-rate=0.00 active=true client-id=1"
                   " id=5 name=Cages code= billable=true bill-by=Tasks hourly-rate=70.00 active=true client-id=3",
            noCost);
        row("/projects/1", "project", cost, noCost);
        row("/projects/2", "project",
            "id=2 name=Internal code= billable=false bill-by=Tasks hourly-rate=0.00 active=true client-id=1", nothing);
        row("/clients", "clients", "id=1 name=Bread &lt;&amp; Sons&gt; active=true id=3 name=Zoo active=true",
            "id=1 name=Bread &lt;&amp; Sons&gt; active=true");
        row("/clients/3", "client", "id=3 name=Zoo active=true", nothing);
        row("/tasks", "tasks",
            "id=1 name=Design default-hourly-rate=90.00 id=2 name=Support default-hourly-rate=0.00"
            " id=5 name=Feeding default-hourly-rate=20.00",
            "id=1 name=Design id=2 name=Support");
        row("/tasks/1", "task", "id=1 name=Design default-hourly-rate=90.00", "id=1 name=Design");
        row("/tasks/5", "task", "id=5 name=Feeding default-hourly-rate=20.00", nothing);
        row("/task_assignments", "task-assignments",
            "id=1 project-id=1 task-id=1 billable=true hourly-rate=0.00 id=2 project-id=1 task-id=2 billable=false"
            " hourly-rate=0.00 id=3 project-id=2 task-id=2 billable=false hourly-rate=0.00"
            " id=7 project-id=5 task-id=5 billable=true hourly-rate=30.00",
            "id=1 project-id=1 task-id=1 billable=true id=2 project-id=1 task-id=2 billable=false");
        row("/projects/5/task_assignments", "task-assignments",
            "id=7 project-id=5 task-id=5 billable=true hourly-rate=30.00", "");
        row("/daily/65/2024?slim=1&user_id=1", "daily",
            "for_day=Tue, 5 Mar 2024 id=1 user_id=1 spent_at=2024-03-05 project_id=1 project=Website"
            " client=Bread &lt;&amp; Sons&gt; task_id=1 task=Design hours=1.0 hours_without_timer=1.0 notes=private"
            " is_locked=false is_billed=false created_at=Tue, 5 Mar 2024 08:15:40 +0000"
            " updated_at=Tue, 5 Mar 2024 08:15:40 +0000",
            "for_day=Tue, 5 Mar 2024");
        row("/account/who_am_i?id=1", "hash",
            "name=Acme &amp; Co active=true id=1 email=ann@example.com first-name=Ann last-name=Lee admin=true"
            " timezone=Europe/Berlin timestamp-timers=false",
            "name=Acme &amp; Co active=true id=3 email=bob@example.com first-name=Bob last-name=Stone admin=false"
            " timezone=Europe/Berlin timestamp-timers=false");
        for (const char* unknown : {"/people/1/assignments", "/people/1/daily", "/people/1/entries", "/reports",
                                    "/reports.csv?person=1", "/projects/1/entries", "/company", "/people.xml"})
            row(unknown, "error", nothing, nothing);
    }
};

QTEST_GUILESS_MAIN(PeopleTest)
#include "PeopleTest.moc"
