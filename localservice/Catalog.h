#pragma once

#include "Database.h"
#include "Problem.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace SQLite {
class Database;
}

namespace localservice {

/// What is to become of a project; what is absent stays as it is.
struct ProjectChange
{
    std::optional<Id> client = {};
    std::optional<std::string> name = {};
    std::optional<std::string> code = {};
    std::optional<bool> billable = {};
};

/// The clients, projects and tasks of one account, and every change of them. Works within the transaction of its
/// caller; records of other accounts are as if they were not there.
///
/// A problem's kind says what it is about: "Name", "Code" and "Client" are the field that was refused, "Missing" is a
/// record that is gone, "Booked" one that has hours and so cannot be removed.
class Catalog final
{
public:
    static constexpr std::size_t longestName = 200; ///< characters
    static constexpr std::size_t longestCode = 40;

    using Added = tl::expected<Id, Problem>;
    using Done = tl::expected<void, Problem>;

    /// What happens to a second record of one name. People can hardly tell the two apart, so they are kept from it;
    /// programs that fill an account may do it.
    enum class Doubles
    {
        Refused,
        Allowed,
    };

    Catalog(SQLite::Database& database, Id account, Doubles doubles = Doubles::Refused)
        : m_database(database), m_account(account), m_doubles(doubles)
    {
    }

    Added addClient(std::string_view name, bool active = true);
    /// The client of that name that is not archived, made if there is none.
    Added clientNamed(std::string_view name);
    Done renameClient(Id client, std::string_view name);
    /// An archived client's projects are archived with it. A restored one's stay so.
    Done setClientActive(Id client, bool active);
    /// Only without projects.
    Done removeClient(Id client);

    /// Projects of one client are doubles when they have one code too.
    Added addProject(const NewProject& project);
    Done changeProject(Id project, const ProjectChange& change);
    /// A project that is restored restores its client.
    Done setProjectActive(Id project, bool active);
    /// Only when nothing was ever booked on it.
    Done removeProject(Id project);

    Added addTask(std::string_view name, double rate = 0);
    /// The task of that name that is not archived, made if there is none.
    Added taskNamed(std::string_view name);
    Done renameTask(Id task, std::string_view name);
    Done setTaskActive(Id task, bool active);
    /// Only when it was never booked.
    Done removeTask(Id task);

    /// What is offered already is billable as said from now on. Answers the assignment's id.
    Added offerTask(Id project, Id task, bool billable, double rate = 0);
    /// Offers the task on every project that is not archived.
    Done offerTaskEverywhere(Id task, bool billable);
    Done withdrawTask(Id project, Id task);
    /// Lets a person book time on a project; answers the assignment's id.
    Added assignPerson(Id project, Id person, double rate = 0);
    Done releasePerson(Id project, Id person);

private:
    Done find(const std::string& table, Id id);
    Done checkProject(const NewProject& project, Id itself);
    tl::expected<std::string, Problem> freeName(const std::string& table, std::string_view typed, Id itself);
    Id named(const std::string& table, std::string_view name);
    Done rename(const std::string& table, Id id, std::string_view name);

    SQLite::Database& m_database;
    Id m_account;
    Doubles m_doubles;
};

} // namespace localservice
