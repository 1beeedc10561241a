#include "Bookings.h"

#include "../Storage.h"

#include <algorithm>
#include <sstream>

namespace localservice {

namespace {

constexpr const char* Bookable = " FROM user_assignments u JOIN projects p ON p.id = u.project_id AND p.active"
                                 " JOIN clients c ON c.id = p.client_id"
                                 " JOIN task_assignments o ON o.project_id = p.id"
                                 " JOIN tasks t ON t.id = o.task_id AND t.active WHERE u.person_id = ?1";

/// The bookings on the projects whose numbers `which` selects.
std::vector<Booking> bookingsOn(SQLite::Database& database, Id person, const std::string& which,
                                const std::vector<std::string>& values)
{
    SQLite::Statement query(database, "SELECT p.id, t.id, p.code, p.name, c.name, t.name" + std::string(Bookable) +
                                          " AND p.id IN (" + which +
                                          ") ORDER BY c.name COLLATE NOCASE, c.id, p.name COLLATE NOCASE, p.id,"
                                          " t.name COLLATE NOCASE, t.id");
    query.bind(1, person);
    for (std::size_t i = 0; i < values.size(); ++i)
        query.bind(static_cast<int>(i) + 2, values[i]);
    std::vector<Booking> result;
    while (query.executeStep())
        result.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getInt64(),
                          projectText(query.getColumn(2).getString(), query.getColumn(3).getString()),
                          query.getColumn(4).getString(), query.getColumn(5).getString()});
    return result;
}

/// The numbers of bookable projects, one more than `FewProjects` at most.
std::string someProjects(const std::string& condition = {})
{
    return "SELECT DISTINCT p.id" + std::string(Bookable) + condition +
           " ORDER BY c.name COLLATE NOCASE, p.name COLLATE NOCASE, p.id LIMIT " +
           std::to_string(Bookings::FewProjects + 1);
}

std::ptrdiff_t projectsIn(const std::vector<Booking>& bookings)
{
    std::vector<Id> projects;
    std::transform(bookings.begin(), bookings.end(), std::back_inserter(projects),
                   [](const auto& booking) { return booking.project; });
    return std::unique(projects.begin(), projects.end()) - projects.begin();
}

} // namespace

std::string bookingText(Id project, Id task)
{
    return std::to_string(project) + "-" + std::to_string(task);
}

tl::expected<Bookings::List, Problem> Bookings::atHand(const std::string& chosen)
{
    return m_storage.look([&](SQLite::Database& database) -> tl::expected<List, Problem> {
        List list{bookingsOn(database, m_person.id, someProjects(), {})};
        if (projectsIn(list.bookings) <= FewProjects)
            return list;
        // Twenty of the latest two hundred entries are what most people work on in a month.
        constexpr const char* lately =
            "SELECT project_id FROM (SELECT project_id, MAX(id) AS latest FROM (SELECT project_id, id FROM entries"
            " WHERE person_id = ?1 ORDER BY spent_at DESC, id DESC LIMIT 200) GROUP BY project_id"
            " ORDER BY latest DESC LIMIT 20) UNION SELECT CAST(?2 AS INTEGER)";
        auto used = bookingsOn(database, m_person.id, lately, {chosen.substr(0, chosen.find('-'))});
        if (!used.empty())
            list.bookings = std::move(used);
        list.whole = false;
        return list;
    });
}

tl::expected<Bookings::List, Problem> Bookings::find(std::string_view words)
{
    std::string condition;
    std::vector<std::string> values;
    std::istringstream pieces{std::string(words)};
    for (std::string word; pieces >> word && values.size() < 8;) {
        std::string pattern = "%";
        for (const char c : word) {
            if (c == '%' || c == '_' || c == '\\')
                pattern += '\\';
            pattern += c;
        }
        values.push_back(pattern + "%");
        condition +=
            " AND p.code || ' ' || p.name || ' ' || c.name LIKE ?" + std::to_string(values.size() + 1) + " ESCAPE '\\'";
    }
    return m_storage.look([&](SQLite::Database& database) -> tl::expected<List, Problem> {
        List list{bookingsOn(database, m_person.id, someProjects(condition), values)};
        if (projectsIn(list.bookings) > FewProjects) {
            const Id surplus = list.bookings.back().project;
            std::erase_if(list.bookings, [&](const auto& booking) { return booking.project == surplus; });
            list.whole = false;
        }
        return list;
    });
}

tl::expected<std::string, Problem> Bookings::last()
{
    return m_storage.look([&](SQLite::Database& database) -> tl::expected<std::string, Problem> {
        SQLite::Statement query(database, "SELECT p.id, t.id" + std::string(Bookable) +
                                              " AND (p.id, t.id) = (SELECT project_id, task_id FROM entries"
                                              " WHERE person_id = ?1 ORDER BY id DESC LIMIT 1)");
        query.bind(1, m_person.id);
        if (!query.executeStep())
            return std::string();
        return bookingText(query.getColumn(0).getInt64(), query.getColumn(1).getInt64());
    });
}

} // namespace localservice
