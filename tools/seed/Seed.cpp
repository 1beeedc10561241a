#include "Seed.h"

#include "localservice/Storage.h"

namespace seed {

using namespace localservice;

Id add(Database& data, Id person, const Entry& entry, Seconds now)
{
    return data.storage()
        .change([&](SQLite::Database& database) -> tl::expected<Id, Problem> {
            SQLite::Statement insert(
                database,
                "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds,"
                " timer_started, locked_reason, created_at, updated_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
            insert.bind(1, person);
            insert.bind(2, entry.project);
            insert.bind(3, entry.task);
            insert.bind(4, entry.day);
            insert.bind(5, entry.notes);
            insert.bind(6, Seconds{60} * entry.minutes);
            if (entry.running)
                insert.bind(7, now);
            if (!entry.lockedReason.empty())
                insert.bind(8, entry.lockedReason);
            insert.bind(9, now);
            insert.bind(10, now);
            insert.exec();
            return database.getLastInsertRowid();
        })
        .value();
}

void recordTimes(Database& data, Id account)
{
    static_cast<void>(data.storage().change([&](SQLite::Database& database) -> tl::expected<int, Problem> {
        SQLite::Statement accounts(database, "UPDATE accounts SET timestamp_timers = 1 WHERE id = ?");
        accounts.bind(1, account);
        accounts.exec();
        return database.exec("UPDATE entries SET started_at = 540,"
                             " ended_at = CASE WHEN timer_started IS NULL THEN 540 + seconds / 60 END");
    }));
}

void removeAll(Database& data, Id person)
{
    static_cast<void>(data.storage().change([&](SQLite::Database& database) -> tl::expected<int, Problem> {
        SQLite::Statement remove(database, "DELETE FROM entries WHERE person_id = ?");
        remove.bind(1, person);
        return remove.exec();
    }));
}

} // namespace seed
