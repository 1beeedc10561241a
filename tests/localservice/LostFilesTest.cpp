#include "Scenario.h"

#include "localservice/Storage.h"

#include <QFileInfo>
#include <QTest>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// What somebody does to the files below the service, and where all that was saved before has to be afterwards.
struct Deed
{
    std::function<void(const fs::path& file, const fs::path& kept)> act;
    bool goesOn = false;   ///< changes are saved all the same
    bool reads = true;     ///< what is there can still be read
    bool destroys = false; ///< what was in the files before; there is nothing to find
    fs::path where = {};   ///< below the folder; "kept" when empty
    bool journal = false;  ///< is part of it
    QString told = {};
};

fs::path journalOf(fs::path file)
{
    return file += "-wal";
}

fs::path indexOf(fs::path file)
{
    return file += "-shm";
}

/// Into the file that is there, as `cp` does.
void overwrite(const fs::path& from, const fs::path& to)
{
    std::ofstream(to, std::ios::binary | std::ios::trunc) << std::ifstream(from, std::ios::binary).rdbuf();
}

/// The notes in the files as they are on the disk at this moment: what a power cut leaves.
QStringList notesIn(const fs::path& file, bool journal)
{
    const QTemporaryDir folder;
    const fs::path copy = folder.filePath(u"copy.sqlite"_s).toStdString();
    fs::copy_file(file, copy);
    if (journal && fs::exists(journalOf(file)))
        fs::copy_file(journalOf(file), journalOf(copy));
    const auto database = localservice::Database::open(copy.string());
    if (!database)
        return {QString::fromStdString(database.error())};
    const auto notes =
        (*database)->storage().look([](SQLite::Database& data) -> tl::expected<QStringList, localservice::Problem> {
            QStringList found;
            SQLite::Statement query(data, "SELECT notes FROM entries ORDER BY id");
            while (query.executeStep())
                found.append(QString::fromStdString(query.getColumn(0).getString()));
            if (data.execAndGet("PRAGMA integrity_check").getString() != "ok")
                found.append(u"malformed"_s);
            return found;
        });
    return notes.value_or(QStringList{u"unreadable"_s});
}

QStringList without(QStringList some, const QStringList& others)
{
    some.removeIf([&](const QString& text) { return others.contains(text); });
    return some;
}

} // namespace

class LostFilesTest : public QObject
{
    Q_OBJECT

private slots:
    void whatIsSaidToBeSavedIsFoundAgain_data();
    void whatIsSaidToBeSavedIsFoundAgain();
    void goesOnWhenTheFileIsBack();
    void othersMayBringTheJournalIn();
    void reachesPeople();
};

Q_DECLARE_METATYPE(Deed)

void LostFilesTest::whatIsSaidToBeSavedIsFoundAgain_data()
{
    QTest::addColumn<Deed>("deed");
    const auto row = [](const char* name, Deed deed) { QTest::newRow(name) << deed; };
    const QString gone = u"the data file was moved, removed or replaced"_s;
    row("removed", {.act =
                        [](const auto& file, const auto& kept) {
                            fs::create_hard_link(file, kept);
                            fs::remove(file);
                        },
                    .told = gone});
    row("removed with all that belongs to it", {.act =
                                                    [](const auto& file, const auto& kept) {
                                                        fs::create_hard_link(file, kept);
                                                        fs::remove(journalOf(file));
                                                        fs::remove(indexOf(file));
                                                        fs::remove(file);
                                                    },
                                                .told = gone});
    row("moved", {.act = [](const auto& file, const auto& kept) { fs::rename(file, kept); }, .told = gone});
    row("another one in its place", {.act =
                                         [](const auto& file, const auto& kept) {
                                             fs::create_hard_link(file, kept);
                                             fs::rename(file.parent_path() / "backup", file);
                                         },
                                     .told = gone});
    row("folder moved", {.act = [](const auto& file,
                                   const auto& kept) { fs::rename(file.parent_path(), kept.parent_path() / "moved"); },
                         .where = "moved/service.sqlite",
                         .told = gone});
    row("overwritten", {.act = [](const auto& file, const auto&) { overwrite(file.parent_path() / "backup", file); },
                        .reads = false,
                        .destroys = true,
                        .told = u"the data file was changed by something else"_s});
    row("journal removed", {.act = [](const auto& file, const auto&) { fs::remove(journalOf(file)); },
                            .goesOn = true,
                            .where = "deep/service.sqlite",
                            .journal = true});
    row("journal and index removed", {.act =
                                          [](const auto& file, const auto&) {
                                              fs::remove(journalOf(file));
                                              fs::remove(indexOf(file));
                                          },
                                      .goesOn = true,
                                      .where = "deep/service.sqlite",
                                      .journal = true});
    row("index removed", {.act = [](const auto& file, const auto&) { fs::remove(indexOf(file)); },
                          .goesOn = true,
                          .where = "deep/service.sqlite",
                          .journal = true});
    row("another journal in its place",
        {.act =
             [](const auto& file, const auto& kept) {
                 fs::copy_file(journalOf(file), kept);
                 fs::rename(kept, journalOf(file));
             },
         .where = "deep/service.sqlite",
         .told = u"the journal beside the data file, which ends in -wal, was replaced"_s});
    row("journal emptied", {.act = [](const auto& file, const auto&) { fs::resize_file(journalOf(file), 0); },
                            .reads = false,
                            .destroys = true,
                            .told = u"overwritten or cut off"_s});
    row("journal cut in its middle",
        {.act = [](const auto& file,
                   const auto&) { fs::resize_file(journalOf(file), fs::file_size(journalOf(file)) / 2); },
         .reads = false,
         .destroys = true,
         .told = u"overwritten or cut off"_s});
}

void LostFilesTest::whatIsSaidToBeSavedIsFoundAgain()
{
    QFETCH(Deed, deed);
    Scenario s;
    const fs::path folder = s.folder.path().toStdString();
    const fs::path file = folder / "deep/service.sqlite";
    s.add({{u"hours"_s, u"1"_s}, {u"notes"_s, u"first"_s}});
    fs::copy_file(file, file.parent_path() / "backup");

    std::mutex mutex;
    std::condition_variable progress;
    int sent = 0;
    bool done = false;
    std::thread somebody([&] {
        std::unique_lock lock(mutex);
        progress.wait(lock, [&] { return sent >= 20; });
        lock.unlock();
        // While the next changes are on their way.
        deed.act(file, folder / "kept");
        lock.lock();
        done = true;
        progress.notify_all();
    });
    QStringList saved{u"first"_s};
    QStringList savedAfter;
    Answer refused;
    for (int i = 0; i < 50; ++i) {
        bool after = false;
        {
            std::unique_lock lock(mutex);
            sent = i;
            progress.notify_all();
            // The last ones surely come after it.
            if (i == 40)
                progress.wait(lock, [&] { return done; });
            after = done;
        }
        const QString note = u"entry %1"_s.arg(i);
        const auto answer = s.post(u"/daily/add"_s, requestBody({{u"project_id"_s, QString::number(s.acme.website)},
                                                                 {u"task_id"_s, QString::number(s.acme.design)},
                                                                 {u"hours"_s, u"0.5"_s},
                                                                 {u"notes"_s, note}}));
        QVERIFY2(answer.status == 200 || answer.status == 500, answer.body.constData());
        if (answer.status == 200)
            (after ? savedAfter : saved).append(note);
        else
            refused = answer;
    }
    somebody.join();
    QVERIFY(saved.size() >= 20);
    if (deed.goesOn) {
        QCOMPARE(refused.body, QByteArray());
        QVERIFY(savedAfter.size() >= 10);
    } else {
        QCOMPARE(savedAfter, QStringList());
        QCOMPARE(refused.text(u"kind"_s), u"Storage"_s);
        QVERIFY2(refused.text(u"message"_s).contains(deed.told), refused.body.constData());
    }
    const auto day = s.today();
    QCOMPARE(day.status, deed.reads ? 200 : 500);
    if (deed.reads)
        QCOMPARE(without(saved + savedAfter, day.texts(u"notes"_s)), QStringList());
    else
        QVERIFY2(day.text(u"message"_s).contains(deed.told), day.body.constData());

    const fs::path where = folder / (deed.where.empty() ? "kept" : deed.where);
    if (!deed.destroys)
        QCOMPARE(without(saved + savedAfter, notesIn(where, deed.journal)), QStringList());
    s.service.reset();
    if (!deed.destroys)
        QCOMPARE(without(saved + savedAfter, notesIn(where, true)), QStringList());
    // Nothing was mixed into a file that somebody has put there.
    if (deed.where.empty() && !deed.destroys && fs::exists(file))
        QCOMPARE(without(notesIn(file, true), {u"first"_s, QString()}), QStringList());
}

void LostFilesTest::goesOnWhenTheFileIsBack()
{
    Scenario s;
    const QString file = s.folder.filePath(u"deep/service.sqlite"_s);
    const QString away = s.folder.filePath(u"away"_s);
    for (const auto& place : {file, QFileInfo(file).path()}) {
        const int before = static_cast<int>(s.today().texts(u"id"_s).size());
        QVERIFY(QFile::rename(place, away) || QDir().rename(place, away));
        QCOMPARE(s.add({{u"hours"_s, u"1"_s}}), QString());
        QVERIFY(QFile::rename(away, place) || QDir().rename(away, place));
        QVERIFY(!s.add({{u"hours"_s, u"1"_s}}).isEmpty());
        QCOMPARE(s.today().texts(u"id"_s).size(), before + 1);
    }
    s.restart();
    QCOMPARE(s.today().texts(u"id"_s).size(), 2);
}

void LostFilesTest::othersMayBringTheJournalIn()
{
    Scenario s;
    s.add({{u"hours"_s, u"1"_s}});
    SQLite::Database other(s.folder.filePath(u"deep/service.sqlite"_s).toStdString(), SQLite::OPEN_READWRITE);
    for (const char* how : {"PASSIVE", "FULL", "RESTART", "TRUNCATE"}) {
        QVERIFY(!s.add({{u"hours"_s, u"1"_s}}).isEmpty());
        // Into the data file, which nobody else may do.
        other.exec(std::string("PRAGMA wal_checkpoint(") + how + ")");
        QVERIFY(!s.add({{u"hours"_s, u"1"_s}}).isEmpty());
        other.exec("UPDATE entries SET notes = hex(randomblob(40000))");
    }
    // More than SQLite lets the journal have, so that changes of the service bring it in, too.
    for (int i = 0; i < 40; ++i) {
        other.exec("UPDATE entries SET notes = hex(randomblob(40000))");
        QVERIFY(!s.add({{u"hours"_s, u"0.1"_s}}).isEmpty());
        QCOMPARE(s.get(u"/account/who_am_i"_s).status, 200);
    }
}

void LostFilesTest::reachesPeople()
{
    Scenario s;
    QStringList told;
    const auto file = s.folder.filePath(u"deep/other.sqlite"_s);
    localservice::Service service(
        {.dataFile = file.toStdString(), .ownerPassword = "own", .tellTrouble = [&](const std::string& sentence) {
             told.append(QString::fromStdString(sentence));
         }});
    QVERIFY((*service.database())->ensureSampleAccount("me@localhost"));
    QVERIFY(service.start());
    HttpClient program(QString::fromStdString(service.url("local")), u"me@localhost"_s, u"own"_s);
    const auto toggled = [&] { return program.get(u"/daily/timer/1"_s); };
    QCOMPARE(toggled().status, 200);
    QVERIFY(QFile::rename(file, file + u".away"_s));
    const auto refused = toggled();
    QCOMPARE(toggled().status, 500);
    // Once each time, however many changes are refused.
    QCOMPARE(told, QStringList{refused.text(u"message"_s)});
    QVERIFY2(told.first().contains(u"quit Quillon"_s), qPrintable(told.first()));

    const QStringList browser{u"Accept: text/html"_s, u"Sec-Fetch-Site: none"_s, u"Sec-Fetch-Mode: navigate"_s,
                              u"Sec-Fetch-Dest: document"_s};
    const auto link = service.signInLink("local", "me@localhost", "/daily");
    HttpClient stranger(QString(), {}, {});
    const auto page = stranger.send("GET", QString::fromStdString(link), {}, browser);
    QCOMPARE(page.status, 500);
    QVERIFY2(page.body.contains("the data file was moved"), page.body.constData());

    QVERIFY(QFile::rename(file + u".away"_s, file));
    QCOMPARE(toggled().status, 200);
    QCOMPARE(told.size(), 2);
    QCOMPARE(told.last(), QString());
}

QTEST_GUILESS_MAIN(LostFilesTest)
#include "LostFilesTest.moc"
