#include "Samples.h"

#include "Catalog.h"
#include "Removals.h"
#include "Sql.h"

#include <algorithm>

namespace localservice {

namespace {

struct SampleTask
{
    const char* name;
    bool billable;
};

struct SampleProject
{
    const char* client;
    const char* code;
    const char* name;
    bool billable;
    std::vector<std::string> tasks;
};

const std::vector<SampleTask>& tasks()
{
    static const std::vector<SampleTask> all{{"Design", true},  {"Development", true}, {"Meetings", true},
                                             {"Writing", true}, {"Learning", false},   {"Administration", false}};
    return all;
}

const std::vector<SampleProject>& projects()
{
    static const std::vector<SampleProject> all{
        {"Juniper Bakery", "JB-01", "Online Shop", true, {"Design", "Development", "Meetings", "Administration"}},
        {"Juniper Bakery", "JB-02", "Seasonal Menu Cards", true, {"Design", "Writing", "Meetings"}},
        {"Harbour & Sons", "HARB", "Boat Rental Booking", true, {"Design", "Development", "Meetings", "Learning"}},
        {"My Own Work", "", "Bookkeeping", false, {"Administration"}},
        {"My Own Work", "", "Training", false, {"Learning", "Meetings"}},
    };
    return all;
}

/// The numbers of those records as a list for IN; these are few.
std::string listOf(const std::vector<Id>& ids)
{
    std::string list;
    for (const Id id : ids)
        list += (list.empty() ? "" : ", ") + std::to_string(id);
    return "(" + list + ")";
}

std::vector<Id> untouched(SQLite::Database& database, Id account)
{
    SQLite::Statement query(database, "SELECT p.id FROM projects p JOIN clients c ON c.id = p.client_id"
                                      " WHERE p.account_id = ? AND c.name = ? AND p.code = ? AND p.name = ?"
                                      " AND NOT EXISTS (SELECT 1 FROM entries e WHERE e.project_id = p.id"
                                      "   AND (e.seconds > 0 OR e.timer_started IS NOT NULL OR e.notes <> ''))");
    std::vector<Id> found;
    for (const auto& sample : projects()) {
        SQLite::bind(query, account, sample.client, sample.code, sample.name);
        while (query.executeStep())
            found.push_back(query.getColumn(0).getInt64());
        query.reset();
    }
    return found;
}

} // namespace

void addSamples(SQLite::Database& database, Id account, Id owner)
{
    using Kind = Catalog::Kind;
    // These texts are ours, so nothing is rejected.
    Catalog catalog(database, account);
    for (const auto& task : tasks())
        catalog.add(Kind::Task, task.name).value();
    Id firstProject = 0;
    for (const auto& sample : projects()) {
        const Id client = catalog.named(Kind::Client, sample.client).value();
        const Id project = catalog.addProject({client, sample.name, sample.code, sample.billable}).value();
        static_cast<void>(catalog.assignPerson(project, owner));
        if (firstProject == 0)
            firstProject = project;
        for (const auto& [name, billable] : tasks()) {
            if (std::find(sample.tasks.begin(), sample.tasks.end(), name) != sample.tasks.end())
                static_cast<void>(
                    catalog.offerTask(project, catalog.named(Kind::Task, name).value(), sample.billable && billable));
        }
    }
    // One entry without time, so that there is a timer to start right away.
    const Seconds now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    execute(database,
            "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)"
            " VALUES (?, ?, ?, ?, '', 0, ?, ?)",
            owner, firstProject, catalog.named(Kind::Task, tasks().front().name).value(), isoDayText(localDay(now)),
            now, now);
}

std::vector<std::string> samplesIn(SQLite::Database& database, Id account)
{
    SQLite::Statement query(database, "SELECT name FROM projects WHERE id IN " + listOf(untouched(database, account)) +
                                          " ORDER BY id");
    std::vector<std::string> names;
    while (query.executeStep())
        names.push_back(query.getColumn(0).getString());
    return names;
}

Id removeSamples(SQLite::Database& database, Id account, Seconds now)
{
    Removals removals(database, account);
    const Id removal = removals.begin({.table = "samples", .name = "The samples", .removed = now});
    const auto ours = listOf(untouched(database, account));
    for (const std::string table : {"entries", "task_assignments", "user_assignments"})
        removals.take(removal, table, "project_id IN " + ours);
    removals.take(removal, "projects", "id IN " + ours);
    for (const auto& sample : projects())
        removals.take(removal, "clients", "account_id = ? AND name = ? AND id NOT IN (SELECT client_id FROM projects)",
                      account, sample.client);
    for (const auto& task : tasks())
        removals.take(removal, "tasks",
                      "account_id = ? AND name = ? AND id NOT IN (SELECT task_id FROM task_assignments)"
                      " AND id NOT IN (SELECT task_id FROM entries)",
                      account, task.name);
    return removal;
}

} // namespace localservice
