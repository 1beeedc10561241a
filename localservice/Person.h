#pragma once

#include "Database.h"

#include <optional>
#include <string>

namespace SQLite {
class Database;
}

namespace localservice {

/// The sender of a request, with the account data needed.
struct Person
{
    Id id = 0;
    Id account = 0;
    std::string email;
    std::string firstName;
    std::string lastName;
    bool admin = false;
    double rate = 0;
    std::string passwordHash;
    std::string accountName;
    std::string timezone;
    bool timestampTimers = false;
};

/// The person with that email address in the account of that subdomain, unless archived. With an empty subdomain: in
/// the only account, as there usually is just one.
std::optional<Person> personByEmail(SQLite::Database& database, const std::string& email, const std::string& subdomain);

/// The owner of the account of that subdomain: the first person in it, unless archived.
std::optional<Person> ownerOf(SQLite::Database& database, const std::string& subdomain);

/// The person with that number, unless archived.
std::optional<Person> personById(SQLite::Database& database, Id id);

} // namespace localservice
