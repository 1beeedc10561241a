#pragma once

#include "Database.h"

#include <optional>
#include <string>

namespace SQLite {
class Database;
}

namespace localservice {

/// Who sent a request, with what is needed of the account.
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

/// The person of that email address in the account of that subdomain, unless archived. With an empty subdomain: in
/// the only account there is, as there mostly is just one.
std::optional<Person> personByEmail(SQLite::Database& database, const std::string& email, const std::string& subdomain);

/// The owner of the account of that subdomain: the first person in it, unless archived.
std::optional<Person> ownerOf(SQLite::Database& database, const std::string& subdomain);

/// The person of that number, unless archived.
std::optional<Person> personById(SQLite::Database& database, Id id);

} // namespace localservice
