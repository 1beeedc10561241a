#include "../support/InRow.h"
#include "Scenario.h"

#include <QFileInfo>
#include <QTest>

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// What somebody does to the files below the service, and what comes of it.
struct Deed
{
    const char* commands;        ///< of a shell in the test's folder; $f is the data file
    bool goesOn = false;         ///< changes are saved all the same
    QString told = {};           ///< why not
    bool reads = true;           ///< what is there can still be read
    const char* where = nullptr; ///< the file that has all that was saved; none where the deed destroyed it
    bool journal = false;        ///< belongs to it
    const char* same = nullptr;  ///< the file has its bytes now, and keeps them
};

/// The notes in the files as they are on the disk at this moment: what a power cut leaves.
QStringList notesIn(const fs::path& file, bool journal)
{
    const QTemporaryDir folder;
    const fs::path copy = folder.filePath(u"copy.sqlite"_s).toStdString();
    fs::copy_file(file, copy);
    if (const fs::path its = file.string() + "-wal"; journal && fs::exists(its))
        fs::copy_file(its, copy.string() + "-wal");
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

QByteArray bytesOf(const fs::path& path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : "unreadable";
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
    void whatIsSaidToBeSavedIsFoundAgain()
    {
        const QString gone = u"the data file was moved, removed or replaced"_s;
        const QString changed = u"the data file was changed by something else"_s;
        const QString replaced = u"the journal beside the data file, which ends in -wal, was replaced"_s;
        const QString cut = u"overwritten or cut off"_s;
        constexpr const char* same = "deep/service.sqlite";
        const std::tuple<const char*, Deed> rows[] = {
            {"removed", {"ln $f kept; rm $f", false, gone, true, "kept"}},
            {"removed with all of it", {"ln $f kept; rm $f*", false, gone, true, "kept"}},
            {"moved", {"mv $f kept", false, gone, true, "kept"}},
            {"another in its place", {"ln $f kept; mv backup $f", false, gone, true, "kept"}},
            {"folder moved", {"mv deep moved", false, gone, true, "moved/service.sqlite"}},
            {"copied over", {"cp backup $f", false, changed, false, nullptr, false, "backup"}},
            {"journal removed", {"rm $f-wal", true, {}, true, same, true}},
            {"journal and index removed", {"rm $f-wal $f-shm", true, {}, true, same, true}},
            {"index removed", {"rm $f-shm", true, {}, true, same, true}},
            {"another journal in its place", {"cp $f-wal x; mv x $f-wal", false, replaced, true, same}},
            {"journal emptied", {": > $f-wal", false, cut, false}},
            {"journal cut", {"truncate -s 50K $f-wal", false, cut, false}}};
        for (const auto& [name, deed] : rows) {
            const support::InRow row(name);
            Scenario s;
            const fs::path folder = s.folder.path().toStdString();
            const fs::path file = folder / "deep/service.sqlite";
            s.add(u"hours=1 notes=first"_s);
            fs::copy_file(file, folder / "backup");
            const std::string commands =
                "cd " + folder.string() + " && f=deep/service.sqlite && { " + deed.commands + "; }";

            std::mutex mutex;
            std::condition_variable progress;
            int sent = 0;
            bool done = false;
            std::thread somebody([&] {
                std::unique_lock lock(mutex);
                progress.wait(lock, [&] { return sent >= 20; });
                lock.unlock();
                // While the next changes are on their way.
                const int failed = std::system(commands.c_str());
                lock.lock();
                done = failed == 0;
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
                const QString note = u"entry-%1"_s.arg(i);
                const auto answer = s.book(u"hours=0.5 notes="_s + note);
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

            // At this moment, as after a power cut, and when the service has ended.
            if (deed.where)
                QCOMPARE(without(saved + savedAfter, notesIn(folder / deed.where, deed.journal)), QStringList());
            s.service.reset();
            if (deed.where)
                QCOMPARE(without(saved + savedAfter, notesIn(folder / deed.where, true)), QStringList());
            // Nothing was mixed into a file that somebody has put there.
            if (deed.same)
                QVERIFY(bytesOf(file) == bytesOf(folder / deed.same));
            if (deed.where && folder / deed.where != file && fs::exists(file))
                QCOMPARE(without(notesIn(file, true), {u"first"_s, QString()}), QStringList());
        }
    }

    void goesOnWhenTheFileIsBack()
    {
        Scenario s;
        const QString file = s.folder.filePath(u"deep/service.sqlite"_s);
        const QString away = s.folder.filePath(u"away"_s);
        for (const auto& place : {file, QFileInfo(file).path()}) {
            const int before = static_cast<int>(s.today().texts(u"id"_s).size());
            QVERIFY(QFile::rename(place, away) || QDir().rename(place, away));
            QCOMPARE(s.add(u"hours=1"_s), QString());
            QVERIFY(QFile::rename(away, place) || QDir().rename(away, place));
            QVERIFY(!s.add(u"hours=1"_s).isEmpty());
            QCOMPARE(s.today().texts(u"id"_s).size(), before + 1);
        }
        s.restart();
        QCOMPARE(s.today().texts(u"id"_s).size(), 2);
    }

    void othersMayBringTheJournalIn()
    {
        Scenario s;
        s.add(u"hours=1"_s);
        SQLite::Database other(s.folder.filePath(u"deep/service.sqlite"_s).toStdString(), SQLite::OPEN_READWRITE);
        for (const char* how : {"PASSIVE", "FULL", "RESTART", "TRUNCATE"}) {
            QVERIFY(!s.add(u"hours=1"_s).isEmpty());
            // Into the data file, which nobody else may do.
            other.exec(std::string("PRAGMA wal_checkpoint(") + how + ")");
            QVERIFY(!s.add(u"hours=1"_s).isEmpty());
            other.exec("UPDATE entries SET notes = hex(randomblob(40000))");
        }
        // More than SQLite lets the journal have, so that changes of the service bring it in, too.
        for (int i = 0; i < 40; ++i) {
            other.exec("UPDATE entries SET notes = hex(randomblob(40000))");
            QVERIFY(!s.add(u"hours=0.1"_s).isEmpty());
            QCOMPARE(s.get(u"/account/who_am_i"_s).status, 200);
        }
    }

    void signsNobodyOut()
    {
        Scenario s;
        SQLite::Database other(s.folder.filePath(u"deep/service.sqlite"_s).toStdString(), SQLite::OPEN_READWRITE);
        other.exec("ALTER TABLE people RENAME TO folk");
        const auto answer = s.get(u"/daily"_s);
        QCOMPARE(answer.status, 500);
        QCOMPARE(answer.text(u"kind"_s), u"Storage"_s);
        other.exec("ALTER TABLE folk RENAME TO people");
        QCOMPARE(s.get(u"/daily"_s).status, 200);
    }

    void reachesPeople()
    {
        Scenario s;
        QStringList told;
        // Where somebody keeps it elsewhere, its journal is there, too.
        const auto file = s.folder.filePath(u"other.sqlite"_s);
        QVERIFY(QFile::link(s.folder.filePath(u"deep/elsewhere.sqlite"_s), file));
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
};

QTEST_GUILESS_MAIN(LostFilesTest)
#include "LostFilesTest.moc"
