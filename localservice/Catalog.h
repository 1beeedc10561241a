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

struct NewProject
{
    Id client = 0;
    std::string name;
    std::string code = {};
    bool billable = true;
};

/// The new values for a project; absent ones stay as they are.
struct ProjectChange
{
    std::optional<Id> client = {};
    std::optional<std::string> name = {};
    std::optional<std::string> code = {};
    std::optional<bool> billable = {};
};

/// The clients, projects and tasks of one account, and all changes to them. Works within the caller's transaction;
/// records of other accounts are treated as missing.
///
/// A problem's kind names its cause: "Name", "Code" and "Client" are the rejected field, "Missing" is a deleted record,
/// "Booked" one that has hours and so cannot be deleted.
class Catalog final
{
public:
    static constexpr std::size_t LongestName = 200; ///< characters
    static constexpr std::size_t LongestCode = 40;

    using Added = tl::expected<Id, Problem>;
    using Done = tl::expected<void, Problem>;

    enum class Kind
    {
        Client,
        Project,
        Task,
    };

    Catalog(SQLite::Database& database, Id account) : m_database(database), m_account(account) {}

    /// A client or a task. Names must be unique, archived records included: people could hardly tell them apart.
    Added add(Kind kind, std::string_view name);
    /// The unarchived client or task of that name, made if there is none.
    Added named(Kind kind, std::string_view name);
    Done rename(Kind kind, Id id, std::string_view name);
    /// Projects of one client may share a name if their codes differ.
    Added addProject(const NewProject& project);
    Done changeProject(Id project, const ProjectChange& change);
    /// An archived client's projects are archived with it; a restored one's stay archived. Restoring a project restores
    /// its client.
    Done setActive(Kind kind, Id id, bool active);
    /// Only a client without projects, and other records without hours. Returns the number of the removal, by which
    /// `Removals` brings it back.
    Added remove(Kind kind, Id id, Seconds now);

    /// Tasks already offered become billable or not as given.
    Done offerTask(Id project, Id task, bool billable);
    /// Offers the task on every unarchived project.
    Done offerTaskEverywhere(Id task, bool billable);
    void withdrawTask(Id project, Id task);
    /// Lets a person book time on a project.
    Done assignPerson(Id project, Id person);
    void releasePerson(Id project, Id person);

private:
    Done find(const std::string& table, Id id);
    Done checkProject(const NewProject& project, Id itself);
    tl::expected<std::string, Problem> freeName(const std::string& table, std::string_view typed, Id itself);

    SQLite::Database& m_database;
    Id m_account;
};

} // namespace localservice
