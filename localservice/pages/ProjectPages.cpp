#include "../Samples.h"
#include "ProjectForm.h"
#include "RemovalPages.h"

#include <algorithm>
#include <functional>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

void writeHours(Html& html, const ProjectView& view)
{
    const auto sheet = html.in("section", {{"class", "sheet hours"}, {"aria-labelledby", "hours"}});
    html.leaf("h2", {{"id", "hours"}, {"class", "unseen"}}, "Hours");
    writeFigures(html, view.booked);
    Seconds longest = 0;
    for (const auto& month : view.months)
        longest = std::max(longest, month.booked);
    if (longest == 0) {
        html.leaf("p", {{"class", "faint"}}, "No time booked in the last twelve months.");
        return;
    }
    const auto chart = html.in("ol", {{"class", "months"}, {"aria-label", "Hours of the last twelve months"}});
    for (const auto& month : view.months) {
        const auto item = html.in("li", {{"title", month.name + ": " + hoursMinutes(month.booked)}});
        writeUprightBar(html, {{month.booked, &month == &view.months.back() ? "billable" : "other"}}, longest);
        html.leaf("span", {{"aria-hidden", "true"}}, month.name.substr(0, 3));
        html.leaf("span", {{"class", "unseen"}}, month.name + ": " + hoursMinutes(month.booked));
    }
}

/// The form of a project, as stored and, when a problem sent it back, as typed.
Reply projectPage(const Visit& visit, Id id, const std::optional<Problem>& problem)
{
    const bool fresh = id == 0;
    const CatalogViews views(visit);
    auto shown = fresh ? views.newProject() : views.project(id);
    if (!shown)
        return problemPage(visit, shown.error());
    const auto clients = views.clients(shown->fields.client);
    if (!clients)
        return problemPage(visit, clients.error());
    if (fresh) {
        shown->fields.client = visit.query.id("client");
        shown->fields.name = visit.query.text("name");
    }
    const std::string title = fresh ? "New Project" : projectText(shown->fields.code, shown->fields.name);
    return page(visit,
                {.title = title,
                 .section = Section::Projects,
                 .status = problem ? problem->status : 200,
                 .upPath = ProjectList,
                 .upName = "Projects"},
                [&](Html& html) {
                    writeOtherProblem(html, problem, {"Name", "Client", "Code", "NewClient", "NewTasks"});
                    const bool isBilled = std::any_of(shown->tasks.begin(), shown->tasks.end(), [](const auto& task) {
                        return task.offered && task.active && task.billable;
                    });
                    if (!fresh && shown->fields.billable && !isBilled)
                        html.leaf("p", {{"class", "hint"}},
                                  "None of its tasks is billable, so none of its hours is. Tick the tasks that are.");
                    if (!fresh)
                        writeHours(html, *shown);
                    writeProjectForm(html, visit, id, *shown, *clients, problem);
                    if (fresh)
                        return;
                    writeRecordEnd(html, visit,
                                   {.path = recordPath(ProjectList, id),
                                    .what = "project",
                                    .active = shown->active,
                                    .archiving = "An archived project keeps its hours, and no new ones can be added.",
                                    .staying = shown->used ? "Time was booked on it, so it cannot be deleted." : "",
                                    .booked = bookedAddress(visit, "project", id)});
                });
}

/// What others see of a project they may book on.
Reply readOnlyPage(const Visit& visit, Id id)
{
    const auto view = CatalogViews(visit).project(id);
    if (!view)
        return notFoundPage(visit);
    return page(visit,
                {.title = projectText(view->fields.code, view->fields.name),
                 .section = Section::Projects,
                 .upPath = ProjectList,
                 .upName = "Projects"},
                [&](Html& html) {
                    {
                        const auto line = html.in("p", {{"class", "lead"}});
                        writeName(html, view->clientName);
                        html.text(view->fields.billable ? " · Billable" : " · Not billable");
                        if (!view->active)
                            html.text(" · Archived");
                    }
                    writeHours(html, *view);
                    const auto sheet = html.in("section", {{"class", "sheet"}});
                    html.leaf("h2", "Tasks");
                    writeTable(html, "Tasks of the project", {{"Task"}, {"Billable"}, {"Your hours", true}}, [&] {
                        for (const auto& task : view->tasks) {
                            if (!task.offered || !task.active)
                                continue;
                            const auto row = html.in("tr");
                            {
                                const auto cell = html.in("th", {{"scope", "row"}, {"class", "named"}});
                                writeName(html, task.name);
                            }
                            html.leaf("td", task.billable && view->fields.billable ? "Yes" : "No");
                            writeNumber(html, hoursMinutes(task.booked));
                        }
                    });
                });
}

void writeClientHeading(Html& html, const ProjectLine& line, bool admin)
{
    const auto row = html.in("tr", {{"class", "group"}});
    const auto cell = html.in("th", {{"scope", "rowgroup"}, {"colspan", 6}});
    if (admin)
        writeNameLink(html, recordPath("/clients", line.client), line.clientName);
    else
        writeName(html, line.clientName);
    if (!line.clientActive) {
        html.text(" ");
        html.leaf("span", {{"class", "badge archived"}}, "Archived");
    }
    if (admin && line.clientActive)
        html.leaf("a",
                  {{"class", "button quiet small"},
                   {"href", "/projects/new?client=" + std::to_string(line.client)},
                   {"aria-label", "New project for " + line.clientName}},
                  "New Project");
}

void writeProjects(Html& html, const Listing<ProjectLine>& found, bool admin)
{
    const auto box = html.in(
        "div", {{"class", "table grouped"}, {"role", "region"}, {"aria-label", "Projects by client"}, {"tabindex", 0}});
    const auto table = html.in("table");
    html.leaf("caption", {{"class", "unseen"}}, "Projects by client");
    {
        const auto head = html.in("thead");
        const auto row = html.in("tr");
        for (const auto& column : projectColumns()) {
            const auto cell = html.in("th", {{"scope", "col"}, {"class", column.number ? "number" : ""}});
            html.leaf("span", {{"class", column.quiet ? "unseen" : ""}}, column.name);
        }
    }
    for (auto line = found.lines.begin(); line != found.lines.end();) {
        const auto group = html.in("tbody");
        writeClientHeading(html, *line, admin);
        for (const Id client = line->client; line != found.lines.end() && line->client == client; ++line) {
            const auto row = html.in("tr");
            if (line->id != 0)
                writeProjectCells(html, *line, found.longest);
            else
                html.leaf("td", {{"colspan", 6}, {"class", "faint"}}, "No projects yet.");
        }
    }
}

/// Samples are good for a look around, and in the way of one's own projects.
void writeSamples(Html& html, const Visit& visit, const std::vector<std::string>& samples)
{
    if (samples.empty())
        return;
    const auto hint = html.in("div", {{"class", "hint samples"}});
    std::string names;
    for (const auto& name : samples)
        names += (names.empty() ? "" : &name == &samples.back() ? " and " : ", ") + name;
    html.leaf("p", names + (samples.size() == 1 ? " is a sample" : " are samples") +
                       " to look around with. Remove them when you need them no more; what has hours stays.");
    const auto form = formTo(html, visit, ProjectList + "/samples");
    html.leaf("button", {{"class", "small"}}, "Remove the Samples");
}

Reply removeSamplesOf(const Visit& visit, const Numbers&)
{
    const auto removed = visit.storage.change([&](SQLite::Database& database) -> tl::expected<Id, Problem> {
        return removeSamples(database, visit.person.account, visit.now);
    });
    if (!removed)
        return problemPage(visit, removed.error());
    return goToRemoved(visit.form.has("begin") ? ProjectList + "/new" : ProjectList, *removed);
}

Reply listPage(const Visit& visit, const Numbers&)
{
    const auto query = ListQuery::read(visit.query);
    const auto found = CatalogViews(visit).projects(query);
    if (!found)
        return problemPage(visit, found.error());
    const bool admin = visit.person.admin;
    const auto samples =
        visit.storage.look([&](SQLite::Database& database) -> tl::expected<std::vector<std::string>, Problem> {
            return admin ? samplesIn(database, visit.person.account) : std::vector<std::string>();
        });
    const auto actions = [](Html& html) {
        html.leaf("a", {{"class", "button"}, {"href", "/clients/new"}}, "New Client");
        html.leaf("a", {{"class", "button main"}, {"href", "/projects/new"}}, "New Project");
    };
    return page(
        visit,
        {.title = "Projects", .section = Section::Projects, .actions = admin ? actions : std::function<void(Html&)>()},
        [&](Html& html) {
            writeSamples(html, visit, samples.value_or(std::vector<std::string>()));
            writeListHead(html, ProjectList, query, "Search projects and clients", found->active, found->archived);
            if (found->lines.empty()) {
                const auto sheet = html.in("section", {{"class", "sheet"}});
                if (!query.search.empty())
                    writeEmpty(html, "Nothing matches “" + query.search + "”.", ProjectList, "Show All");
                else if (query.archived)
                    writeEmpty(html, "Nothing is archived.");
                else if (admin)
                    writeEmpty(html, "Time is booked on projects. There are none yet.", "/projects/new", "New Project");
                else
                    writeEmpty(html, "You have no projects yet. An administrator can assign you to some.");
                return;
            }
            const auto sheet = html.in("section", {{"class", "sheet"}});
            writeBookedKey(html);
            writeProjects(html, *found, admin);
            writePager(html, ProjectList, query, found->matches);
        });
}

} // namespace

void addProjectPages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    site.add("GET", ProjectList, listPage);
    site.add(
        "GET", ProjectList + "/new", [](const Visit& visit, const Numbers&) { return projectPage(visit, 0, {}); },
        admins);
    site.add("GET", ProjectList + "/#", [](const Visit& visit, const Numbers& numbers) {
        return visit.person.admin ? projectPage(visit, numbers[0], {}) : readOnlyPage(visit, numbers[0]);
    });
    const auto send = [](const Visit& visit, const Numbers& numbers) {
        const Id id = numbers.empty() ? 0 : numbers[0];
        const auto saved = changeCatalog(visit, [&](Catalog& catalog) { return saveProject(catalog, visit.form, id); });
        if (saved)
            return goTo(recordPath(ProjectList, *saved), id == 0 ? "added" : "saved");
        return projectPage(visit, id, saved.error());
    };
    site.add("POST", ProjectList, send, admins);
    site.add("POST", ProjectList + "/samples", removeSamplesOf, admins);
    site.add("POST", ProjectList + "/#", send, admins);
    addRecordActs(site, ProjectList, "project", Section::Projects, Catalog::Kind::Project,
                  [](const Visit& visit, Id id) {
                      const auto view = CatalogViews(visit).project(id);
                      return view ? projectText(view->fields.code, view->fields.name) : std::string();
                  });
}

} // namespace localservice
