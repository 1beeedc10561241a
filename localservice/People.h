#pragma once

#include "Database.h"
#include "Problem.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

namespace SQLite {
class Database;
}

namespace localservice {

/// A person's details as typed.
struct PersonDetails
{
    std::string email;
    std::string firstName;
    std::string lastName;
    bool admin = false;
};

/// A person of an account.
struct Member : PersonDetails
{
    Id id = 0;
    bool active = true;
    bool hasPassword = true;
    Seconds booked = 0; ///< in the requested days, with a running timer up to now
    bool running = false;

    std::string name() const;
};

/// A project and whether a person may book on it.
struct BookableProject
{
    Id id = 0;
    std::string name;
    std::string client;
    bool active = true;
    bool assigned = false;
};

/// First and last name, or the email address when both are missing.
std::string fullName(const std::string& firstName, const std::string& lastName, const std::string& email);

/// The people of one account and all changes to them. Works within the caller's transaction; people of other accounts
/// are treated as missing. Problems name the form field they are about.
class People final
{
public:
    using Done = tl::expected<void, Problem>;

    static constexpr std::size_t FewestPasswordCharacters = 10;
    static constexpr std::size_t LongestPassword = 512; ///< bytes; programs send it in a header
    static constexpr std::size_t LongestName = 100;     ///< characters
    static constexpr std::size_t LongestEmail = 254;    ///< bytes

    People(SQLite::Database& database, Id account) : m_database(database), m_account(account) {}

    /// Everyone by name, archived people last.
    std::vector<Member> all(Day first, Day last, Seconds now);
    tl::expected<Member, Problem> find(Id person);

    /// `hash` is the password's. Returns the person's number.
    tl::expected<Id, Problem> add(const PersonDetails& details, const std::string& hash);
    Done change(Id person, const PersonDetails& details);
    /// Ends the person's sessions except the one whose secret is `except`.
    Done setPassword(Id person, const std::string& hash, std::string_view except = {});
    /// The person can no longer sign in, their sessions end and their timer stops. `by` is the person archiving them.
    Done archive(Id person, Id by, Seconds now);
    Done restore(Id person);

    /// All projects by client and name, archived ones only where the person is assigned.
    std::vector<BookableProject> projects(Id person);
    /// From now on the person may book on these of the unarchived projects, and on no others.
    Done setProjects(Id person, const std::vector<Id>& projects);

    /// Why a chosen password is not acceptable; empty when it is.
    static std::string wrongWithPassword(std::string_view password);

private:
    Done check(PersonDetails& details, Id itself);
    bool isOnlyAdministrator(Id person);

    SQLite::Database& m_database;
    Id m_account;
};

} // namespace localservice
