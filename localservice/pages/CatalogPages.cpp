#include "CatalogPages.h"

#include "RemovalPages.h"

#include <algorithm>

namespace localservice {

void addCatalogPages(Site& site)
{
    addProjectPages(site);
    addClientPages(site);
    addTaskPages(site);
}

std::string recordPath(std::string_view list, Id id)
{
    return std::string(list) + "/" + std::to_string(id);
}

void writeName(Html& html, std::string_view name)
{
    html.leaf("bdi", name);
}

void writeNameLink(Html& html, const std::string& path, std::string_view name)
{
    const auto link = html.in("a", {{"href", path}});
    writeName(html, name);
}

std::string errorOf(const std::optional<Problem>& problem, std::string_view kind)
{
    return problem && problem->kind == kind ? problem->message : std::string();
}

void writeOtherProblem(Html& html, const std::optional<Problem>& problem,
                       std::initializer_list<std::string_view> fields)
{
    if (problem && std::find(fields.begin(), fields.end(), problem->kind) == fields.end())
        html.leaf("p", {{"class", "problem"}, {"role", "alert"}}, problem->message);
}

void writeListHead(Html& html, std::string_view path, const ListQuery& query, std::string_view label, int active,
                   int archived)
{
    const bool many = !query.search.empty() || (query.archived ? archived : active) > 8;
    const bool both = archived > 0 || query.archived;
    if (!many && !both)
        return;
    const auto head = html.in("div", {{"class", "list-head"}});
    if (many) {
        const auto form =
            html.in("form", {{"method", "get"}, {"action", path}, {"role", "search"}, {"class", "search"}});
        if (query.archived)
            html.empty("input", {{"type", "hidden"}, {"name", "archived"}, {"value", "1"}});
        html.empty("input", {{"type", "search"},
                             {"name", "q"},
                             {"value", query.search},
                             {"aria-label", label},
                             {"placeholder", label}});
        html.leaf("button", "Search");
    }
    if (!both)
        return;
    const auto ways = html.in("ul", {{"class", "ways"}});
    const auto way = [&](bool toArchived, const std::string& text) {
        const auto item = html.in("li");
        html.leaf("a",
                  {{"href", ListQuery{query.search, toArchived}.address(path, 1)},
                   {"aria-current", query.archived == toArchived ? std::optional<std::string>("true") : std::nullopt}},
                  text);
    };
    way(false, "Active (" + std::to_string(active) + ")");
    way(true, "Archived (" + std::to_string(archived) + ")");
}

void writePager(Html& html, std::string_view path, const ListQuery& query, int matches)
{
    const int last = (matches + ListQuery::PerPage - 1) / ListQuery::PerPage;
    if (last < 2)
        return;
    const auto navigation = html.in("nav", {{"class", "pager"}, {"aria-label", "Pages"}});
    if (query.page > 1)
        html.leaf("a", {{"class", "button"}, {"rel", "prev"}, {"href", query.address(path, query.page - 1)}},
                  "‹ Previous");
    html.leaf("span", {{"class", "faint"}}, "Page " + std::to_string(query.page) + " of " + std::to_string(last));
    if (query.page < last)
        html.leaf("a", {{"class", "button"}, {"rel", "next"}, {"href", query.address(path, query.page + 1)}}, "Next ›");
}

void writeBookedBar(Html& html, const Booked& booked, Seconds longest)
{
    if (booked.all > 0)
        writeBar(html, {{booked.month, "billable"}, {booked.all - booked.month, "other"}}, longest);
}

void writeBookedKey(Html& html)
{
    const auto key = html.in("ul", {{"class", "key"}});
    const auto line = [&](std::string_view name, std::string_view text) {
        const auto item = html.in("li");
        html.leaf("span", {{"class", "swatch " + std::string(name)}}, {});
        html.text(text);
    };
    line("billable", "This month");
    line("other", "Earlier");
}

void writeFigures(Html& html, const Booked& booked)
{
    const auto list = html.in("dl", {{"class", "figures"}});
    const auto figure = [&](std::string_view name, Seconds seconds) {
        const auto box = html.in("div");
        html.leaf("dt", name);
        html.leaf("dd", hoursMinutes(seconds));
    };
    figure("This month", booked.month);
    figure("Total", booked.all);
}

const std::vector<Column>& projectColumns()
{
    static const std::vector<Column> columns{{"Project"},      {"Tasks", true},
                                             {"People", true}, {"This month", true},
                                             {"Total", true},  {"Share of the hours", false, true}};
    return columns;
}

void writeProjectCells(Html& html, const ProjectLine& line, Seconds longest)
{
    {
        const auto cell = html.in("th", {{"scope", "row"}, {"class", "named"}});
        writeNameLink(html, recordPath("/projects", line.id), projectText(line.code, line.name));
        if (!line.billable) {
            html.text(" ");
            html.leaf("span", {{"class", "badge unbillable"}}, "Not billable");
        }
        if (!line.active) {
            html.text(" ");
            html.leaf("span", {{"class", "badge archived"}}, "Archived");
        }
    }
    html.leaf("td", {{"class", "number count"}}, std::to_string(line.tasks));
    html.leaf("td", {{"class", "number count"}}, std::to_string(line.people));
    writeNumber(html, hoursMinutes(line.booked.month));
    writeNumber(html, hoursMinutes(line.booked.all));
    const auto cell = html.in("td", {{"class", "share"}});
    writeBookedBar(html, line.booked, longest);
}

std::string bookedAddress(const Visit& visit, const std::string& kind, Id id)
{
    return visit.storage
        .look([&](SQLite::Database& database) -> tl::expected<std::string, Problem> {
            SQLite::Statement query(database, "SELECT MIN(spent_at), MAX(spent_at) FROM entries WHERE project_id IN"
                                              " (SELECT id FROM projects WHERE account_id = ?) AND " +
                                                  kind + "_id = ?");
            SQLite::bind(query, visit.person.account, id);
            if (!query.executeStep() || query.getColumn(0).isNull())
                return std::string();
            return "/reports?from=" + query.getColumn(0).getString() + "&to=" + query.getColumn(1).getString() + "&" +
                   kind + "=" + std::to_string(id);
        })
        .value_or(std::string());
}

void writeRecordEnd(Html& html, const Visit& visit, const RecordEnd& record)
{
    const auto sheet = html.in("section", {{"class", "sheet end"}, {"aria-labelledby", "end"}});
    html.leaf("h2", {{"id", "end"}}, record.active ? "Archive or delete" : "Restore or delete");
    {
        const auto paragraph = html.in("p", {{"class", "faint"}});
        html.text(record.active ? record.archiving
                                : "This " + record.what + " is archived: nobody can book time on it.");
        html.text(record.staying.empty() ? "" : " " + record.staying);
        if (!record.booked.empty()) {
            html.text(" ");
            html.leaf("a", {{"href", record.booked}}, "See where");
        }
    }
    const auto buttons = html.in("div", {{"class", "buttons"}});
    if (record.active && record.asks) {
        html.leaf("a", {{"class", "button"}, {"href", record.path + "/archive"}}, "Archive…");
    } else {
        const auto form = formTo(html, visit, record.path + (record.active ? "/archive" : "/restore"));
        html.leaf("button", record.active ? "Archive" : "Restore");
    }
    if (record.staying.empty())
        html.leaf("a", {{"class", "button danger"}, {"href", record.path + "/delete"}}, "Delete…");
}

void addRecordActs(Site& site, const std::string& list, const std::string& what, Section section, Catalog::Kind kind,
                   std::string (*nameOf)(const Visit&, Id))
{
    using Numbers = std::vector<Id>;
    for (const bool active : {false, true}) {
        site.add(
            "POST", list + "/#/" + (active ? "restore" : "archive"),
            [=](const Visit& visit, const Numbers& numbers) {
                const auto done =
                    changeCatalog(visit, [&](Catalog& catalog) { return catalog.setActive(kind, numbers[0], active); });
                return done ? goTo(recordPath(list, numbers[0]), active ? "restored" : "archived")
                            : problemPage(visit, done.error());
            },
            Site::For::Administrators);
    }
    site.add(
        "GET", list + "/#/delete",
        [=](const Visit& visit, const Numbers& numbers) {
            const auto name = nameOf(visit, numbers[0]);
            if (name.empty())
                return problemPage(visit, {404, "Missing", "This " + what + " no longer exists."});
            const auto path = recordPath(list, numbers[0]);
            std::string title = "Delete This " + what + "?";
            title[12] = static_cast<char>(title[12] - 'a' + 'A');
            return questionPage(
                visit, {title, std::string(CanBeBroughtBack), path + "/delete", "Delete", "Keep", path, section},
                [&](Html& html) {
                    const auto line = html.in("p", {{"class", "about"}});
                    writeName(html, name);
                });
        },
        Site::For::Administrators);
    site.add(
        "POST", list + "/#/delete",
        [=](const Visit& visit, const Numbers& numbers) {
            const auto removed =
                changeCatalog(visit, [&](Catalog& catalog) { return catalog.remove(kind, numbers[0], visit.now); });
            return removed ? goToRemoved(list == "/clients" ? "/projects" : list, *removed)
                           : problemPage(visit, removed.error());
        },
        Site::For::Administrators);
}

} // namespace localservice
