#include "Scenario.h"

#include "../support/Limit.h"
#include "localservice/Backups.h"
#include "localservice/Catalog.h"
#include "localservice/Removals.h"

#include "support/VerifyEach.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <condition_variable>
#include <filesystem>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace localservice;
namespace fs = std::filesystem;

namespace {

mode_t modeOf(const fs::path& path)
{
    struct stat status
    {
    };
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

/// Everything of the account but what any change moves.
QStringList everything(Scenario& s)
{
    QStringList all;
    for (const char* sql :
         {"SELECT id || name || active FROM clients ORDER BY id",
          "SELECT id || client_id || name || code || billable || bill_by || rate || active FROM projects ORDER BY id",
          "SELECT id || name || rate || active FROM tasks ORDER BY id",
          "SELECT id || project_id || task_id || billable || rate FROM task_assignments ORDER BY id",
          "SELECT id || project_id || person_id || rate FROM user_assignments ORDER BY id",
          "SELECT id || person_id || project_id || task_id || spent_at || notes || seconds || created_at FROM entries"})
        all += s.rows(sql);
    return all;
}

/// Brings back the latest removal that the person sees, of a table if one is given; the kind of problem, if any.
QString bringBack(Scenario& s, const Person& person, const std::string& table = {})
{
    const auto done = s.change([&](SQLite::Database& data) -> tl::expected<void, Problem> {
        Removals removals(data, person.account);
        auto all = removals.all(person);
        std::erase_if(all, [&](const Removal& removal) { return !table.empty() && removal.table != table; });
        return all.empty() ? tl::unexpected(Problem{404, "None", ""}) : removals.bringBack(all.front(), s.now());
    });
    return done ? QString() : QString::fromStdString(done.error().kind);
}

QString remove(Scenario& s, Catalog::Kind kind, Id id)
{
    const auto done =
        s.change([&](SQLite::Database& data) { return Catalog(data, s.acme.id).remove(kind, id, s.now()); });
    return done ? QString() : QString::fromStdString(done.error().kind);
}

} // namespace

class BackupsTest : public QObject
{
    Q_OBJECT

private slots:
    void whatWasRemovedComesBackAsItWas()
    {
        using Kind = Catalog::Kind;
        Scenario s;
        s.run("UPDATE task_assignments SET rate = 0.1 + 0.2; UPDATE clients SET active = 1");
        const QString id = s.add(u"notes=\"q\"_ü hours=1.5"_s);
        const auto before = everything(s);
        const auto updated = s.rows("SELECT updated_at FROM entries");
        QCOMPARE(s.get(u"/daily/delete/"_s + id).status, 200);
        QCOMPARE(s.today().texts(u"id"_s), QStringList());
        // What is free now may go.
        for (const auto& [kind, id] : {std::pair{Kind::Task, s.acme.design}, {Kind::Project, s.acme.website}})
            QCOMPARE(remove(s, kind, id), QString());
        const auto version = s.rows("SELECT cache_version FROM accounts WHERE id = 1");
        QCOMPARE(bringBack(s, s.ann()), QString());
        QVERIFY(s.rows("SELECT cache_version FROM accounts WHERE id = 1") > version);
        QCOMPARE(bringBack(s, s.ann(), "entries"), u"Missing"_s); // its task is still gone
        QCOMPARE(bringBack(s, s.ann(), "tasks"), QString());
        QCOMPARE(bringBack(s, s.ann()), QString());
        QCOMPARE(everything(s), before);
        QVERIFY(s.rows("SELECT updated_at FROM entries") > updated); // who has an old copy must see that it is one
        QCOMPARE(s.today().texts(u"id"_s), QStringList{id});
        QCOMPARE(bringBack(s, s.ann()), u"None"_s);
    }

    void aTimerThatWasRemovedHasStopped()
    {
        Scenario s;
        s.useTimestamps();
        const QString id = s.add();
        s.pass(1h);
        QCOMPARE(s.get(u"/daily/delete/"_s + id).status, 200);
        const QString other = s.add();
        s.pass(24h);
        Person person = s.ann();
        person.account = s.clock.id;
        person.id = s.clock.person;
        QCOMPARE(bringBack(s, person), QString());
        QCOMPARE(s.rows("SELECT seconds || ' ' || started_at || ' ' || ended_at || ' ' || COALESCE(timer_started, '')"
                        " FROM entries ORDER BY id LIMIT 1"),
                 QStringList{u"3600 555 615 "_s});
        QCOMPARE(s.rows("SELECT id FROM entries WHERE timer_started IS NOT NULL"), QStringList{other});
    }

    void onlyThoseWhoMayBringSomethingBack()
    {
        Scenario s;
        s.get(u"/daily/delete/"_s + s.add());
        QCOMPARE(remove(s, Catalog::Kind::Project, s.acme.internal), QString());
        const auto seen = [&](const Person& person) {
            return s
                .change([&](SQLite::Database& data) -> tl::expected<std::size_t, Problem> {
                    Removals removals(data, person.account);
                    return removals.all(person).size() + (removals.find(1, person) ? 10 : 0) +
                           (removals.of("projects", s.acme.internal, person) ? 100 : 0);
                })
                .value();
        };
        Person colleague = s.ann();
        colleague.id = 99;
        Person plain = s.ann();
        plain.admin = false;
        Person stranger = s.ann();
        stranger.account = s.clock.id;
        QCOMPARE(seen(s.ann()), 112U);
        QCOMPARE(seen(colleague), 101U); // but not Ann's entry
        QCOMPARE(seen(plain), 11U);      // her entry, but no project
        QCOMPARE(seen(stranger), 0U);
        // Forgotten with the next removal after a month.
        s.pass(31 * 24h);
        s.get(u"/daily/delete/"_s + s.add());
        QCOMPARE(s.rows("SELECT COUNT(*) FROM removed_rows"), QStringList{u"1"_s});
    }

    void aNameThatWasGivenAgainIsNotTakenAway()
    {
        Scenario s;
        const auto task = s.change(
            [&](SQLite::Database& data) { return Catalog(data, s.acme.id).add(Catalog::Kind::Task, "Lettering"); });
        QCOMPARE(remove(s, Catalog::Kind::Task, *task), QString());
        s.run("INSERT INTO tasks (account_id, name, rate) VALUES (1, 'LETTERING', 0)");
        QCOMPARE(bringBack(s, s.ann()), u"Name"_s);
        s.run("UPDATE tasks SET account_id = 2 WHERE name = 'LETTERING'");
        QCOMPARE(bringBack(s, s.ann()), QString());
    }

    void copiesComeDaily()
    {
        Scenario s;
        Backups copies(s.file());
        const fs::path folder = copies.folder();
        for (int day = 0; day < 20; ++day) {
            s.add(u"hours=1"_s);
            s.today();
            // The copy of the day is under way, or there.
            s.restart();
            s.pass(day == 3 ? 1h : 24h);
        }
        auto all = copies.all();
        QCOMPARE(all.size(), Backups::MostKept);
        QCOMPARE(QString::fromStdString(all.front().name), u"service-2024-03-23.sqlite"_s);
        QCOMPARE(QString::fromStdString(all.back().name), u"service-2024-03-10.sqlite"_s);
        QCOMPARE(all.front().made / 86400, (Scenario::Start + 18 * 86400) / 86400);
        QCOMPARE(modeOf(folder), mode_t{0700});
        for (const auto& file : fs::directory_iterator(folder))
            QCOMPARE(modeOf(file.path()), mode_t{0600});
        SQLite::Database copy((folder / all.back().name).string());
        QCOMPARE(copy.execAndGet("SELECT COUNT(*) FROM entries").getInt(), 6);
        const auto state = s.service->backups();
        QCOMPARE(state.latest->name, all.front().name);
        QVERIFY(!state.problem);
        QCOMPARE(state.latest->size, fs::file_size(folder / all.front().name));
    }

    void aCopyThatCannotBeMadeIsTold()
    {
        for (const auto& [kind, reason] : {std::pair(u"file in its place"_s, u"Not a directory"_s),
                                           {u"full disk"_s, u"cannot write"_s},
                                           {u"damaged data"_s, u"the data file is damaged"_s}}) {
            Scenario s;
            for (int i = 0; i < 50; ++i)
                s.add(u"hours=1 notes="_s + QString(500, u'x'));
            s.service.reset();
            const QByteArray file = QByteArray::fromStdString(s.file());
            const fs::path folder = Backups(s.file()).folder();
            fs::remove_all(folder);
            if (kind == u"file in its place"_s)
                QVERIFY(QFile(QString::fromStdString(folder.string())).open(QFile::WriteOnly));
            if (kind == u"damaged data"_s) {
                QVERIFY(QFile::copy(QString::fromUtf8(file), QString::fromUtf8(file + ".whole")));
                QFile data(QString::fromUtf8(file));
                VERIFY_EACH(data.open(QFile::ReadWrite), data.seek(data.size() - 4096));
                data.write(QByteArray(4096, '?'));
            }
            std::vector<std::string> told;
            Seconds now = s.now();
            DailyBackups daily(
                s.file(), [&] { return std::chrono::system_clock::from_time_t(now); },
                [&](const std::string& sentence) { told.push_back(sentence); });
            {
                std::optional<support::Limit> disk;
                if (kind == u"full disk"_s)
                    disk.emplace(RLIMIT_FSIZE, rlim_t{64} * 1024);
                for (const int later : {0, 30, 600}) { // the second is too soon, the third fails like the first
                    now += later;
                    daily.look();
                    daily.finish();
                }
            }
            QCOMPARE(told.size(), 1U);
            QVERIFY2(QString::fromStdString(told[0]).contains(reason), told[0].c_str());
            QCOMPARE(daily.problem().value_or(""), told[0]);
            QVERIFY(daily.copies().all().empty());
            std::error_code none;
            QCOMPARE(std::distance(fs::directory_iterator(folder, none), fs::directory_iterator()), 0);
            // As soon as it works again, that is told, too.
            if (!fs::is_directory(folder))
                fs::remove(folder);
            if (kind == u"damaged data"_s)
                fs::rename(s.file() + ".whole", s.file());
            now += 600;
            daily.look();
            daily.finish();
            QCOMPARE(told.size(), 2U);
            VERIFY_EACH(told[1].empty(), !daily.problem());
            QCOMPARE(daily.copies().all().size(), std::size_t(1));
        }
    }

    void aCopyIsRestoredWhileTheServiceRuns()
    {
        Scenario s;
        const QString kept = s.add(u"hours=2 notes=kept"_s);
        const QString stopped = s.add(u"notes=ran"_s);
        s.pass(1h);
        Backups copies(s.file());
        s.pass(24h);
        QVERIFY(copies.makeDaily(s.now()));
        const auto copy = copies.all().front();
        const auto there = everything(s);
        s.pass(48h);
        s.get(u"/daily/delete/"_s + kept);
        s.toggle(stopped);
        const QString newer = s.add(u"hours=1 notes=newer"_s);
        QVERIFY(s.database().setPassword("acme", "ann@example.com", "another one"));
        s.run("INSERT INTO sessions VALUES ('digest', 1, 1, 1)");
        const auto version = s.rows("SELECT cache_version FROM accounts WHERE id = 1").front().toInt();
        const auto late = everything(s);

        const auto replaced = copies.restore(copy.name, s.now());
        QVERIFY2(replaced, replaced ? "" : replaced.error().c_str());
        // Its time ended when the copy was made.
        QCOMPARE(s.rows("SELECT notes || ' ' || seconds || ' ' || (timer_started IS NULL) FROM entries"),
                 (QStringList{u"kept 7200 1"_s, u"ran 90000 1"_s}));
        QCOMPARE(s.rows("SELECT digest FROM sessions"), QStringList{u"digest"_s});
        QVERIFY(s.rows("SELECT cache_version FROM accounts WHERE id = 1").front().toInt() > version);
        auto client = s.client(s.acme, u"another one"_s);
        QCOMPARE(client->get(u"/daily"_s).status, 200);
        // A number is never given twice.
        QVERIFY(s.add(u"hours=1"_s).toInt() == 0); // the old password
        const auto added = client->post(u"/daily/add"_s, requestBody(u"project_id=1 task_id=1 hours=1"_s));
        QVERIFY2(added.text(u"id"_s).toInt() > newer.toInt(), added.body.constData());
        QCOMPARE(modeOf(copies.folder() + "/" + *replaced), mode_t{0600});
        // And back.
        QVERIFY(copies.restore(*replaced, s.now() + 1));
        QCOMPARE(everything(s), late);
        QVERIFY(copies.all().front().replaced);
        QVERIFY(!s.service->backups().latest->replaced);
        QCOMPARE(s.rows("PRAGMA integrity_check"), QStringList{u"ok"_s});
        QVERIFY(there != late);
    }

    void aTimerThatStillRunsGoesOn()
    {
        Scenario s;
        s.add();
        Backups copies(s.file());
        s.pass(24h);
        VERIFY_EACH(copies.makeDaily(s.now()), copies.restore(copies.all().front().name, s.now()));
        QCOMPARE(s.rows("SELECT timer_started FROM entries"), QStringList{QString::number(Scenario::Start)});
    }

    void whatIsNoCopyIsNotRestored()
    {
        Scenario s;
        s.service->stop();
        const auto before = everything(s);
        Backups copies(s.file());
        const fs::path whole = fs::path(copies.folder()) / copies.all().front().name;
        const fs::path folder = s.folder.path().toStdString();
        fs::copy_file(whole, folder / "newer.sqlite");
        SQLite::Database((folder / "newer.sqlite").string(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 99");
        SQLite::Database((folder / "other.sqlite").string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
            .exec("CREATE TABLE x (y)");
        fs::copy_file(whole, folder / "cut.sqlite");
        fs::resize_file(folder / "cut.sqlite", 20000);
        for (const auto& [file, reason] :
             std::initializer_list<std::pair<std::string, QString>>{{"newer.sqlite", u"newer version"_s},
                                                                    {"other.sqlite", u"is not a copy"_s},
                                                                    {"cut.sqlite", u"malformed"_s},
                                                                    {"none.sqlite", u"there is no copy"_s}}) {
            const auto restored = copies.restore((folder / file).string(), s.now());
            QVERIFY(!restored);
            QVERIFY2(QString::fromStdString(restored.error()).contains(reason), restored.error().c_str());
        }
        QCOMPARE(everything(s), before);
        QCOMPARE(copies.all().size(), 1U);
    }
};

QTEST_GUILESS_MAIN(BackupsTest)
#include "BackupsTest.moc"
