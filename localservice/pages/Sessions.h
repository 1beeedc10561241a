#pragma once

#include "Person.h"

#include <optional>
#include <string>
#include <string_view>

namespace SQLite {
class Database;
}

namespace localservice {

class Storage;

/// Who is signed in to the pages: a key stands for a person until twelve hours without use, seven days after the
/// sign-in, or until they sign out. Stored in the data file as digests, so that a restart signs nobody out.
/// Thread-safe.
///
/// The key contains the secret of the browser's cookie, and whatever else must match for the cookie to be valid. An
/// empty one stands for nobody.
class Sessions final
{
public:
    explicit Sessions(Storage& storage) : m_storage(storage) {}

    /// Starts one. False when the file cannot be written.
    bool begin(std::string_view key, Id person, Seconds now);
    /// Whose session it is; counts as use.
    std::optional<Person> find(std::string_view key, Seconds now);
    void end(std::string_view key);
    /// Ends all sessions of a person but the one of `except`, within a transaction: a new password ends what the old
    /// one started.
    static void endAllOf(SQLite::Database& database, Id person, std::string_view except = {});

    /// The token that shows that a form comes from a page of this session: cannot be guessed, and does not reveal the
    /// key.
    static std::string formToken(std::string_view key);

private:
    Storage& m_storage;
};

} // namespace localservice
