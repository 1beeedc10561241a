#include "Catalog.h"

#include "NameText.h"
#include "Removals.h"
#include "Sql.h"

namespace localservice {

namespace {

tl::unexpected<Problem> refused(std::string kind, std::string message)
{
    return tl::unexpected(Problem{422, std::move(kind), std::move(message)});
}

std::string tableOf(Catalog::Kind kind)
{
    return kind == Catalog::Kind::Client ? "clients" : kind == Catalog::Kind::Project ? "projects" : "tasks";
}

/// What a record of that table is called.
std::string wordFor(const std::string& table)
{
    return table == "people" ? "person" : table.substr(0, table.size() - 1);
}

tl::expected<std::string, Problem> checkedName(std::string_view typed, const std::string& what)
{
    auto name = nameText(typed);
    if (name.empty())
        return refused("Name", "The " + what + " needs a name.");
    if (characterCount(name) > Catalog::LongestName)
        return refused("Name",
                       "This name is too long. It can have " + std::to_string(Catalog::LongestName) + " characters.");
    return name;
}

} // namespace

Catalog::Done Catalog::find(const std::string& table, Id id)
{
    if (number(m_database, "SELECT id FROM " + table + " WHERE id = ? AND account_id = ?", id, m_account) == 0)
        return tl::unexpected(Problem{404, "Missing", "This " + wordFor(table) + " no longer exists."});
    return {};
}

tl::expected<std::string, Problem> Catalog::freeName(const std::string& table, std::string_view typed, Id itself)
{
    const auto what = wordFor(table);
    auto name = checkedName(typed, what);
    if (!name)
        return name;
    SQLite::Statement query(m_database,
                            "SELECT active FROM " + table +
                                " WHERE account_id = ? AND name = ? COLLATE NOCASE AND id <> ? ORDER BY active DESC");
    SQLite::bind(query, m_account, *name, itself);
    if (!query.executeStep())
        return name;
    if (query.getColumn(0).getInt() != 0)
        return refused("Name", "There is a " + what + " of this name already.");
    return refused("Name", "There is an archived " + what + " of this name. Restore that one, or choose another name.");
}

Catalog::Added Catalog::add(Kind kind, std::string_view typed)
{
    const auto name = freeName(tableOf(kind), typed, 0);
    if (!name)
        return tl::unexpected(name.error());
    return insert(m_database,
                  kind == Kind::Client ? "INSERT INTO clients (account_id, name, active) VALUES (?, ?, 1)"
                                       : "INSERT INTO tasks (account_id, name, rate) VALUES (?, ?, 0)",
                  m_account, *name);
}

Catalog::Added Catalog::named(Kind kind, std::string_view name)
{
    const Id known = number(m_database,
                            "SELECT id FROM " + tableOf(kind) +
                                " WHERE account_id = ? AND name = ? COLLATE NOCASE AND active ORDER BY id",
                            m_account, nameText(name));
    return known != 0 ? Added(known) : add(kind, name);
}

Catalog::Done Catalog::rename(Kind kind, Id id, std::string_view typed)
{
    const auto table = tableOf(kind);
    SQLite::Statement query(m_database, "SELECT name FROM " + table + " WHERE id = ? AND account_id = ?");
    SQLite::bind(query, id, m_account);
    if (!query.executeStep())
        return find(table, id);
    if (nameText(typed) == query.getColumn(0).getString())
        return {};
    const auto name = freeName(table, typed, id);
    if (!name)
        return tl::unexpected(name.error());
    execute(m_database, "UPDATE " + table + " SET name = ? WHERE id = ?", *name, id);
    return {};
}

Catalog::Done Catalog::setActive(Kind kind, Id id, bool active)
{
    const auto table = tableOf(kind);
    if (auto found = find(table, id); !found)
        return found;
    execute(m_database, "UPDATE " + table + " SET active = ? WHERE id = ?", int{active}, id);
    if (kind == Kind::Client && !active)
        execute(m_database, "UPDATE projects SET active = 0 WHERE client_id = ? AND active", id);
    if (kind == Kind::Project && active)
        execute(m_database,
                "UPDATE clients SET active = 1 WHERE NOT active AND id = (SELECT client_id FROM projects WHERE id = ?)",
                id);
    return {};
}

Catalog::Added Catalog::remove(Kind kind, Id id, Seconds now)
{
    const auto table = tableOf(kind);
    if (auto found = find(table, id); !found)
        return tl::unexpected(found.error());
    const auto what = wordFor(table);
    if (kind == Kind::Client && number(m_database, "SELECT COUNT(*) FROM projects WHERE client_id = ?", id) > 0)
        return refused("Booked", "This client has projects. Archive it instead, or delete its projects first.");
    if (kind != Kind::Client && number(m_database, "SELECT COUNT(*) FROM entries WHERE " + what + "_id = ?", id) > 0)
        return refused("Booked", "This " + what + " has hours, so it cannot be deleted. Archive it instead.");

    SQLite::Statement name(m_database, kind == Kind::Project ? "SELECT code, name FROM projects WHERE id = ?"
                                                             : "SELECT '', name FROM " + table + " WHERE id = ?");
    name.bind(1, id);
    name.executeStep();
    Removals removals(m_database, m_account);
    const Id removal =
        removals.begin({.table = table,
                        .record = id,
                        .name = projectText(name.getColumn(0).getString(), name.getColumn(1).getString()),
                        .removed = now});
    name.reset();
    if (kind != Kind::Client)
        removals.take(removal, "task_assignments", what + "_id = ?", id);
    if (kind == Kind::Project)
        removals.take(removal, "user_assignments", "project_id = ?", id);
    removals.take(removal, table, "id = ?", id);
    return removal;
}

Catalog::Done Catalog::checkProject(const NewProject& project, Id itself)
{
    if (const auto name = checkedName(project.name, "project"); !name)
        return tl::unexpected(name.error());
    if (characterCount(project.code) > LongestCode)
        return refused("Code", "This code is too long. It can have " + std::to_string(LongestCode) + " characters.");
    SQLite::Statement query(m_database, "SELECT active FROM projects WHERE client_id = ? AND name = ? COLLATE NOCASE"
                                        " AND code = ? COLLATE NOCASE AND id <> ? ORDER BY active DESC");
    SQLite::bind(query, project.client, project.name, project.code, itself);
    if (!query.executeStep())
        return {};
    if (query.getColumn(0).getInt() != 0)
        return refused("Name", "This client has a project of this name already. Choose another name or code.");
    return refused(
        "Name", "This client has an archived project of this name. Restore that one, or choose another name or code.");
}

Catalog::Added Catalog::addProject(const NewProject& typed)
{
    auto project = typed;
    project.name = nameText(typed.name);
    project.code = nameText(typed.code);
    if (const auto found = find("clients", project.client); !found)
        return refused("Client", "Choose a client.");
    if (number(m_database, "SELECT active FROM clients WHERE id = ?", project.client) == 0)
        return refused("Client", "This client has been archived. Restore it first.");
    if (const auto fine = checkProject(project, 0); !fine)
        return tl::unexpected(fine.error());
    return insert(m_database,
                  "INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)"
                  " VALUES (?, ?, ?, ?, ?, 'Tasks', 0, 1)",
                  m_account, project.client, project.name, project.code, int{project.billable});
}

Catalog::Done Catalog::changeProject(Id project, const ProjectChange& change)
{
    SQLite::Statement query(
        m_database, "SELECT client_id, name, code, billable, active FROM projects WHERE id = ? AND account_id = ?");
    SQLite::bind(query, project, m_account);
    if (!query.executeStep())
        return find("projects", project);
    const NewProject before{query.getColumn(0).getInt64(), query.getColumn(1).getString(),
                            query.getColumn(2).getString(), query.getColumn(3).getInt() != 0};
    const bool active = query.getColumn(4).getInt() != 0;
    query.reset();
    const NewProject after{change.client.value_or(before.client), change.name ? nameText(*change.name) : before.name,
                           change.code ? nameText(*change.code) : before.code,
                           change.billable.value_or(before.billable)};
    if (after.client != before.client) {
        if (!find("clients", after.client))
            return refused("Client", "This client no longer exists.");
        if (active && number(m_database, "SELECT active FROM clients WHERE id = ?", after.client) == 0)
            return refused("Client", "This client has been archived. Restore it first.");
    }
    if (after.client != before.client || after.name != before.name || after.code != before.code) {
        if (auto fine = checkProject(after, project); !fine)
            return fine;
    } else if (after.billable == before.billable) {
        return {};
    }
    execute(m_database, "UPDATE projects SET client_id = ?, name = ?, code = ?, billable = ? WHERE id = ?",
            after.client, after.name, after.code, int{after.billable}, project);
    return {};
}

Catalog::Done Catalog::offerTask(Id project, Id task, bool billable)
{
    const auto place = find("projects", project);
    const auto work = find("tasks", task);
    if (!place || !work)
        return place ? work : place;
    if (execute(m_database, "UPDATE task_assignments SET billable = ? WHERE project_id = ? AND task_id = ?",
                int{billable}, project, task) == 0)
        execute(m_database,
                "INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate) VALUES (?, ?, ?, ?, 0)",
                m_account, project, task, int{billable});
    return {};
}

Catalog::Done Catalog::offerTaskEverywhere(Id task, bool billable)
{
    if (auto found = find("tasks", task); !found)
        return found;
    execute(m_database,
            "INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate)"
            " SELECT account_id, id, ?1, ?2, 0 FROM projects WHERE account_id = ?3 AND active"
            " AND id NOT IN (SELECT project_id FROM task_assignments WHERE task_id = ?1)",
            task, int{billable}, m_account);
    return {};
}

void Catalog::withdrawTask(Id project, Id task)
{
    execute(m_database, "DELETE FROM task_assignments WHERE project_id = ? AND task_id = ? AND account_id = ?", project,
            task, m_account);
}

Catalog::Done Catalog::assignPerson(Id project, Id person)
{
    const auto place = find("projects", project);
    const auto who = find("people", person);
    if (!place || !who)
        return place ? who : place;
    execute(m_database,
            "INSERT OR IGNORE INTO user_assignments (account_id, project_id, person_id, rate) VALUES (?, ?, ?, 0)",
            m_account, project, person);
    return {};
}

void Catalog::releasePerson(Id project, Id person)
{
    execute(m_database, "DELETE FROM user_assignments WHERE project_id = ? AND person_id = ? AND account_id = ?",
            project, person, m_account);
}

} // namespace localservice
