#include "CatalogPages.h"

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string List = "/tasks";

void writeName(Html& html, const std::string& label, const std::string& value, const std::optional<Problem>& problem)
{
    writeField(html, {.name = "name",
                      .label = label,
                      .value = value,
                      .error = errorOf(problem, "Name"),
                      .required = true,
                      .longest = static_cast<int>(Catalog::LongestName)});
}

void writeNew(Html& html, const Visit& visit, const std::optional<Problem>& problem)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-label", "New task"}});
    const auto form = formTo(html, visit, List, "new-task");
    writeName(html, "New task", visit.form.text("name"), problem);
    writeCheck(html, {.name = "everywhere",
                      .label = "Offer on every project",
                      .checked = !problem || visit.form.has("everywhere"),
                      .id = "everywhere"});
    writeCheck(html, {.name = "billable",
                      .label = "Billable there",
                      .checked = !problem || visit.form.has("billable"),
                      .id = "billable"});
    html.leaf("button", {{"class", "main"}}, "Add Task");
}

void writeOffers(Html& html, const TaskLine& line, bool admin)
{
    if (line.projects == 0) {
        html.leaf("span", {{"class", "faint"}}, "No project");
        return;
    }
    bool first = true;
    for (const auto& project : line.examples) {
        if (!std::exchange(first, false))
            html.text(", ");
        writeNameLink(html, recordPath("/projects", project.id), project.name);
    }
    const auto more = line.projects - static_cast<int>(line.examples.size());
    if (more <= 0)
        return;
    html.text(" and ");
    if (admin)
        html.leaf("a", {{"href", recordPath(List, line.id)}}, std::to_string(more) + " more");
    else
        html.text(std::to_string(more) + " more");
}

Reply listPage(const Visit& visit, const std::optional<Problem>& problem)
{
    const auto query = ListQuery::read(visit.query);
    const auto found = CatalogViews(visit).tasks(query);
    if (!found)
        return problemPage(visit, found.error());
    const bool admin = visit.person.admin;
    return page(
        visit, {.title = "Tasks", .section = Section::Tasks, .status = problem ? problem->status : 200},
        [&](Html& html) {
            writeOtherProblem(html, problem, {"Name"});
            if (admin && !query.archived)
                writeNew(html, visit, problem);
            writeListHead(html, List, query, "Search tasks", found->active, found->archived);
            const auto sheet = html.in("section", {{"class", "sheet"}});
            if (found->lines.empty()) {
                if (!query.search.empty())
                    writeEmpty(html, "Nothing matches “" + query.search + "”.", List, "Show All");
                else if (query.archived)
                    writeEmpty(html, "Nothing is archived.");
                else if (admin)
                    writeEmpty(html, "Tasks are the kinds of work that projects offer. There are none yet.");
                else
                    writeEmpty(html, "There are no tasks on your projects yet.");
                return;
            }
            writeBookedKey(html);
            writeTable(
                html, "Tasks",
                {{"Task"}, {"Offered on"}, {"This month", true}, {"Total", true}, {"Share of the hours", false, true}},
                [&] {
                    for (const auto& line : found->lines) {
                        const auto row = html.in("tr");
                        {
                            const auto cell = html.in("th", {{"scope", "row"}, {"class", "named"}});
                            if (admin)
                                writeNameLink(html, recordPath(List, line.id), line.name);
                            else
                                localservice::writeName(html, line.name);
                        }
                        {
                            const auto cell = html.in("td", {{"class", "offers"}});
                            writeOffers(html, line, admin);
                        }
                        writeNumber(html, hoursMinutes(line.booked.month));
                        writeNumber(html, hoursMinutes(line.booked.all));
                        const auto cell = html.in("td", {{"class", "share"}});
                        writeBookedBar(html, line.booked, found->longest);
                    }
                });
            writePager(html, List, query, found->matches);
        });
}

Reply taskPage(const Visit& visit, Id id, const std::optional<Problem>& problem)
{
    const auto view = CatalogViews(visit).task(id);
    if (!view)
        return problemPage(visit, view.error());
    return page(
        visit,
        {.title = view->name,
         .section = Section::Tasks,
         .status = problem ? problem->status : 200,
         .upPath = List,
         .upName = "Tasks"},
        [&](Html& html) {
            writeOtherProblem(html, problem, {"Name"});
            {
                const auto sheet = html.in("section", {{"class", "sheet"}});
                writeFigures(html, view->booked);
                const auto form = formTo(html, visit, recordPath(List, id), "row");
                writeName(html, "Name", problem ? visit.form.text("name") : view->name, problem);
                html.leaf("button", {{"class", "main"}}, "Rename");
            }
            {
                const auto sheet = html.in("section", {{"class", "sheet"}});
                html.leaf("h2", "Offered on");
                if (view->projects.empty())
                    html.leaf("p", {{"class", "faint"}}, "No project offers this task. Choose it on a project’s page.");
                const auto projects = html.in("ul", {{"class", "chips"}});
                for (const auto& line : view->projects) {
                    const auto item = html.in("li");
                    writeNameLink(html, recordPath("/projects", line.id), projectText(line.code, line.name));
                    html.text(" ");
                    html.leaf("bdi", {{"class", "faint"}}, line.clientName);
                }
            }
            writeRecordEnd(html, visit,
                           {.path = recordPath(List, id),
                            .what = "task",
                            .active = view->active,
                            .archiving = "An archived task keeps its hours, and no new ones can be added.",
                            .staying = view->used ? "Time was booked on it, so it cannot be deleted." : "",
                            .booked = bookedAddress(visit, "task", id)});
        });
}

} // namespace

void addTaskPages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    site.add("GET", List, [](const Visit& visit, const Numbers&) { return listPage(visit, {}); });
    site.add(
        "GET", List + "/#", [](const Visit& visit, const Numbers& numbers) { return taskPage(visit, numbers[0], {}); },
        admins);
    site.add(
        "POST", List,
        [](const Visit& visit, const Numbers&) {
            const auto& form = visit.form;
            const auto added = changeCatalog(visit, [&](Catalog& catalog) {
                return catalog.add(Catalog::Kind::Task, form.text("name")).and_then([&](Id task) -> Catalog::Done {
                    return form.has("everywhere") ? catalog.offerTaskEverywhere(task, form.has("billable"))
                                                  : Catalog::Done();
                });
            });
            return added ? goTo(List, "added") : listPage(visit, added.error());
        },
        admins);
    site.add(
        "POST", List + "/#",
        [](const Visit& visit, const Numbers& numbers) {
            const auto renamed = changeCatalog(visit, [&](Catalog& catalog) {
                return catalog.rename(Catalog::Kind::Task, numbers[0], visit.form.text("name"));
            });
            return renamed ? goTo(recordPath(List, numbers[0]), "saved") : taskPage(visit, numbers[0], renamed.error());
        },
        admins);
    addRecordActs(site, List, "task", Section::Tasks, Catalog::Kind::Task, [](const Visit& visit, Id id) {
        const auto view = CatalogViews(visit).task(id);
        return view ? view->name : std::string();
    });
}

} // namespace localservice
