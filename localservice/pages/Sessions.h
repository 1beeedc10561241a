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

/// Who is signed in to the pages: a key stands for a person, until it was not used for twelve hours, seven days after
/// the sign-in, or until they sign out. Kept in the data file as digests, so that a restart signs nobody out.
/// Thread-safe.
///
/// The key has the secret of the browser's cookie in it, and what else must be the same for the cookie to be worth
/// anything. One that is empty stands for nobody.
class Sessions final
{
public:
    explicit Sessions(Storage& storage) : m_storage(storage) {}

    /// Begins one. False when the file cannot be written.
    bool begin(std::string_view key, Id person, Seconds now);
    /// Whose session it is; counts as use.
    std::optional<Person> find(std::string_view key, Seconds now);
    void end(std::string_view key);
    /// Ends those of a person, all but the one of `except`, within a transaction: with a new password goes whoever
    /// signed in with the old one.
    static void endAllOf(SQLite::Database& database, Id person, std::string_view except = {});

    /// What forms carry to show that they come from a page of this session: cannot be guessed, and does not tell the
    /// key.
    static std::string formToken(std::string_view key);

private:
    Storage& m_storage;
};

} // namespace localservice
