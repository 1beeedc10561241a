#pragma once

#include "Person.h"
#include "Problem.h"

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tl/expected.hpp>
#include <unordered_map>
#include <vector>

namespace SQLite {
class Database;
}

namespace localservice {

/// Something about a line of a file, for people.
struct LineRemark
{
    std::size_t line = 0; ///< from 1; 0 for the file as a whole
    std::string text;
};

/// What a file has, in terms of itself: records name each other by their place in these lists.
struct Incoming
{
    static constexpr std::size_t None = static_cast<std::size_t>(-1);

    struct Client
    {
        std::string name;
        bool active = true;
    };
    struct Project
    {
        std::size_t client = None; ///< none: a project of that name and code whoever's it is, or else one of `homeless`
        std::string name;
        std::string code = {};
        bool billable = true;
        std::string billBy = "Tasks";
        double rate = 0;
        bool active = true;
    };
    struct Task
    {
        std::string name;
        double rate = 0;
        bool active = true;
    };
    struct Person
    {
        std::string email; ///< empty: somebody of that name who is here already
        std::string firstName;
        std::string lastName = {};
        bool admin = false;
        bool active = true;
        double rate = 0;
    };
    struct Offer
    {
        std::size_t project = None;
        std::size_t task = None;
        bool billable = true;
        double rate = 0;
    };
    struct Assignment
    {
        std::size_t project = None;
        std::size_t person = None;
        double rate = 0;
    };
    struct Entry
    {
        std::size_t person = None; ///< none: whoever imports
        std::size_t project = None;
        std::size_t task = None;
        Day day;
        std::string notes;
        Seconds seconds = 0;
        std::optional<Minutes> startedAt;
        std::optional<Minutes> endedAt;
        std::optional<std::string> lockedReason;
        bool billed = false;
        Seconds created = 0; ///< 0: now
        Seconds updated = 0;
    };

    std::vector<Client> clients;
    std::vector<Project> projects;
    std::vector<Task> tasks;
    std::vector<Person> people;
    std::vector<Offer> offers;
    std::vector<Assignment> assignments;
    std::vector<Entry> entries;
    std::string homeless = "Imported"; ///< the client of new projects that have none
    std::vector<LineRemark> doubts;    ///< what is taken, but looks wrong
    std::vector<LineRemark> unreadable;
};

/// Brings what a file has into an account, beside what is there: what has the same name is the same. Works within the
/// caller's transaction, in which the import is all or nothing.
class Importer final
{
public:
    /// What an import makes.
    struct Plan
    {
        std::vector<std::string> clients;
        std::vector<std::string> projects;
        std::vector<std::string> tasks;
        std::vector<std::string> people;
        std::size_t entries = 0;
        std::size_t present = 0;   ///< entries that are there already: same day, project, task, hours and notes
        std::size_t strangers = 0; ///< entries left out, of people who are not here
        Seconds time = 0;          ///< of the new entries
        std::optional<Day> first;
        std::optional<Day> last;
    };

    /// `person` imports.
    Importer(SQLite::Database& database, const Person& person, const Incoming& incoming);

    const Plan& plan() const { return m_plan; }
    /// Makes it all. Returns the number of the import, by which it can be undone.
    Id apply(const std::string& name, Seconds now);

    /// Removes everything that an import made, as one removal that can be brought back. What has been used for other
    /// time meanwhile stays. Returns the number of the removal.
    static tl::expected<Id, Problem> undo(SQLite::Database& database, const Person& person, Id import, Seconds now);

private:
    class Rows;

    void matchClients();
    void matchTasks();
    void matchPeople();
    void matchProjects();
    void matchEntries();
    void addOffersAndAssignments(Rows& rows);
    Id homelessProject(const Incoming::Project& project);

    SQLite::Database& m_database;
    const Person& m_person;
    const Incoming& m_incoming;
    Plan m_plan;
    // The numbers of those that are there already, 0 for new ones, in the order of the lists.
    std::vector<Id> m_clients;
    std::vector<Id> m_projects;
    std::vector<Id> m_tasks;
    std::vector<Id> m_people;
    std::vector<bool> m_isNew; ///< of the entries
    Id m_homeless = 0;
};

} // namespace localservice
