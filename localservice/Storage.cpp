#include "Storage.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace localservice {

namespace {

constexpr int schemaVersion = 2;

// Ids are never given twice, so a late request for a deleted entry cannot meet another one. Two rules live in the
// schema, where no code path can forget them: one running timer for each person, and a new cache version whenever
// anything that clients keep of the catalog changes.
constexpr const char* firstSchema = R"sql(
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
CREATE INDEX entries_of_day ON entries (person_id, spent_at);
CREATE UNIQUE INDEX one_running_timer ON entries (person_id) WHERE timer_started IS NOT NULL;
)sql";

// Archived people cannot sign in and archived tasks cannot be booked; what was booked stays. A session is found by the
// digest of its secret: who reads the file cannot sign in with it.
constexpr const char* secondSchema = R"sql(
ALTER TABLE people ADD COLUMN active INTEGER NOT NULL DEFAULT 1;
ALTER TABLE tasks ADD COLUMN active INTEGER NOT NULL DEFAULT 1;
CREATE TABLE sessions (
    digest TEXT PRIMARY KEY,
    person_id INTEGER NOT NULL REFERENCES people(id),
    created_at INTEGER NOT NULL,
    used_at INTEGER NOT NULL);
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
    if (version > schemaVersion)
        throw SQLite::Exception("it was written by a newer version of the service");
    if (version < 1)
        database.exec(firstSchema + cacheVersionTriggers());
    if (version < 2)
        database.exec(secondSchema);
    database.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    transaction.commit();
}

} // namespace

Storage::Storage(const std::string& file) : m_database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, 5000)
{
    m_database.exec("PRAGMA journal_mode = WAL");
    // A commit is on the disk before its reply leaves, so that not even a power cut takes a timer that the person has
    // seen start. It costs a disk flush for each change, and changes come at the pace of a person.
    m_database.exec("PRAGMA synchronous = FULL");
    m_database.exec("PRAGMA foreign_keys = ON");
    migrate(m_database);
}

tl::expected<std::unique_ptr<Storage>, std::string> Storage::open(const std::string& file)
{
    std::error_code error;
    const auto folder = std::filesystem::path(file).parent_path();
    if (!folder.empty())
        std::filesystem::create_directories(folder, error);
    // Made before SQLite sees it: the journal files take their mode from it.
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return tl::unexpected("cannot open " + file + ": " + std::strerror(errno));
    ::fchmod(descriptor, 0600);
    ::close(descriptor);
    try {
        return std::unique_ptr<Storage>(new Storage(file));
    } catch (const SQLite::Exception& exception) {
        return tl::unexpected("cannot use " + file + ": " + exception.what());
    }
}

} // namespace localservice
