#include "CatalogViews.h"

#include "../Sql.h"
#include "../Storage.h"

#include <algorithm>
#include <array>
#include <map>

namespace localservice {

namespace {

using Row = SQLite::Statement;

/// Every query's parameters: who asks, and when.
struct Asker
{
    Id account = 0;
    Id person = 0; ///< 0 for administrators, who see everyone's
    Seconds now = 0;
    std::string month; ///< "2024-03-", the beginning of the present month's days
    std::string scope; ///< a condition: the entries `e` whose hours may be counted

    explicit Asker(const Visit& visit)
        : account(visit.person.account), person(visit.person.admin ? 0 : visit.person.id), now(visit.now),
          month(isoDayText(localDay(visit.now)).substr(0, 8)),
          scope(person != 0 ? "e.person_id = ?2" : "e.project_id IN (SELECT id FROM projects WHERE account_id = ?1)")
    {
    }

    void bind(Row& query) const { SQLite::bind(query, account, person, now, month); }
};

// Parameters of every statement below: ?1 account, ?2 the person asking (0 for all), ?3 now, ?4 the present month.
constexpr const char* Time = "(e.seconds + CASE WHEN e.timer_started < ?3 THEN ?3 - e.timer_started ELSE 0 END)";

/// The sums of a group of entries: `month` of the present month, `whole` of all.
const std::string Sums = std::string("SUM(CASE WHEN e.spent_at BETWEEN ?4 || '01' AND ?4 || '31' THEN ") + Time +
                         " ELSE 0 END) AS month, SUM(" + Time + ") AS whole";

/// Hours by project or task, `id`. Summed up in the order of the index first: what then is to be sorted is little.
std::string bookedBy(const Asker& asker, const std::string& column)
{
    return "SELECT " + column +
           " AS id, SUM(month) AS month, SUM(whole) AS whole FROM (SELECT e.project_id, e.task_id, " + Sums +
           " FROM entries e WHERE " + asker.scope + " GROUP BY 1, 2) GROUP BY 1";
}

constexpr const char* MayBook =
    "(?2 = 0 OR EXISTS (SELECT 1 FROM user_assignments u WHERE u.project_id = p.id AND u.person_id = ?2))";

constexpr const char* OfferedTasks =
    "(SELECT COUNT(*) FROM task_assignments a JOIN tasks t ON t.id = a.task_id WHERE a.project_id = p.id AND t.active)";
constexpr const char* AssignedPeople = "(SELECT COUNT(*) FROM user_assignments u JOIN people w ON w.id = u.person_id"
                                       " WHERE u.project_id = p.id AND w.active)";

/// The columns of a ProjectLine; `c`, `p` and `b` are its client, its project and the hours on it.
std::string projectColumns()
{
    return std::string("SELECT c.id, c.name, c.active, COALESCE(p.id, 0), COALESCE(p.name, ''), COALESCE(p.code, ''),"
                       " COALESCE(p.billable, 1), COALESCE(p.active, 1), ") +
           OfferedTasks + ", " + AssignedPeople + ", COALESCE(b.month, 0), COALESCE(b.whole, 0)";
}

ProjectLine projectLine(Row& row)
{
    return {row.getColumn(0).getInt64(),
            row.getColumn(1).getString(),
            row.getColumn(2).getInt() != 0,
            row.getColumn(3).getInt64(),
            row.getColumn(4).getString(),
            row.getColumn(5).getString(),
            row.getColumn(6).getInt() != 0,
            row.getColumn(7).getInt() != 0,
            row.getColumn(8).getInt(),
            row.getColumn(9).getInt(),
            {row.getColumn(10).getInt64(), row.getColumn(11).getInt64()}};
}

int count(SQLite::Database& database, const Asker& asker, const std::string& from)
{
    Row query(database, "SELECT COUNT(*) FROM " + from);
    query.bind(1, asker.account);
    query.bind(2, asker.person);
    return query.executeStep() ? query.getColumn(0).getInt() : 0;
}

/// Further parameters of lists: ?5 whether archived, ?6 the search text, ?7 and ?8 the lines of a page.
void bindList(Row& query, const Asker& asker, const ListQuery& asked)
{
    asker.bind(query);
    query.bind(5, int{asked.archived});
    query.bind(6, asked.search);
    query.bind(7, ListQuery::PerPage);
    query.bind(8, ListQuery::PerPage * (asked.page - 1));
}

Booked bookedOn(SQLite::Database& database, const Asker& asker, const std::string& column, Id id)
{
    Row query(database, "SELECT " + Sums + " FROM entries e WHERE " + asker.scope + " AND e." + column + " = ?5");
    asker.bind(query);
    query.bind(5, id);
    query.executeStep();
    return {query.getColumn(0).getInt64(), query.getColumn(1).getInt64()};
}

tl::unexpected<Problem> gone(const std::string& what)
{
    return tl::unexpected(Problem{404, "Missing", "This " + what + " no longer exists."});
}

std::vector<ProjectTask> tasksOf(SQLite::Database& database, const Asker& asker, Id project, Id like)
{
    Row query(database, "SELECT t.id, t.name, t.active, a.id IS NOT NULL, COALESCE(a.billable, 1),"
                        " (SELECT COALESCE(SUM(" +
                            std::string(Time) +
                            "), 0) FROM entries e WHERE e.project_id = ?5 AND e.task_id = t.id"
                            " AND (?2 = 0 OR e.person_id = ?2))"
                            " FROM tasks t LEFT JOIN task_assignments a ON a.task_id = t.id AND a.project_id = ?6"
                            " WHERE t.account_id = ?1 AND (t.active OR a.id IS NOT NULL)"
                            " ORDER BY a.id IS NULL, t.name COLLATE NOCASE, t.id");
    asker.bind(query);
    query.bind(5, project);
    query.bind(6, like);
    std::vector<ProjectTask> tasks;
    while (query.executeStep())
        tasks.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getString(),
                         query.getColumn(2).getInt() != 0, query.getColumn(3).getInt() != 0,
                         query.getColumn(4).getInt() != 0, query.getColumn(5).getInt64()});
    return tasks;
}

std::vector<ProjectPerson> peopleOf(SQLite::Database& database, const Asker& asker, Id project)
{
    Row query(database, "WITH booked AS (SELECT e.person_id AS id, " + Sums +
                            " FROM entries e WHERE e.project_id = ?5 GROUP BY 1)"
                            " SELECT w.id, trim(w.first_name || ' ' || w.last_name), w.email, u.id IS NOT NULL,"
                            " COALESCE(b.whole, 0) FROM people w LEFT JOIN booked b ON b.id = w.id"
                            " LEFT JOIN user_assignments u ON u.person_id = w.id AND u.project_id = ?5"
                            " WHERE w.account_id = ?1 AND w.active AND (?2 = 0 OR w.id = ?2)"
                            " ORDER BY u.id IS NULL, w.first_name COLLATE NOCASE, w.last_name COLLATE NOCASE, w.id");
    asker.bind(query);
    query.bind(5, project);
    std::vector<ProjectPerson> people;
    while (query.executeStep()) {
        const auto name = query.getColumn(1).getString();
        people.push_back({query.getColumn(0).getInt64(), name.empty() ? query.getColumn(2).getString() : name,
                          query.getColumn(3).getInt() != 0, query.getColumn(4).getInt64()});
    }
    return people;
}

std::vector<MonthHours> monthsOf(SQLite::Database& database, const Asker& asker, Id project)
{
    using namespace std::chrono;
    constexpr std::array names{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const Day today = localDay(asker.now);
    const auto first = year_month(today.year(), today.month()) - std::chrono::months(11);
    Row query(database, "SELECT substr(e.spent_at, 1, 8), SUM(" + std::string(Time) +
                            ") FROM entries e WHERE e.project_id = ?5 AND (?2 = 0 OR e.person_id = ?2)"
                            " AND e.spent_at >= ?6 GROUP BY 1");
    asker.bind(query);
    query.bind(5, project);
    query.bind(6, isoDayText(first / 1));
    std::map<std::string, Seconds> booked;
    while (query.executeStep())
        booked[query.getColumn(0).getString()] = query.getColumn(1).getInt64();
    std::vector<MonthHours> result;
    for (int i = 0; i < 12; ++i) {
        const auto month = first + std::chrono::months(i);
        result.push_back({std::string(names[static_cast<unsigned>(month.month()) - 1]) + " " +
                              std::to_string(static_cast<int>(month.year())),
                          booked[isoDayText(month / 1).substr(0, 8)]});
    }
    return result;
}

} // namespace

ListQuery ListQuery::read(const Form& query)
{
    return {query.trimmed("q"), query.has("archived"), static_cast<int>(std::clamp<Id>(query.id("page"), 1, 1000000))};
}

std::string ListQuery::address(std::string_view path, int toPage) const
{
    std::string result(path);
    const auto add = [&](const std::string& field) { (result += result.size() == path.size() ? '?' : '&') += field; };
    if (archived)
        add("archived=1");
    if (!search.empty())
        add("q=" + urlEncoded(search));
    if (toPage > 1)
        add("page=" + std::to_string(toPage));
    return result;
}

CatalogViews::Seen<Listing<ProjectLine>> CatalogViews::projects(const ListQuery& asked) const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<Listing<ProjectLine>> {
        const Asker asker(m_visit);
        // Administrators also see clients that have no projects yet.
        Row query(database,
                  "WITH booked AS (" + bookedBy(asker, "project_id") + ") " + projectColumns() +
                      ", COUNT(*) OVER (), MAX(b.whole) OVER () FROM clients c"
                      " LEFT JOIN projects p ON p.client_id = c.id AND p.active <> ?5 AND " +
                      MayBook +
                      " LEFT JOIN booked b ON b.id = p.id WHERE c.account_id = ?1 AND"
                      " (p.id IS NOT NULL OR (?2 = 0 AND c.active <> ?5 AND"
                      "   NOT EXISTS (SELECT 1 FROM projects o WHERE o.client_id = c.id AND o.active <> ?5)))"
                      " AND (?6 = '' OR instr(lower(c.name || char(10) || COALESCE(p.name, '') || char(10) ||"
                      "   COALESCE(p.code, '')), lower(?6)))"
                      " ORDER BY c.name COLLATE NOCASE, c.id, p.name COLLATE NOCASE, p.code, p.id LIMIT ?7 OFFSET ?8");
        bindList(query, asker, asked);
        Listing<ProjectLine> list;
        while (query.executeStep()) {
            list.lines.push_back(projectLine(query));
            list.matches = query.getColumn(12).getInt();
            list.longest = query.getColumn(13).getInt64();
        }
        const std::string mine = std::string("projects p WHERE p.account_id = ?1 AND ") + MayBook;
        list.active = count(database, asker, mine + " AND p.active");
        list.archived = count(database, asker, mine + " AND NOT p.active") +
                        count(database, asker,
                              "clients c WHERE c.account_id = ?1 AND ?2 = 0 AND NOT c.active"
                              " AND NOT EXISTS (SELECT 1 FROM projects p WHERE p.client_id = c.id)");
        return list;
    });
}

CatalogViews::Seen<Listing<TaskLine>> CatalogViews::tasks(const ListQuery& asked) const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<Listing<TaskLine>> {
        const Asker asker(m_visit);
        const std::string mayUse = std::string("(?2 = 0 OR EXISTS (SELECT 1 FROM task_assignments a JOIN projects p"
                                               " ON p.id = a.project_id AND p.active WHERE a.task_id = t.id AND ") +
                                   MayBook + "))";
        Row query(database, "WITH booked AS (" + bookedBy(asker, "task_id") +
                                ") SELECT t.id, t.name, COALESCE(b.month, 0), COALESCE(b.whole, 0), COUNT(*) OVER (),"
                                " MAX(b.whole) OVER () FROM tasks t LEFT JOIN booked b ON b.id = t.id"
                                " WHERE t.account_id = ?1 AND t.active <> ?5 AND " +
                                mayUse +
                                " AND (?6 = '' OR instr(lower(t.name), lower(?6)))"
                                " ORDER BY t.name COLLATE NOCASE, t.id LIMIT ?7 OFFSET ?8");
        bindList(query, asker, asked);
        Listing<TaskLine> list;
        std::map<Id, std::size_t> places;
        while (query.executeStep()) {
            places[query.getColumn(0).getInt64()] = list.lines.size();
            list.lines.push_back({query.getColumn(0).getInt64(),
                                  query.getColumn(1).getString(),
                                  {query.getColumn(2).getInt64(), query.getColumn(3).getInt64()}});
            list.matches = query.getColumn(4).getInt();
            list.longest = query.getColumn(5).getInt64();
        }
        const std::string mine = "tasks t WHERE t.account_id = ?1 AND " + mayUse;
        list.active = count(database, asker, mine + " AND t.active");
        list.archived = count(database, asker, mine + " AND NOT t.active");

        Row offers(database,
                   std::string("SELECT a.task_id, p.id, p.code, p.name FROM task_assignments a JOIN projects p"
                               " ON p.id = a.project_id WHERE p.account_id = ?1 AND p.active AND ") +
                       MayBook + " ORDER BY p.name COLLATE NOCASE, p.id");
        offers.bind(1, asker.account);
        offers.bind(2, asker.person);
        while (offers.executeStep()) {
            const auto place = places.find(offers.getColumn(0).getInt64());
            if (place == places.end())
                continue;
            auto& line = list.lines[place->second];
            if (++line.projects <= 3)
                line.examples.push_back({offers.getColumn(1).getInt64(), projectText(offers.getColumn(2).getString(),
                                                                                     offers.getColumn(3).getString())});
        }
        return list;
    });
}

CatalogViews::Seen<ProjectView> CatalogViews::project(Id id) const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<ProjectView> {
        const Asker asker(m_visit);
        Row query(database,
                  std::string("SELECT p.client_id, p.name, p.code, p.billable, c.name, c.active, p.active,"
                              " EXISTS (SELECT 1 FROM entries e WHERE e.project_id = p.id) FROM projects p"
                              " JOIN clients c ON c.id = p.client_id WHERE p.account_id = ?1 AND p.id = ?3 AND ") +
                      MayBook);
        SQLite::bind(query, asker.account, asker.person, id);
        if (!query.executeStep())
            return gone("project");
        ProjectView view;
        view.fields = {query.getColumn(0).getInt64(), query.getColumn(1).getString(), query.getColumn(2).getString(),
                       query.getColumn(3).getInt() != 0};
        view.clientName = query.getColumn(4).getString();
        view.clientActive = query.getColumn(5).getInt() != 0;
        view.active = query.getColumn(6).getInt() != 0;
        view.used = query.getColumn(7).getInt() != 0;
        view.booked = bookedOn(database, asker, "project_id", id);
        view.tasks = tasksOf(database, asker, id, id);
        view.people = peopleOf(database, asker, id);
        view.months = monthsOf(database, asker, id);
        return view;
    });
}

CatalogViews::Seen<ProjectView> CatalogViews::newProject() const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<ProjectView> {
        const Asker asker(m_visit);
        ProjectView view;
        // Offered are the tasks of the newest project on which there is something to bill, as on this one.
        const Id newest = number(database,
                                 "SELECT COALESCE(MAX(p.id), (SELECT MAX(id) FROM projects WHERE account_id = ?1"
                                 " AND active), 0) FROM projects p WHERE p.account_id = ?1 AND p.active AND p.billable"
                                 " AND EXISTS (SELECT 1 FROM task_assignments o JOIN tasks t ON t.id = o.task_id"
                                 "   WHERE o.project_id = p.id AND o.billable AND t.active)",
                                 asker.account);
        view.tasks = tasksOf(database, asker, 0, newest);
        std::erase_if(view.tasks, [](const auto& task) { return !task.active; });
        view.people = peopleOf(database, asker, 0);
        for (auto& person : view.people)
            person.assigned = person.id == m_visit.person.id;
        return view;
    });
}

CatalogViews::Seen<ClientView> CatalogViews::client(Id id) const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<ClientView> {
        const Asker asker(m_visit);
        Row client(database, "SELECT name, active FROM clients WHERE id = ? AND account_id = ?");
        SQLite::bind(client, id, asker.account);
        if (!client.executeStep())
            return gone("client");
        ClientView view{client.getColumn(0).getString(), client.getColumn(1).getInt() != 0, {}};
        Row query(database, "WITH booked AS (" + bookedBy(asker, "project_id") + ") " + projectColumns() +
                                " FROM clients c JOIN projects p ON p.client_id = c.id"
                                " LEFT JOIN booked b ON b.id = p.id WHERE c.id = ?5"
                                " ORDER BY NOT p.active, p.name COLLATE NOCASE, p.id");
        asker.bind(query);
        query.bind(5, id);
        while (query.executeStep()) {
            view.projects.push_back(projectLine(query));
            view.activeProjects += view.projects.back().active ? 1 : 0;
            view.longest = std::max(view.longest, view.projects.back().booked.all);
        }
        return view;
    });
}

CatalogViews::Seen<TaskView> CatalogViews::task(Id id) const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<TaskView> {
        const Asker asker(m_visit);
        Row task(database, "SELECT name, active, EXISTS (SELECT 1 FROM entries e WHERE e.task_id = t.id) FROM tasks t"
                           " WHERE id = ? AND account_id = ?");
        SQLite::bind(task, id, asker.account);
        if (!task.executeStep())
            return gone("task");
        TaskView view{task.getColumn(0).getString(),
                      task.getColumn(1).getInt() != 0,
                      task.getColumn(2).getInt() != 0,
                      bookedOn(database, asker, "task_id", id),
                      {}};
        Row query(database, "WITH booked AS (" + bookedBy(asker, "project_id") + ") " + projectColumns() +
                                " FROM task_assignments x JOIN projects p ON p.id = x.project_id AND p.active"
                                " JOIN clients c ON c.id = p.client_id LEFT JOIN booked b ON b.id = p.id"
                                " WHERE x.task_id = ?5 ORDER BY p.name COLLATE NOCASE, p.id");
        asker.bind(query);
        query.bind(5, id);
        while (query.executeStep())
            view.projects.push_back(projectLine(query));
        return view;
    });
}

CatalogViews::Seen<std::vector<NamedRecord>> CatalogViews::clients(Id also) const
{
    return m_visit.storage.look([&](SQLite::Database& database) -> Seen<std::vector<NamedRecord>> {
        Row query(database, "SELECT id, name FROM clients WHERE account_id = ? AND (active OR id = ?)"
                            " ORDER BY name COLLATE NOCASE, id");
        SQLite::bind(query, m_visit.person.account, also);
        std::vector<NamedRecord> clients;
        while (query.executeStep())
            clients.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getString()});
        return clients;
    });
}

} // namespace localservice
