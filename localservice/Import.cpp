#include "Import.h"

#include "NameText.h"
#include "People.h"
#include "Removals.h"
#include "Sql.h"

#include <algorithm>

namespace localservice {

namespace {

/// Names are compared as the data file does: case counts only beyond ASCII.
std::string folded(std::string name)
{
    for (char& c : name)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return name;
}

using Names = std::unordered_map<std::string, Id>;

/// Numbers by folded name; where archived and other records share one, the others'.
Names namesIn(SQLite::Database& database, const std::string& table, Id account)
{
    SQLite::Statement query(database,
                            "SELECT name, id FROM " + table + " WHERE account_id = ? ORDER BY active, id DESC");
    query.bind(1, account);
    Names names;
    while (query.executeStep())
        names[folded(query.getColumn(0).getString())] = query.getColumn(1).getInt64();
    return names;
}

std::string projectKey(const std::string& client, const std::string& name, const std::string& code)
{
    return folded(client) + '\n' + folded(name) + '\n' + folded(code);
}

std::string entryKey(Id person, const std::string& day, Id project, Id task, Seconds seconds, const std::string& notes)
{
    return std::to_string(person) + ' ' + day + ' ' + std::to_string(project) + ' ' + std::to_string(task) + ' ' +
           std::to_string(seconds) + ' ' + notes;
}

} // namespace

/// Adds rows, and remembers for the import which: within a transaction their ids are consecutive.
class Importer::Rows
{
public:
    Rows(SQLite::Database& database, Id import) : m_database(database), m_import(import) {}

    template <typename... Values>
    Id add(const std::string& table, const std::string& columns, const Values&... values)
    {
        auto& statement = m_statements[table];
        if (!statement) {
            std::string marks;
            for (std::size_t i = 0; i < sizeof...(values); ++i)
                marks += i == 0 ? "?" : ", ?";
            statement = std::make_unique<SQLite::Statement>(m_database, "INSERT INTO " + table + " (" + columns +
                                                                            ") VALUES (" + marks + ")");
        }
        statement->reset();
        int index = 0;
        (bind(*statement, ++index, values), ...);
        statement->exec();
        const Id id = m_database.getLastInsertRowid();
        auto& range = m_ranges.try_emplace(table, id, id).first->second;
        range.second = id;
        return id;
    }

    void remember()
    {
        for (const auto& [table, range] : m_ranges)
            execute(m_database,
                    "INSERT INTO imported_rows (import_id, table_name, first_id, last_id) VALUES (?, ?, ?, ?)",
                    m_import, table, range.first, range.second);
    }

private:
    template <typename Value>
    static void bind(SQLite::Statement& statement, int index, const Value& value)
    {
        statement.bind(index, value);
    }
    template <typename Value>
    static void bind(SQLite::Statement& statement, int index, const std::optional<Value>& value)
    {
        if (value)
            statement.bind(index, *value);
        else
            statement.bind(index);
    }

    SQLite::Database& m_database;
    const Id m_import;
    std::map<std::string, std::unique_ptr<SQLite::Statement>> m_statements;
    std::map<std::string, std::pair<Id, Id>> m_ranges;
};

Importer::Importer(SQLite::Database& database, const Person& person, const Incoming& incoming)
    : m_database(database), m_person(person), m_incoming(incoming)
{
    matchClients();
    matchTasks();
    matchPeople();
    matchProjects();
    matchEntries();
}

void Importer::matchClients()
{
    auto known = namesIn(m_database, "clients", m_person.account);
    for (const auto& client : m_incoming.clients) {
        const auto [found, isNew] = known.try_emplace(folded(client.name), 0);
        m_clients.push_back(found->second);
        if (isNew)
            m_plan.clients.push_back(client.name);
    }
    if (const auto found = known.find(folded(m_incoming.homeless)); found != known.end())
        m_homeless = found->second;
}

void Importer::matchTasks()
{
    auto known = namesIn(m_database, "tasks", m_person.account);
    for (const auto& task : m_incoming.tasks) {
        const auto [found, isNew] = known.try_emplace(folded(task.name), 0);
        m_tasks.push_back(found->second);
        if (isNew)
            m_plan.tasks.push_back(task.name);
    }
}

void Importer::matchPeople()
{
    Names byEmail;
    Names byName;
    SQLite::Statement query(m_database, "SELECT id, email, first_name, last_name FROM people WHERE account_id = ?");
    query.bind(1, m_person.account);
    while (query.executeStep()) {
        const Id id = query.getColumn(0).getInt64();
        const auto email = query.getColumn(1).getString();
        byEmail[folded(email)] = id;
        byName[folded(fullName(query.getColumn(2).getString(), query.getColumn(3).getString(), email))] = id;
    }
    // One person alone is the same person, whatever address they had.
    const bool isAlone = byEmail.size() == 1 && m_incoming.people.size() == 1 && !m_incoming.people[0].email.empty();
    for (const auto& person : m_incoming.people) {
        const auto& known = person.email.empty() ? byName : byEmail;
        const auto found = known.find(folded(person.email.empty() ? person.firstName : person.email));
        m_people.push_back(found != known.end() ? found->second : isAlone ? m_person.id : 0);
        if (m_people.back() == 0 && !person.email.empty())
            m_plan.people.push_back(fullName(person.firstName, person.lastName, person.email));
    }
}

Id Importer::homelessProject(const Incoming::Project& project)
{
    return number(m_database,
                  "SELECT id FROM projects WHERE account_id = ?1 AND name = ?2 COLLATE NOCASE"
                  " AND (?3 = '' OR code = ?3 COLLATE NOCASE) ORDER BY active DESC, id",
                  m_person.account, project.name, project.code);
}

void Importer::matchProjects()
{
    Names known;
    SQLite::Statement query(m_database, "SELECT p.id, c.name, p.name, p.code FROM projects p"
                                        " JOIN clients c ON c.id = p.client_id WHERE p.account_id = ?"
                                        " ORDER BY p.active, p.id DESC");
    query.bind(1, m_person.account);
    while (query.executeStep())
        known[projectKey(query.getColumn(1).getString(), query.getColumn(2).getString(),
                         query.getColumn(3).getString())] = query.getColumn(0).getInt64();
    bool usesHomeless = false;
    for (const auto& project : m_incoming.projects) {
        const bool isHomeless = project.client == Incoming::None;
        const auto& client = isHomeless ? m_incoming.homeless : m_incoming.clients[project.client].name;
        const Id elsewhere = isHomeless ? homelessProject(project) : 0;
        const auto [found, isNew] = known.try_emplace(projectKey(client, project.name, project.code), elsewhere);
        m_projects.push_back(elsewhere != 0 ? elsewhere : found->second);
        if (isNew && elsewhere == 0) {
            m_plan.projects.push_back(projectText(project.code, project.name));
            usesHomeless = usesHomeless || isHomeless;
        }
    }
    const auto isHomelessName = [&](const std::string& name) { return folded(name) == folded(m_incoming.homeless); };
    if (usesHomeless && m_homeless == 0 && std::none_of(m_plan.clients.begin(), m_plan.clients.end(), isHomelessName))
        m_plan.clients.push_back(m_incoming.homeless);
}

void Importer::matchEntries()
{
    const auto place = [](const std::vector<Id>& ids, std::size_t at) { return at < ids.size() ? ids[at] : 0; };
    if (m_incoming.entries.empty())
        return;
    const auto [first, last] =
        std::minmax_element(m_incoming.entries.begin(), m_incoming.entries.end(),
                            [](const auto& one, const auto& other) { return one.day < other.day; });
    // As often as it is there, so that two that are alike stay two.
    std::unordered_map<std::string, int> there;
    SQLite::Statement query(m_database, "SELECT person_id, spent_at, project_id, task_id, seconds, notes FROM entries"
                                        " WHERE person_id IN (SELECT id FROM people WHERE account_id = ?)"
                                        " AND spent_at BETWEEN ? AND ?");
    SQLite::bind(query, m_person.account, isoDayText(first->day), isoDayText(last->day));
    while (query.executeStep())
        ++there[entryKey(query.getColumn(0).getInt64(), query.getColumn(1).getString(), query.getColumn(2).getInt64(),
                         query.getColumn(3).getInt64(), query.getColumn(4).getInt64(), query.getColumn(5).getString())];
    for (const auto& entry : m_incoming.entries) {
        const Id person = entry.person == Incoming::None ? m_person.id : place(m_people, entry.person);
        const bool isStranger = person == 0 && m_incoming.people[entry.person].email.empty();
        const auto found = there.find(entryKey(person, isoDayText(entry.day), place(m_projects, entry.project),
                                               place(m_tasks, entry.task), entry.seconds, entry.notes));
        const bool isThere = found != there.end() && found->second-- > 0;
        m_isNew.push_back(!isStranger && !isThere);
        m_plan.strangers += isStranger ? 1 : 0;
        m_plan.present += !isStranger && isThere ? 1 : 0;
        if (!m_isNew.back())
            continue;
        ++m_plan.entries;
        m_plan.time += entry.seconds;
        m_plan.first = std::min(m_plan.first.value_or(entry.day), entry.day);
        m_plan.last = std::max(m_plan.last.value_or(entry.day), entry.day);
    }
}

void Importer::addOffersAndAssignments(Rows& rows)
{
    std::set<std::pair<Id, Id>> offered;
    std::set<std::pair<Id, Id>> assigned;
    const auto read = [&](const char* sql, std::set<std::pair<Id, Id>>& pairs) {
        SQLite::Statement query(m_database, sql);
        query.bind(1, m_person.account);
        while (query.executeStep())
            pairs.emplace(query.getColumn(0).getInt64(), query.getColumn(1).getInt64());
    };
    read("SELECT project_id, task_id FROM task_assignments WHERE account_id = ?", offered);
    read("SELECT project_id, person_id FROM user_assignments WHERE account_id = ?", assigned);
    for (const auto& offer : m_incoming.offers) {
        const std::pair pair{m_projects[offer.project], m_tasks[offer.task]};
        if (offered.insert(pair).second)
            rows.add("task_assignments", "account_id, project_id, task_id, billable, rate", m_person.account,
                     pair.first, pair.second, int{offer.billable}, offer.rate);
    }
    for (const auto& assignment : m_incoming.assignments) {
        const std::pair pair{m_projects[assignment.project],
                             assignment.person == Incoming::None ? m_person.id : m_people[assignment.person]};
        if (pair.second != 0 && assigned.insert(pair).second)
            rows.add("user_assignments", "account_id, project_id, person_id, rate", m_person.account, pair.first,
                     pair.second, assignment.rate);
    }
}

Id Importer::apply(const std::string& name, Seconds now)
{
    const Id import = insert(m_database, "INSERT INTO imports (account_id, name, entries, made_at) VALUES (?, ?, ?, ?)",
                             m_person.account, name, static_cast<Id>(m_plan.entries), now);
    Rows rows(m_database, import);
    const Id account = m_person.account;
    // What the file names twice is made once.
    Names made;
    const auto make = [&](std::vector<Id>& ids, std::size_t at, const std::string& key, const auto& add) {
        if (ids[at] != 0)
            return;
        auto& id = made[key];
        ids[at] = id = id != 0 ? id : add();
    };
    for (std::size_t i = 0; i < m_clients.size(); ++i) {
        const auto& client = m_incoming.clients[i];
        make(m_clients, i, "client " + folded(client.name),
             [&] { return rows.add("clients", "account_id, name, active", account, client.name, int{client.active}); });
    }
    for (std::size_t i = 0; i < m_tasks.size(); ++i) {
        const auto& task = m_incoming.tasks[i];
        make(m_tasks, i, "task " + folded(task.name), [&] {
            return rows.add("tasks", "account_id, name, rate, active", account, task.name, task.rate, int{task.active});
        });
    }
    for (std::size_t i = 0; i < m_people.size(); ++i) {
        const auto& person = m_incoming.people[i];
        if (person.email.empty())
            continue;
        // Without a password nobody can sign in yet.
        make(m_people, i, "person " + folded(person.email), [&] {
            return rows.add("people", "account_id, email, first_name, last_name, admin, rate, password_hash, active",
                            account, person.email, person.firstName, person.lastName, int{person.admin}, person.rate,
                            "", int{person.active});
        });
    }
    for (std::size_t i = 0; i < m_projects.size(); ++i) {
        const auto& project = m_incoming.projects[i];
        const bool isHomeless = project.client == Incoming::None;
        const auto& clientName = isHomeless ? m_incoming.homeless : m_incoming.clients[project.client].name;
        make(m_projects, i, "project " + projectKey(clientName, project.name, project.code), [&] {
            if (isHomeless && m_homeless == 0) {
                auto& client = made["client " + folded(m_incoming.homeless)];
                client = client != 0 ? client
                                     : rows.add("clients", "account_id, name, active", account, m_incoming.homeless, 1);
                m_homeless = client;
            }
            const Id client = isHomeless ? m_homeless : m_clients[project.client];
            // Those of an archived client are archived, too.
            const bool active =
                project.active && number(m_database, "SELECT active FROM clients WHERE id = ?", client) != 0;
            return rows.add("projects", "account_id, client_id, name, code, billable, bill_by, rate, active", account,
                            client, project.name, project.code, int{project.billable}, project.billBy, project.rate,
                            int{active});
        });
    }
    addOffersAndAssignments(rows);
    for (std::size_t i = 0; i < m_isNew.size(); ++i) {
        if (!m_isNew[i])
            continue;
        const auto& entry = m_incoming.entries[i];
        rows.add("entries",
                 "person_id, project_id, task_id, spent_at, notes, seconds, started_at, ended_at, locked_reason,"
                 " billed, created_at, updated_at",
                 entry.person == Incoming::None ? m_person.id : m_people[entry.person], m_projects[entry.project],
                 m_tasks[entry.task], isoDayText(entry.day), entry.notes, entry.seconds, entry.startedAt, entry.endedAt,
                 entry.lockedReason, int{entry.billed}, entry.created != 0 ? entry.created : now,
                 entry.updated != 0 ? entry.updated : now);
    }
    rows.remember();
    return import;
}

tl::expected<Id, Problem> Importer::undo(SQLite::Database& database, const Person& person, Id import, Seconds now)
{
    SQLite::Statement query(database, "SELECT name FROM imports WHERE id = ? AND account_id = ?");
    SQLite::bind(query, import, person.account);
    if (!query.executeStep())
        return tl::unexpected(Problem{404, "Missing", "This import has been undone already."});
    Removals removals(database, person.account);
    const Id removal =
        removals.begin({.table = "imports", .record = import, .name = query.getColumn(0).getString(), .removed = now});
    query.reset();
    const auto made = [&](const std::string& table) {
        const std::string of =
            " FROM imported_rows WHERE import_id = " + std::to_string(import) + " AND table_name = '" + table + "')";
        return table + ".id BETWEEN (SELECT first_id" + of + " AND (SELECT last_id" + of;
    };
    execute(database,
            "UPDATE entries SET seconds = seconds + MAX(0, ? - timer_started), timer_started = NULL"
            " WHERE timer_started IS NOT NULL AND " +
                made("entries"),
            now);
    removals.take(removal, "entries", made("entries"));
    const std::string unused = " AND NOT EXISTS (SELECT 1 FROM entries e WHERE e.";
    const std::string projects =
        "SELECT id FROM projects WHERE " + made("projects") + unused + "project_id = projects.id)";
    const std::string tasks = "SELECT id FROM tasks WHERE " + made("tasks") + unused + "task_id = tasks.id)";
    const std::string people = "SELECT id FROM people WHERE " + made("people") + unused + "person_id = people.id)";
    removals.take(removal, "task_assignments",
                  "project_id IN (" + projects + ") OR task_id IN (" + tasks + ") OR (" + made("task_assignments") +
                      unused + "project_id = task_assignments.project_id AND e.task_id = task_assignments.task_id))");
    removals.take(removal, "user_assignments",
                  "project_id IN (" + projects + ") OR person_id IN (" + people + ") OR (" + made("user_assignments") +
                      unused +
                      "project_id = user_assignments.project_id AND e.person_id = user_assignments.person_id))");
    execute(database, "DELETE FROM sessions WHERE person_id IN (" + people + ")");
    removals.take(removal, "projects", "id IN (" + projects + ")");
    removals.take(removal, "tasks", "id IN (" + tasks + ")");
    removals.take(removal, "people", "id IN (" + people + ")");
    removals.take(removal, "clients",
                  made("clients") + " AND NOT EXISTS (SELECT 1 FROM projects p WHERE p.client_id = clients.id)");
    removals.take(removal, "imported_rows", "import_id = ?", import);
    removals.take(removal, "imports", "id = ?", import);
    return removal;
}

} // namespace localservice
