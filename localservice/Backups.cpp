#include "Backups.h"

#include "Storage.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace localservice {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view Ending = ".sqlite";
constexpr std::string_view ReplacedEnding = "-replaced.sqlite";
constexpr int BusyTime = 5000; // milliseconds
constexpr Seconds PauseAfterFailure = 600;

void removeDatabase(const std::string& file)
{
    std::error_code ignored; // what is not there need not go
    for (const char* suffix : {"", "-journal", "-wal", "-shm"})
        fs::remove(file + suffix, ignored);
}

/// Removes an unfinished file whatever happens.
struct Unfinished
{
    std::string file;

    explicit Unfinished(std::string name) : file(std::move(name)) { removeDatabase(file); }
    ~Unfinished() { removeDatabase(file); }
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;

    /// Makes it anew, readable by its owner only.
    Result<void> create() const
    {
        const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (descriptor < 0)
            return tl::unexpected("cannot write " + file + ": " + std::strerror(errno));
        ::close(descriptor);
        return {};
    }
};

void toDisk(const std::string& name)
{
    // Best effort: what is not on the disk after a power cut was not there before either.
    if (const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC); descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

/// Why a copy does not count, or nothing.
std::optional<std::string> wrongWith(SQLite::Database& copy)
{
    SQLite::Statement check(copy, "PRAGMA integrity_check(1)");
    const std::string found = check.executeStep() ? check.getColumn(0).getString() : "nothing";
    return found == "ok" ? std::nullopt : std::optional(found);
}

/// All pages of `from`, as they were at one moment. SQLite reports a full disk as an exception.
void copyPages(SQLite::Database& from, SQLite::Database& to)
{
    SQLite::Backup backup(to, from);
    const int result = backup.executeStep();
    if (result != SQLITE_DONE)
        throw SQLite::Exception(sqlite3_errstr(result), result);
}

/// One file that needs no journal beside it.
void makeSelfContained(SQLite::Database& copy)
{
    copy.exec("PRAGMA journal_mode = DELETE");
}

Seconds writtenAt(const std::string& file)
{
    struct stat status
    {
    };
    return ::stat(file.c_str(), &status) == 0 ? status.st_mtim.tv_sec : 0;
}

std::string twoDigits(Minutes number)
{
    return (number < 10 ? "0" : "") + std::to_string(number);
}

/// What the copy does not bring back, from the data as they are. Both are attached to one connection.
constexpr const char* Carry = R"sql(
UPDATE main.people SET password_hash = COALESCE((SELECT NULLIF(p.password_hash, '') FROM present.people p
    WHERE p.id = main.people.id AND p.account_id = main.people.account_id AND p.email = main.people.email), password_hash);
DELETE FROM main.sessions;
INSERT INTO main.sessions SELECT s.* FROM present.sessions s JOIN present.people p ON p.id = s.person_id
    JOIN main.people m ON m.id = p.id AND m.account_id = p.account_id AND m.email = p.email;
UPDATE main.accounts SET cache_version = 1 + MAX(cache_version,
    COALESCE((SELECT cache_version FROM present.accounts a WHERE a.id = main.accounts.id), 0));
UPDATE main.sqlite_sequence SET seq = MAX(seq,
    COALESCE((SELECT s.seq FROM present.sqlite_sequence s WHERE s.name = main.sqlite_sequence.name), 0));
INSERT INTO main.sqlite_sequence (name, seq) SELECT name, seq FROM present.sqlite_sequence
    WHERE name NOT IN (SELECT name FROM main.sqlite_sequence);
)sql";

} // namespace

std::string sizeText(std::uintmax_t bytes)
{
    if (bytes < 1'000'000)
        return std::to_string((bytes + 999) / 1000) + " kB";
    const auto tenths = (bytes + 50'000) / 100'000;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

Backups::Backups(const std::string& dataFile)
{
    std::error_code error;
    const fs::path file = fs::absolute(dataFile, error);
    m_file = file.string();
    m_stem = file.stem().string();
    m_folder = (file.parent_path() / (m_stem + "-backups")).string();
}

std::vector<Backup> Backups::all() const
{
    std::vector<Backup> result;
    std::error_code error;
    for (fs::directory_iterator at(m_folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code gone;
        const std::string name = at->path().filename().string();
        if (!name.starts_with(m_stem + "-") || !name.ends_with(Ending) || !at->is_regular_file(gone) || gone)
            continue;
        const auto size = at->file_size(gone);
        if (!gone)
            result.push_back({name, writtenAt(at->path().string()), size, name.ends_with(ReplacedEnding)});
    }
    std::sort(result.begin(), result.end(), [](const Backup& one, const Backup& other) {
        return one.made != other.made ? one.made > other.made : one.name > other.name;
    });
    return result;
}

Result<void> Backups::makeFolder() const
{
    if (::mkdir(m_folder.c_str(), 0700) != 0 && errno != EEXIST)
        return tl::unexpected("cannot make the folder " + m_folder + ": " + std::strerror(errno));
    ::chmod(m_folder.c_str(), 0700);
    return {};
}

Result<void> Backups::copyTo(const std::string& name, Seconds now) const
{
    const Unfinished part(pathOf(name + ".part"));
    if (auto made = part.create(); !made)
        return made;
    try {
        SQLite::Database from(m_file, SQLite::OPEN_READONLY, BusyTime);
        SQLite::Database to(part.file, SQLite::OPEN_READWRITE, BusyTime);
        copyPages(from, to);
        makeSelfContained(to);
        if (const auto wrong = wrongWith(to); wrong && !name.ends_with(ReplacedEnding))
            return tl::unexpected("the data file is damaged (" + *wrong + ")");
    } catch (const SQLite::Exception& error) {
        return tl::unexpected("cannot write " + pathOf(name) + ": " + error.what());
    }
    // When it was made, by the clock that says when the next one is due.
    const std::array times{timespec{now, 0}, timespec{now, 0}};
    ::utimensat(AT_FDCWD, part.file.c_str(), times.data(), 0);
    toDisk(part.file);
    if (::rename(part.file.c_str(), pathOf(name).c_str()) != 0)
        return tl::unexpected("cannot write " + pathOf(name) + ": " + std::strerror(errno));
    toDisk(m_folder);
    return {};
}

Result<void> Backups::makeDaily(Seconds now)
{
    const std::string name = m_stem + "-" + isoDayText(localDay(now)) + std::string(Ending);
    std::error_code error;
    if (fs::exists(pathOf(name), error))
        return {};
    return makeFolder().and_then([&] { return copyTo(name, now); }).map([&] { removeOldest(false); });
}

void Backups::removeOldest(bool replaced) const
{
    std::size_t kept = 0;
    for (const auto& copy : all()) {
        if (copy.replaced == replaced && ++kept > MostKept)
            removeDatabase(pathOf(copy.name));
    }
}

/// `to` becomes what `from` has, in today's form, with what is carried over from the present data.
Result<void> Backups::prepare(const std::string& from, const std::string& to) const
{
    try {
        SQLite::Database source(from, SQLite::OPEN_READONLY, BusyTime);
        if (!source.tableExists("accounts") || !source.tableExists("entries"))
            return tl::unexpected(from + " is not a copy of this service's data");
        SQLite::Database copy(to, SQLite::OPEN_READWRITE, BusyTime);
        copyPages(source, copy);
        if (const auto wrong = wrongWith(copy))
            return tl::unexpected(from + " is damaged: " + *wrong);
    } catch (const SQLite::Exception& error) {
        return tl::unexpected("cannot read " + from + ": " + error.what());
    }
    if (auto opened = Storage::open(to); !opened)
        return tl::unexpected(opened.error());
    const Seconds made = writtenAt(from);
    SQLite::Database copy(to, SQLite::OPEN_READWRITE, BusyTime);
    std::string running = "0";
    try {
        SQLite::Statement attach(copy, "ATTACH ? AS present");
        attach.bind(1, m_file);
        attach.exec();
        SQLite::Transaction transaction(copy);
        copy.exec(Carry);
        transaction.commit();
        running = "(SELECT COUNT(*) FROM present.entries p WHERE p.id = e.id AND p.timer_started = e.timer_started)";
    } catch (const SQLite::Exception&) {
        // Nothing can be carried over from damaged data; the copy alone is better than they are.
    }
    try {
        // A timer that ran then has not been running ever since.
        SQLite::Statement stop(copy, "UPDATE main.entries AS e SET seconds = seconds + MAX(0, ?1 - timer_started),"
                                     " ended_at = CASE WHEN started_at IS NULL THEN NULL ELSE ?2 END,"
                                     " timer_started = NULL WHERE timer_started IS NOT NULL AND NOT " +
                                         running);
        SQLite::bind(stop, made, localMinutes(made));
        stop.exec();
        if (running != "0")
            copy.exec("DETACH present");
        makeSelfContained(copy);
    } catch (const SQLite::Exception& error) {
        return tl::unexpected("cannot restore " + from + ": " + error.what());
    }
    return {};
}

Result<std::string> Backups::keepPresent(Seconds now) const
{
    const Minutes minutes = localMinutes(now);
    const std::string name = m_stem + "-" + isoDayText(localDay(now)) + "-" + twoDigits(minutes / 60) +
                             twoDigits(minutes % 60) + twoDigits(static_cast<Minutes>(now % 60)) +
                             std::string(ReplacedEnding);
    return copyTo(name, now).map([&] {
        removeOldest(true);
        return name;
    });
}

/// Damaged data are put aside as they are, and the copy takes their place.
Result<void> Backups::replaceFile(const std::string& with) const
{
    for (const char* suffix : {"-wal", "-shm", ""}) {
        const std::string file = m_file + suffix;
        if (::rename(file.c_str(), (file + ".damaged").c_str()) != 0 && errno != ENOENT)
            return tl::unexpected("cannot put " + file + " aside: " + std::strerror(errno));
    }
    if (::rename(with.c_str(), m_file.c_str()) != 0)
        return tl::unexpected("cannot write " + m_file + ": " + std::strerror(errno));
    return {};
}

Result<std::string> Backups::restore(const std::string& copy, Seconds now)
{
    std::error_code error;
    const bool isOurs = copy.find('/') == std::string::npos && fs::exists(pathOf(copy), error);
    const std::string from = isOurs ? pathOf(copy) : fs::absolute(copy, error).string();
    if (!fs::is_regular_file(from, error))
        return tl::unexpected("there is no copy " + copy);
    if (auto made = makeFolder(); !made)
        return tl::unexpected(made.error());
    const Unfinished part(pathOf(m_stem + ".restoring"));
    const auto prepared = part.create().and_then([&] { return prepare(from, part.file); });
    if (!prepared)
        return tl::unexpected(prepared.error());
    if (!fs::exists(m_file, error))
        return replaceFile(part.file).map([] { return std::string(); });
    try {
        // In use or not: for everybody who has the file open it is one transaction.
        SQLite::Database data(m_file, SQLite::OPEN_READWRITE, BusyTime);
        if (wrongWith(data))
            throw SQLite::Exception("", SQLITE_CORRUPT);
        auto kept = keepPresent(now);
        if (!kept)
            return kept;
        SQLite::Database source(part.file, SQLite::OPEN_READONLY, BusyTime);
        copyPages(source, data);
        return kept;
    } catch (const SQLite::Exception& exception) {
        if (exception.getErrorCode() != SQLITE_NOTADB && exception.getErrorCode() != SQLITE_CORRUPT)
            return tl::unexpected("cannot write " + m_file + ": " + exception.what());
    }
    return replaceFile(part.file).map([&] { return m_file + ".damaged"; });
}

DailyBackups::DailyBackups(const std::string& dataFile, Clock clock, Tell tell)
    : m_copies(dataFile), m_clock(std::move(clock)), m_tell(std::move(tell))
{
}

DailyBackups::~DailyBackups()
{
    finish();
}

void DailyBackups::look()
{
    const Seconds now = std::chrono::system_clock::to_time_t(m_clock());
    Seconds due = m_due;
    const Day tomorrow = std::chrono::sys_days(localDay(now)) + std::chrono::days(1);
    if (now < due || !m_due.compare_exchange_strong(due, momentOf(tomorrow, 0)))
        return;
    const std::lock_guard lock(m_threadMutex);
    if (m_thread.joinable())
        m_thread.join();
    m_thread = std::thread([this, now] { make(now); });
}

void DailyBackups::finish()
{
    const std::lock_guard lock(m_threadMutex);
    if (m_thread.joinable())
        m_thread.join();
}

std::optional<std::string> DailyBackups::problem() const
{
    const std::lock_guard lock(m_mutex);
    return m_problem;
}

void DailyBackups::make(Seconds now)
{
    const auto made = m_copies.makeDaily(now);
    const auto problem =
        made ? std::nullopt : std::optional("No copy of the data could be made: " + made.error() + ".");
    bool isNews = false;
    {
        const std::lock_guard lock(m_mutex);
        isNews = problem != m_problem;
        m_problem = problem;
    }
    if (problem)
        m_due = now + PauseAfterFailure;
    if (isNews && m_tell)
        m_tell(problem.value_or(std::string()));
}

} // namespace localservice
