#include "Scenario.h"

#include "localservice/People.h"

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
};

QTEST_GUILESS_MAIN(PeopleTest)
#include "PeopleTest.moc"
