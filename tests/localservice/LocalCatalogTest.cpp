#include "Scenario.h"

#include "localservice/Catalog.h"
#include "localservice/NameText.h"

#include <QTest>

using namespace Qt::StringLiterals;
using localservice::Catalog;
using localservice::Problem;
using Kind = Catalog::Kind;

namespace {

/// Does something in a catalog; answers the kind of problem that there was, "" when there was none.
template <typename Work>
QString problem(Scenario& s, localservice::Id account, Work work)
{
    const auto done = s.change([&](SQLite::Database& database) {
        Catalog catalog(database, account);
        return work(catalog);
    });
    return done ? QString() : QString::fromStdString(done.error().kind);
}

} // namespace

class LocalCatalogTest : public QObject
{
    Q_OBJECT

private slots:
    void tidiesNames()
    {
        for (const auto& [typed, kept] : std::initializer_list<std::pair<std::string, std::string>>{
                 {"\t Web\r\n \nsite \u00a0", "Web site"},
                 {"\u200b \u202e\ufeff", ""},          // nothing to see
                 {"\u202ea\u202eb\u202e", "a\u202eb"}, // a direction within
                 {"👩🏽\u200d💻", "👩🏽\u200d💻"},
                 {"a\x01\x7f\xff\xc3", "a"}}) // what XML cannot carry
            QCOMPARE(localservice::nameText(typed), kept);
    }

    void refusesWhatPeopleWouldRegret()
    {
        Scenario s;
        const auto& a = s.acme;
        const auto in = [&](auto work) { return problem(s, s.acme.id, work); };
        QCOMPARE(in([](Catalog& c) { return c.add(Kind::Task, " \n"); }), u"Name"_s);
        QCOMPARE(in([](Catalog& c) { return c.add(Kind::Task, "design"); }), u"Name"_s);
        QCOMPARE(in([&](Catalog& c) { return c.rename(Kind::Task, a.design, "DESIGN "); }), u""_s);
        QCOMPARE(in([&](Catalog& c) { return c.rename(Kind::Task, a.design, std::string(201, 'x')); }), u"Name"_s);
        QCOMPARE(in([&](Catalog& c) { return c.addProject({1, "website", "web"}); }), u"Name"_s);
        QCOMPARE(in([&](Catalog& c) { return c.addProject({1, "website", "two"}); }), u""_s);
        QCOMPARE(in([&](Catalog& c) { return c.changeProject(a.website, {.code = std::string(41, 'x')}); }), u"Code"_s);
        QCOMPARE(in([&](Catalog& c) { return c.remove(Kind::Client, 1, 0); }), u"Booked"_s);
        s.add();
        QCOMPARE(in([&](Catalog& c) { return c.remove(Kind::Project, a.website, 0); }), u"Booked"_s);
        QCOMPARE(in([&](Catalog& c) { return c.remove(Kind::Task, a.design, 0); }), u"Booked"_s);
        QCOMPARE(in([&](Catalog& c) { return c.remove(Kind::Project, a.internal, 0); }), u""_s);
        QCOMPARE(in([&](Catalog& c) { return c.changeProject(a.internal, {.name = "Gone"}); }), u"Missing"_s);

        // A client is archived with its projects, and takes no new ones until it is back.
        QCOMPARE(in([](Catalog& c) { return c.setActive(Kind::Client, 1, false); }), u""_s);
        QCOMPARE(s.get(u"/projects"_s).texts(u"active"_s), (QStringList{u"false"_s, u"false"_s}));
        QCOMPARE(in([](Catalog& c) { return c.addProject({1, "Late"}); }), u"Client"_s);
        QCOMPARE(in([&](Catalog& c) { return c.setActive(Kind::Project, a.website, true); }), u""_s);
        QCOMPARE(s.get(u"/clients"_s).texts(u"active"_s), QStringList{u"true"_s});

        // Another account's records are as if they were not there.
        const auto& other = s.clock;
        for (const auto& kind : {in([&](Catalog& c) { return c.rename(Kind::Task, other.design, "X"); }),
                                 in([&](Catalog& c) { return c.setActive(Kind::Project, other.website, false); }),
                                 in([&](Catalog& c) { return c.offerTask(a.website, other.design, true); }),
                                 in([&](Catalog& c) { return c.assignPerson(a.website, other.person); })})
            QCOMPARE(kind, u"Missing"_s);
        QCOMPARE(in([](Catalog& c) { return c.addProject({2, "Abroad"}); }), u"Client"_s);
        in([&](Catalog& c) {
            c.withdrawTask(other.website, other.design);
            c.releasePerson(other.website, other.person);
            return Catalog::Done();
        });
        s.useTimestamps();
        QCOMPARE(s.get(u"/task_assignments"_s).texts(u"id"_s).size(), 3);
        QCOMPARE(s.get(u"/user_assignments"_s).texts(u"id"_s).size(), 2);
    }
};

QTEST_GUILESS_MAIN(LocalCatalogTest)
#include "LocalCatalogTest.moc"
