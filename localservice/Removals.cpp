#include "Removals.h"

#include <algorithm>
#include <array>

namespace localservice {

namespace {

constexpr Seconds SecondsInDay = Seconds{24} * 3600;

/// What others belong to comes first.
constexpr std::array Tables{"clients",          "tasks",   "people",  "projects",     "task_assignments",
                            "user_assignments", "entries", "imports", "imported_rows"};

constexpr const char* Select = "SELECT id, kind, record_id, name, removed_at, COALESCE(person_id, 0) FROM removals"
                               " WHERE account_id = ?1 AND (person_id = ?2 OR (person_id IS NULL AND ?3))";

Removal removalOf(SQLite::Statement& row)
{
    return {row.getColumn(0).getInt64(),  row.getColumn(1).getString(), row.getColumn(2).getInt64(),
            row.getColumn(3).getString(), row.getColumn(4).getInt64(),  row.getColumn(5).getInt64()};
}

} // namespace

Id Removals::begin(const Removal& removal)
{
    execute(m_database, "DELETE FROM removals WHERE account_id = ? AND removed_at < ?", m_account,
            removal.removed - DaysKept * SecondsInDay);
    const Id id = insert(m_database,
                         "INSERT INTO removals (account_id, kind, record_id, name, removed_at) VALUES (?, ?, ?, ?, ?)",
                         m_account, removal.table, removal.record, removal.name, removal.removed);
    if (removal.person != 0)
        execute(m_database, "UPDATE removals SET person_id = ? WHERE id = ?", removal.person, id);
    return id;
}

std::string Removals::copying(Id removal, const std::string& table)
{
    SQLite::Statement columns(m_database, "SELECT name, type FROM pragma_table_info(?)");
    columns.bind(1, table);
    std::string values;
    while (columns.executeStep()) {
        const auto name = columns.getColumn(0).getString();
        // JSON would round it.
        const bool isReal = columns.getColumn(1).getString() == "REAL";
        values += (values.empty() ? "'" : ", '") + name + "', " + (isReal ? "quote(" + name + ")" : name);
    }
    return "INSERT INTO removed_rows (removal_id, table_name, row) SELECT " + std::to_string(removal) + ", '" + table +
           "', json_object(" + values + ") FROM " + table + " WHERE ";
}

std::vector<Removal> Removals::all(const Person& person)
{
    SQLite::Statement query(m_database, std::string(Select) + " ORDER BY id DESC LIMIT 100");
    SQLite::bind(query, m_account, person.id, int{person.admin});
    std::vector<Removal> result;
    while (query.executeStep())
        result.push_back(removalOf(query));
    return result;
}

std::optional<Removal> Removals::find(Id removal, const Person& person)
{
    SQLite::Statement query(m_database, std::string(Select) + " AND id = ?4");
    SQLite::bind(query, m_account, person.id, int{person.admin}, removal);
    return query.executeStep() ? std::optional(removalOf(query)) : std::nullopt;
}

std::optional<Removal> Removals::of(const std::string& table, Id record, const Person& person)
{
    SQLite::Statement query(m_database, std::string(Select) + " AND kind = ?4 AND record_id = ?5 ORDER BY id DESC");
    SQLite::bind(query, m_account, person.id, int{person.admin}, table, record);
    return query.executeStep() ? std::optional(removalOf(query)) : std::nullopt;
}

std::optional<Problem> Removals::whyNot(Id removal)
{
    const auto count = [&](const std::string& table, const std::string& condition) {
        return number(m_database,
                      "SELECT COUNT(*) FROM removed_rows r WHERE r.removal_id = ? AND r.table_name = '" + table +
                          "' AND " + condition,
                      removal);
    };
    const auto isTaken = [&](const std::string& table) {
        const std::string inPlace =
            table == "projects" ? "o.client_id = r.row ->> 'client_id' AND o.code = r.row ->> 'code' COLLATE NOCASE"
                                : "o.account_id = r.row ->> 'account_id'";
        return count(table, "EXISTS (SELECT 1 FROM " + table + " o WHERE " + inPlace +
                                " AND o.name = r.row ->> 'name' COLLATE NOCASE)") > 0;
    };
    const auto isMissing = [&](const std::string& table, const std::string& column, const std::string& parents) {
        return count(table, "r.row ->> '" + column + "' NOT IN (SELECT id FROM " + parents +
                                " UNION ALL SELECT row ->> 'id' FROM removed_rows WHERE removal_id = " +
                                std::to_string(removal) + " AND table_name = '" + parents + "')") > 0;
    };
    for (const std::string table : {"clients", "projects", "tasks"}) {
        if (isTaken(table))
            return Problem{422, "Name",
                           "There is another " + table.substr(0, table.size() - 1) +
                               " of this name now. Give that one another name first."};
    }
    if (isMissing("projects", "client_id", "clients"))
        return Problem{422, "Missing", "Its client has been deleted, too. Bring that back first."};
    if (isMissing("entries", "project_id", "projects"))
        return Problem{422, "Missing", "The project it was booked on has been deleted, too. Bring that back first."};
    if (isMissing("entries", "task_id", "tasks"))
        return Problem{422, "Missing", "The task it was booked on has been deleted, too. Bring that back first."};
    return {};
}

void Removals::putBack(Id removal, const std::string& table)
{
    // A column that came later has its default.
    SQLite::Statement query(m_database, "SELECT key FROM json_each((SELECT row FROM removed_rows WHERE removal_id = ?"
                                        " AND table_name = ? LIMIT 1))");
    SQLite::bind(query, removal, table);
    std::string columns;
    std::string values;
    while (query.executeStep()) {
        const auto name = query.getColumn(0).getString();
        columns += (columns.empty() ? "" : ", ") + name;
        values += (values.empty() ? "row ->> '" : ", row ->> '") + name + "'";
    }
    if (columns.empty())
        return;
    // An assignment may have been made again meanwhile, or lost its other end.
    const std::string condition =
        table == "task_assignments"
            ? " AND row ->> 'project_id' IN (SELECT id FROM projects) AND row ->> 'task_id' IN (SELECT id FROM tasks)"
        : table == "user_assignments" ? " AND row ->> 'project_id' IN (SELECT id FROM projects)"
                                        " AND row ->> 'person_id' IN (SELECT id FROM people)"
                                      : "";
    execute(m_database,
            "INSERT " + std::string(condition.empty() ? "" : "OR IGNORE ") + "INTO " + table + " (" + columns +
                ") SELECT " + values + " FROM removed_rows WHERE removal_id = ? AND table_name = ?" + condition +
                " ORDER BY row ->> 'id'",
            removal, table);
}

tl::expected<void, Problem> Removals::bringBack(const Removal& removal, Seconds now)
{
    if (auto problem = whyNot(removal.id))
        return tl::unexpected(std::move(*problem));
    for (const std::string table : Tables)
        putBack(removal.id, table);
    // Whoever holds an old copy of an entry must see that it is another one.
    execute(m_database,
            "UPDATE entries SET updated_at = MAX(?, updated_at + 1) WHERE id IN"
            " (SELECT row ->> 'id' FROM removed_rows WHERE removal_id = ? AND table_name = 'entries')",
            now, removal.id);
    // As when an archived project is restored.
    execute(m_database,
            "UPDATE clients SET active = 1 WHERE NOT active AND id IN (SELECT row ->> 'client_id' FROM removed_rows"
            " WHERE removal_id = ? AND table_name = 'projects' AND row ->> 'active')",
            removal.id);
    execute(m_database, "DELETE FROM removals WHERE id = ?", removal.id);
    return {};
}

} // namespace localservice
