#include "Scenario.h"

#include <QTest>

#include <filesystem>
#include <fstream>
#include <random>
#include <sqlite3.h>

namespace fs = std::filesystem;

namespace {

/// A disk that holds written blocks back until they are synced, and whose power fails at a chosen moment. As SQLite's
/// default: a file is written at once, but what was there before is kept until the next sync of that file.
class Disk
{
public:
    Disk()
    {
        s_disk = this;
        m_vfs = *m_real;
        m_vfs.zName = "power-cut";
        m_vfs.szOsFile = int(sizeof(File)) + m_real->szOsFile;
        m_vfs.xOpen = open;
        sqlite3_vfs_register(&m_vfs, 1);
    }
    ~Disk() { sqlite3_vfs_register(m_real, 1); }
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    /// The power fails after so many more writes and syncs.
    void failAfter(int operations) { m_left = operations; }
    bool hasPower() const { return m_left > 0; }

    /// Loses any of what was not synced, as `random` will have it, and has power again.
    void restart(std::mt19937& random)
    {
        for (auto& [name, writes] : m_unsynced) {
            std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
            const auto put = [&](const Write& write, const std::string& bytes) {
                file.seekp(write.offset);
                file.write(bytes.data(), std::streamsize(bytes.size()));
            };
            for (auto write = writes.rbegin(); write != writes.rend(); ++write)
                put(*write, write->before);
            for (const Write& write : writes) {
                if (random() % 2 == 0)
                    put(write, write.after);
            }
        }
        m_unsynced.clear();
        m_left = INT_MAX;
    }

private:
    struct File
    {
        sqlite3_file base;
        const char* name;
        sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
    };
    struct Write
    {
        sqlite3_int64 offset;
        std::string before; ///< zeros beyond the end of the file
        std::string after;
    };

    static int open(sqlite3_vfs*, const char* name, sqlite3_file* opened, int flags, int* out)
    {
        auto* file = reinterpret_cast<File*>(opened);
        const int result = s_disk->m_real->xOpen(s_disk->m_real, name, file->real(), flags, out);
        file->name = name;
        file->base.pMethods = nullptr;
        if (result != SQLITE_OK)
            return result;
        static sqlite3_io_methods methods = *file->real()->pMethods;
        forward(methods);
        file->base.pMethods = &methods;
        return result;
    }

    template <auto member, class... Arguments>
    static auto pass(sqlite3_file* file, Arguments... arguments)
    {
        sqlite3_file* real = reinterpret_cast<File*>(file)->real();
        return (real->pMethods->*member)(real, arguments...);
    }

    static void forward(sqlite3_io_methods& methods)
    {
        using Methods = sqlite3_io_methods;
        methods.xClose = pass<&Methods::xClose>;
        methods.xRead = pass<&Methods::xRead>;
        methods.xWrite = write;
        methods.xTruncate = pass<&Methods::xTruncate>;
        methods.xSync = sync;
        methods.xFileSize = pass<&Methods::xFileSize>;
        methods.xLock = pass<&Methods::xLock>;
        methods.xUnlock = pass<&Methods::xUnlock>;
        methods.xCheckReservedLock = pass<&Methods::xCheckReservedLock>;
        methods.xFileControl = pass<&Methods::xFileControl>;
        methods.xSectorSize = pass<&Methods::xSectorSize>;
        methods.xDeviceCharacteristics = [](sqlite3_file*) { return 0; }; // as a disk of which nothing is known
        methods.xShmMap = pass<&Methods::xShmMap>;
        methods.xShmLock = pass<&Methods::xShmLock>;
        methods.xShmBarrier = pass<&Methods::xShmBarrier>;
        methods.xShmUnmap = pass<&Methods::xShmUnmap>;
        methods.xFetch = [](sqlite3_file*, sqlite3_int64, int, void** page) { return *page = nullptr, SQLITE_OK; };
        methods.xUnfetch = [](sqlite3_file*, sqlite3_int64, void*) { return SQLITE_OK; };
    }

    static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset)
    {
        if (!s_disk->spend())
            return SQLITE_IOERR_WRITE;
        Write made{offset, std::string(std::size_t(size), '\0'), {static_cast<const char*>(bytes), std::size_t(size)}};
        pass<&sqlite3_io_methods::xRead>(file, static_cast<void*>(made.before.data()), size, offset);
        s_disk->m_unsynced[reinterpret_cast<File*>(file)->name].push_back(std::move(made));
        return pass<&sqlite3_io_methods::xWrite>(file, bytes, size, offset);
    }

    static int sync(sqlite3_file* file, int /*flags*/)
    {
        if (!s_disk->spend())
            return SQLITE_IOERR_FSYNC;
        s_disk->m_unsynced.erase(reinterpret_cast<File*>(file)->name);
        return SQLITE_OK; // this machine's power stays on
    }

    bool spend() { return m_left > 0 && --m_left > 0; }

    static inline Disk* s_disk = nullptr;
    sqlite3_vfs* const m_real = sqlite3_vfs_find(nullptr);
    sqlite3_vfs m_vfs{};
    int m_left = INT_MAX;
    std::map<std::string, std::vector<Write>> m_unsynced;
};

} // namespace

class PowerCutTest : public QObject
{
    Q_OBJECT
private slots:
    /// Wherever the power fails, what was acknowledged is there, and nothing by halves.
    void acknowledgedIsThere()
    {
        std::mt19937 random(1);
        int acknowledged = 0;
        for (int moment = 1; moment <= 400; moment += 3) {
            const QTemporaryDir folder;
            const std::string file = folder.filePath(QStringLiteral("data.sqlite")).toStdString();
            Disk disk;
            std::vector<localservice::Id> kept;
            Scenario::Account account;
            localservice::Person person;
            {
                const auto database = localservice::Database::open(file);
                QVERIFY2(database, database ? "" : database.error().c_str());
                account = Scenario::fill(support::TestData(**database), "acme", false);
                person.id = account.person;
                person.account = account.id;
                disk.failAfter(moment);
                for (int i = 0; i < 300 && disk.hasPower(); ++i) {
                    localservice::EntryFields fields;
                    fields.project = account.website;
                    fields.task = account.design;
                    fields.hours = 1;
                    fields.notes = std::string(std::size_t(random() % 3000), 'x');
                    if (const auto made =
                            localservice::Timesheet((*database)->storage(), person, Scenario::Start + i).add(fields))
                        kept.push_back(made->id);
                }
            }
            QVERIFY(!disk.hasPower());
            disk.restart(random);
            fs::remove(file + "-shm");
            acknowledged += int(kept.size());
            const auto database = localservice::Database::open(file);
            QVERIFY2(database, database ? "" : database.error().c_str());
            localservice::Timesheet timesheet((*database)->storage(), person, Scenario::Start);
            for (const localservice::Id id : kept)
                QVERIFY2(timesheet.entry(id),
                         qPrintable(QStringLiteral("cut %1: entry %2 is lost").arg(moment).arg(id)));
            const auto intact = (*database)->storage().look(
                [](SQLite::Database& data) -> tl::expected<std::string, localservice::Problem> {
                    return data.execAndGet("PRAGMA integrity_check").getString();
                });
            QCOMPARE(intact.value_or("unreadable"), std::string("ok"));
        }
        QVERIFY(acknowledged > 1000);
    }
};

QTEST_GUILESS_MAIN(PowerCutTest)
#include "PowerCutTest.moc"
