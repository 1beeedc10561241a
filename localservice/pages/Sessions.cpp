#include "Sessions.h"

#include "Credentials.h"
#include "Storage.h"

namespace localservice {

namespace {

constexpr Seconds LongestPause = Seconds{12} * 3600;
constexpr Seconds LongestLife = Seconds{7} * 24 * 3600;
// Each write is flushed to disk; a page viewed twice within a minute needs none.
constexpr Seconds UseResolution = 60;

} // namespace

bool Sessions::begin(std::string_view key, Id person, Seconds now)
{
    const auto begun = m_storage.change([&](SQLite::Database& database) -> tl::expected<void, Problem> {
        SQLite::Statement old(database, "DELETE FROM sessions WHERE used_at < ? OR created_at < ?");
        SQLite::bind(old, now - LongestPause, now - LongestLife);
        old.exec();
        SQLite::Statement insert(database,
                                 "INSERT INTO sessions (digest, person_id, created_at, used_at) VALUES (?, ?, ?, ?)");
        SQLite::bind(insert, digestOf("session " + std::string(key)), person, now, now);
        insert.exec();
        return {};
    });
    return begun.has_value();
}

std::optional<Person> Sessions::find(std::string_view key, Seconds now)
{
    if (key.empty())
        return {};
    const std::string digest = digestOf("session " + std::string(key));
    Seconds used = 0;
    const auto found = m_storage.look([&](SQLite::Database& database) -> tl::expected<std::optional<Person>, Problem> {
        SQLite::Statement query(database, "SELECT person_id, used_at FROM sessions"
                                          " WHERE digest = ? AND used_at >= ? AND created_at >= ?");
        SQLite::bind(query, digest, now - LongestPause, now - LongestLife);
        if (!query.executeStep())
            return std::optional<Person>();
        used = query.getColumn(1).getInt64();
        return personById(database, query.getColumn(0).getInt64());
    });
    if (!found || !*found)
        return {};
    if (now - used >= UseResolution) {
        // An unrecorded use costs a sign-in some hours later; the page is more important.
        static_cast<void>(m_storage.change([&](SQLite::Database& database) -> tl::expected<void, Problem> {
            SQLite::Statement update(database, "UPDATE sessions SET used_at = ? WHERE digest = ?");
            SQLite::bind(update, now, digest);
            update.exec();
            return {};
        }));
    }
    return *found;
}

void Sessions::end(std::string_view key)
{
    // A session that cannot be deleted expires; the browser has already forgotten it.
    static_cast<void>(m_storage.change([&](SQLite::Database& database) -> tl::expected<void, Problem> {
        SQLite::Statement statement(database, "DELETE FROM sessions WHERE digest = ?");
        statement.bind(1, digestOf("session " + std::string(key)));
        statement.exec();
        return {};
    }));
}

void Sessions::endAllOf(SQLite::Database& database, Id person, std::string_view except)
{
    SQLite::Statement statement(database, "DELETE FROM sessions WHERE person_id = ? AND digest != ?");
    SQLite::bind(statement, person, digestOf("session " + std::string(except)));
    statement.exec();
}

std::string Sessions::formToken(std::string_view key)
{
    return digestOf("form " + std::string(key));
}

} // namespace localservice
