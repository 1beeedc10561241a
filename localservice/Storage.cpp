#include "Storage.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace localservice {

namespace {

constexpr int SchemaVersion = 3;

// Ids are never reused, so a late request for a deleted entry cannot hit another one. Two rules are in the schema,
// where no code path can forget them: one running timer per person, and a new cache version whenever anything that
// clients cache of the catalog changes.
constexpr const char* FirstSchema = R"sql(
CREATE TABLE accounts (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    subdomain TEXT NOT NULL UNIQUE COLLATE NOCASE,
    name TEXT NOT NULL,
    timezone TEXT NOT NULL,
    timestamp_timers INTEGER NOT NULL,
    cache_version INTEGER NOT NULL DEFAULT 1);
CREATE TABLE people (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    email TEXT NOT NULL COLLATE NOCASE,
    first_name TEXT NOT NULL,
    last_name TEXT NOT NULL,
    admin INTEGER NOT NULL,
    rate REAL NOT NULL,
    password_hash TEXT NOT NULL,
    UNIQUE (account_id, email));
CREATE TABLE clients (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    name TEXT NOT NULL,
    active INTEGER NOT NULL);
CREATE TABLE projects (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    client_id INTEGER NOT NULL REFERENCES clients(id),
    name TEXT NOT NULL,
    code TEXT NOT NULL,
    billable INTEGER NOT NULL,
    bill_by TEXT NOT NULL,
    rate REAL NOT NULL,
    active INTEGER NOT NULL);
CREATE TABLE tasks (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    name TEXT NOT NULL,
    rate REAL NOT NULL);
CREATE TABLE task_assignments (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    project_id INTEGER NOT NULL REFERENCES projects(id),
    task_id INTEGER NOT NULL REFERENCES tasks(id),
    billable INTEGER NOT NULL,
    rate REAL NOT NULL,
    UNIQUE (project_id, task_id));
CREATE TABLE user_assignments (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    project_id INTEGER NOT NULL REFERENCES projects(id),
    person_id INTEGER NOT NULL REFERENCES people(id),
    rate REAL NOT NULL,
    UNIQUE (project_id, person_id));
CREATE TABLE entries (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    person_id INTEGER NOT NULL REFERENCES people(id),
    project_id INTEGER NOT NULL REFERENCES projects(id),
    task_id INTEGER NOT NULL REFERENCES tasks(id),
    spent_at TEXT NOT NULL,
    notes TEXT NOT NULL,
    seconds INTEGER NOT NULL CHECK (seconds >= 0),
    timer_started INTEGER,
    started_at INTEGER,
    ended_at INTEGER,
    locked_reason TEXT,
    billed INTEGER NOT NULL DEFAULT 0,
    created_at INTEGER NOT NULL,
    updated_at INTEGER NOT NULL);
CREATE UNIQUE INDEX one_running_timer ON entries (person_id) WHERE timer_started IS NOT NULL;
)sql";

// Archived people cannot sign in and archived tasks cannot be booked; booked time stays. A session is found by the
// digest of its secret: reading the file does not let anyone sign in with it.
constexpr const char* SecondSchema = R"sql(
ALTER TABLE people ADD COLUMN active INTEGER NOT NULL DEFAULT 1;
ALTER TABLE tasks ADD COLUMN active INTEGER NOT NULL DEFAULT 1;
CREATE TABLE sessions (
    digest TEXT PRIMARY KEY,
    person_id INTEGER NOT NULL REFERENCES people(id),
    created_at INTEGER NOT NULL,
    used_at INTEGER NOT NULL);
)sql";

// Each contains all that a total needs, so that sums over years read no entry. They say nothing about the data, so they
// do not make another version of the schema: an older service uses the file as before.
constexpr const char* Indices = R"sql(
DROP INDEX IF EXISTS entries_of_day;
CREATE INDEX IF NOT EXISTS entries_by_day
    ON entries (person_id, spent_at, project_id, task_id, seconds, timer_started);
CREATE INDEX IF NOT EXISTS entries_by_work
    ON entries (project_id, task_id, person_id, spent_at, seconds, timer_started);
)sql";

// What was removed is kept for a while, outside the tables that everything else reads: it cannot appear anywhere by
// mistake. The ids of what an import made are consecutive, so their ends are enough to undo it.
constexpr const char* ThirdSchema = R"sql(
CREATE TABLE removals (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    person_id INTEGER,
    kind TEXT NOT NULL,
    record_id INTEGER NOT NULL,
    name TEXT NOT NULL,
    removed_at INTEGER NOT NULL);
CREATE TABLE removed_rows (
    removal_id INTEGER NOT NULL REFERENCES removals(id) ON DELETE CASCADE,
    table_name TEXT NOT NULL,
    row TEXT NOT NULL);
CREATE INDEX rows_of_removal ON removed_rows (removal_id, table_name);
CREATE TABLE imports (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    name TEXT NOT NULL,
    entries INTEGER NOT NULL,
    made_at INTEGER NOT NULL);
CREATE TABLE imported_rows (
    import_id INTEGER NOT NULL REFERENCES imports(id) ON DELETE CASCADE,
    table_name TEXT NOT NULL,
    first_id INTEGER NOT NULL,
    last_id INTEGER NOT NULL);
)sql";

std::string cacheVersionTriggers()
{
    std::string sql;
    for (const std::string table : {"clients", "projects", "tasks", "task_assignments", "user_assignments", "people"}) {
        const std::string columns = table == "people" ? " OF email, first_name, last_name, admin, rate" : "";
        for (const auto& [event, row] :
             {std::pair<std::string, std::string>{"INSERT", "NEW"}, {"UPDATE" + columns, "NEW"}, {"DELETE", "OLD"}}) {
            sql += "CREATE TRIGGER " + table + "_" + event.substr(0, 6) + " AFTER " + event + " ON " + table +
                   " BEGIN UPDATE accounts SET cache_version = cache_version + 1 WHERE id = " + row +
                   ".account_id; END;";
        }
    }
    return sql;
}

void migrate(SQLite::Database& database)
{
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    if (version > SchemaVersion)
        throw SQLite::Exception("it was written by a newer version of the service");
    if (version < 1)
        database.exec(FirstSchema + cacheVersionTriggers());
    if (version < 2)
        database.exec(SecondSchema);
    if (version < 3)
        database.exec(ThirdSchema);
    database.exec(Indices);
    database.exec("PRAGMA user_version = " + std::to_string(SchemaVersion));
    transaction.commit();
}

using Finding = FileWatch::Finding;

/// Nothing read then is reliable, and a checkpoint would do harm.
bool isUnreadable(Finding found)
{
    return found == Finding::FileOverwritten || found == Finding::JournalCut || found == Finding::IndexGone;
}

/// What happened and what to do, for people. `stop` is how to end the program.
std::string sentence(Finding found, const std::string& stop)
{
    switch (found) {
    case Finding::Nothing:
        return {};
    case Finding::FileGone:
        return "Nothing can be saved: the data file was moved, removed or replaced while it was in use. Put it back to "
               "go"
               " on, or " +
               stop + " and start it again with another one.";
    case Finding::FileOverwritten:
        return "Nothing can be saved or read: the data file was changed by something else while it was in use. To go "
               "on, " +
               stop +
               " and start it again. If a copy was put in the file's place, before the start remove the two files "
               "beside"
               " it that end in -wal and -shm, and put the copy there once more.";
    case Finding::JournalGone:
    case Finding::JournalReplaced:
        return "Nothing can be saved: the journal beside the data file, which ends in -wal, was replaced while it was"
               " in use. All that was saved is in the data file. To go on, remove that journal.";
    case Finding::JournalCut:
        return "Nothing can be saved or read: the journal beside the data file, which ends in -wal, was overwritten or"
               " cut off while it was in use, and the latest changes with it. To go on with the rest, " +
               stop + " and start it again.";
    case Finding::IndexGone:
        return "Nothing can be saved or read: the data file cannot be opened any more. To go on, " + stop +
               " and start it again.";
    }
    return {};
}

} // namespace

Storage::Opened Storage::connect(const std::string& file, int flags)
{
    // Without locks of its own, which take a quarter of a long report: there is one job at a time.
    auto database =
        std::make_unique<SQLite::Database>(file, SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX | flags, 5000);
    database->exec("PRAGMA journal_mode = WAL");
    // A commit is on disk before its reply is sent, so that not even a power cut loses a timer that the person has seen
    // start. It costs a disk flush per change, and changes come at a person's pace.
    database->exec("PRAGMA synchronous = FULL");
    database->exec("PRAGMA foreign_keys = ON");
    migrate(*database);
    // Applies what an unclean run left in the journal: from now on every checkpoint is recognised.
    database->exec("PRAGMA wal_checkpoint(PASSIVE)");
    return database;
}

Storage::Storage(const std::string& file, Opened database, FileTrouble trouble)
    : m_file(file), m_telling(std::move(trouble)), m_watch(file), m_database(std::move(database))
{
}

tl::expected<std::unique_ptr<Storage>, std::string> Storage::open(const std::string& file, FileTrouble trouble)
{
    // Missing folders are made accessible to the owner only, whatever the umask.
    std::filesystem::path folder;
    for (const auto& part : std::filesystem::path(file).parent_path())
        ::mkdir((folder /= part).c_str(), 0700);
    // Made before SQLite sees it: the journal files get their mode from it.
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return tl::unexpected("cannot open " + file + ": " + std::strerror(errno));
    ::fchmod(descriptor, 0600);
    ::close(descriptor);
    for (const char* journal : {"-wal", "-shm"})
        ::chmod((file + journal).c_str(), 0600); // of an earlier run
    try {
        std::error_code error;
        // Independent of the current folder: the files are looked up by name again and again.
        const std::string place = std::filesystem::absolute(file, error).string();
        std::unique_ptr<Storage> storage(new Storage(place, connect(place, SQLite::OPEN_CREATE), std::move(trouble)));
        if (!storage->m_watch.begin(storage->m_database->getHandle()))
            return tl::unexpected("cannot use " + file + ": it was moved or removed meanwhile");
        return storage;
    } catch (const SQLite::Exception& exception) {
        return tl::unexpected("cannot use " + file + ": " + exception.what());
    }
}

std::optional<Problem> Storage::whyUnreadable()
{
    const std::lock_guard lock(m_mutex);
    auto trouble = lookAfterFiles();
    return isUnreadable(m_found) ? trouble : std::nullopt;
}

std::optional<Problem> Storage::trouble()
{
    const std::lock_guard lock(m_mutex);
    return m_trouble;
}

tl::expected<Storage::Begun, Problem> Storage::beginChange()
{
    // Checked within the transaction: no other process changes anything now. Checked again after a repair.
    for (int tries = 0; tries < 2; ++tries) {
        if (m_database && m_found == Finding::Nothing) {
            auto transaction =
                std::make_unique<SQLite::Transaction>(*m_database, SQLite::TransactionBehavior::IMMEDIATE);
            if (m_watch.look(m_database->getHandle()) == Finding::Nothing)
                return transaction;
        }
        if (auto trouble = lookAfterFiles())
            return tl::unexpected(std::move(*trouble));
    }
    return tl::unexpected(Problem{500, "Storage", "The files of the service are being moved. Try again."});
}

/// Outside transactions.
std::optional<Problem> Storage::lookAfterFiles()
{
    // These do not go away while the service runs: the files may contain anything now.
    if (m_found == Finding::FileOverwritten || m_found == Finding::JournalCut)
        return m_trouble;
    Finding found = m_database ? m_watch.look(m_database->getHandle()) : Finding::IndexGone;
    if (found == Finding::JournalCut) {
        // Or another process was just writing.
        try {
            const SQLite::Transaction transaction(*m_database, SQLite::TransactionBehavior::IMMEDIATE);
            found = m_watch.look(m_database->getHandle());
        } catch (const SQLite::Exception&) {
            // An unreadable journal is itself the trouble.
        }
    }
    found = mend(found);
    if (found == m_found)
        return m_trouble;
    m_found = found;
    const std::string text = sentence(found, m_telling.stop);
    m_trouble = text.empty() ? std::nullopt : std::optional(Problem{500, "Storage", text});
    if (m_telling.tell)
        m_telling.tell(text);
    return m_trouble;
}

/// Saves what can be saved and reopens the files where that loses nothing. Returns what is still wrong.
Finding Storage::mend(Finding found)
{
    const bool isNew = found != m_found;
    switch (found) {
    case Finding::Nothing:
        // It may have been anywhere meanwhile, and changed there.
        return m_found == Finding::FileGone ? mend(Finding::IndexGone) : found;
    case Finding::FileGone:
    case Finding::JournalReplaced:
        // This makes the file whole, wherever it is now, and an empty journal cannot damage one put in its place.
        if (isNew)
            bringIntoFile();
        return found;
    case Finding::JournalGone:
        return bringIntoFile() && reopen() ? Finding::Nothing : found;
    case Finding::IndexGone:
        return reopen() ? Finding::Nothing : found;
    case Finding::FileOverwritten:
    case Finding::JournalCut:
        // Otherwise closing the database would write the journal into a file it does not belong to.
        sqlite3_db_config(m_database->getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        return found;
    }
    return found;
}

bool Storage::bringIntoFile()
{
    return FileWatch::hasWholeJournal(m_database->getHandle()) &&
           sqlite3_wal_checkpoint_v2(m_database->getHandle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr) ==
               SQLITE_OK;
}

bool Storage::reopen()
{
    if (!m_watch.isFileThere())
        return false;
    try {
        // The journal stays: it is read when the file is opened again.
        if (m_database)
            sqlite3_db_config(m_database->getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        m_database.reset();
        m_database = connect(m_file, 0);
        return m_watch.begin(m_database->getHandle());
    } catch (const SQLite::Exception&) {
        // Tried again at the next check; until then the trouble is that it cannot be opened.
        return false;
    }
}

Problem Storage::problemOf(const SQLite::Exception& error) const
{
    return m_trouble.value_or(Problem{500, "Storage", std::string("The data file: ") + error.what() + "."});
}

} // namespace localservice
