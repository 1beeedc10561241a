#include "CatalogPages.h"

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string List = "/clients";

void writeName(Html& html, const std::string& value, const std::optional<Problem>& problem, bool fresh)
{
    writeField(html, {.name = "name",
                      .label = "Name",
                      .value = value,
                      .error = errorOf(problem, "Name"),
                      .required = true,
                      .longest = static_cast<int>(Catalog::LongestName),
                      .autofocus = fresh});
}

Reply newPage(const Visit& visit, const std::optional<Problem>& problem)
{
    return page(visit,
                {.title = "New Client",
                 .section = Section::Projects,
                 .status = problem ? problem->status : 200,
                 .upPath = "/projects",
                 .upName = "Projects"},
                [&](Html& html) {
                    writeOtherProblem(html, problem, {"Name"});
                    const auto sheet = html.in("section", {{"class", "sheet"}});
                    const auto form = formTo(html, visit, List);
                    writeName(html, visit.form.text("name"), problem, true);
                    const auto buttons = html.in("div", {{"class", "buttons"}});
                    html.leaf("button", {{"class", "main"}}, "Add Client");
                    html.leaf("a", {{"class", "button"}, {"href", "/projects"}}, "Cancel");
                });
}

Reply clientPage(const Visit& visit, Id id, const std::optional<Problem>& problem)
{
    const auto view = CatalogViews(visit).client(id);
    if (!view)
        return problemPage(visit, view.error());
    const auto actions = [&](Html& html) {
        html.leaf("a", {{"class", "button"}, {"href", "/projects/new?client=" + std::to_string(id)}}, "New Project");
    };
    return page(visit,
                {.title = view->name,
                 .section = Section::Projects,
                 .status = problem ? problem->status : 200,
                 .actions = view->active ? actions : std::function<void(Html&)>(),
                 .upPath = "/projects",
                 .upName = "Projects"},
                [&](Html& html) {
                    writeOtherProblem(html, problem, {"Name"});
                    {
                        const auto sheet = html.in("section", {{"class", "sheet"}});
                        const auto form = formTo(html, visit, recordPath(List, id), "row");
                        writeName(html, problem ? visit.form.text("name") : view->name, problem, false);
                        html.leaf("button", {{"class", "main"}}, "Rename");
                    }
                    if (!view->projects.empty()) {
                        const auto sheet = html.in("section", {{"class", "sheet"}});
                        html.leaf("h2", "Projects");
                        writeTable(html, "Projects of the client", projectColumns(), [&] {
                            for (const auto& line : view->projects) {
                                const auto row = html.in("tr", {{"class", line.active ? "" : "archived"}});
                                writeProjectCells(html, line, view->longest);
                            }
                        });
                    }
                    writeRecordEnd(
                        html, visit,
                        {.path = recordPath(List, id),
                         .what = "client",
                         .active = view->active,
                         .archiving = "A client is archived with its projects. They keep their hours, and no new "
                                      "ones can be added.",
                         .staying = view->projects.empty() ? "" : "This client has projects, so it cannot be deleted.",
                         .asks = view->activeProjects > 0});
                });
}

Reply archivePage(const Visit& visit, Id id)
{
    const auto view = CatalogViews(visit).client(id);
    if (!view)
        return problemPage(visit, view.error());
    const auto path = recordPath(List, id);
    const auto projects = view->activeProjects == 1 ? std::string("Its project is")
                                                    : "Its " + std::to_string(view->activeProjects) + " projects are";
    return questionPage(visit,
                        {.title = "Archive This Client?",
                         .text = projects + " archived with it: nobody can book time on them any longer. Their hours "
                                            "are kept, and each project can be restored later.",
                         .action = path + "/archive",
                         .yes = "Archive All",
                         .no = "Cancel",
                         .back = path,
                         .section = Section::Projects},
                        [&](Html& html) {
                            const auto line = html.in("p", {{"class", "about"}});
                            localservice::writeName(html, view->name);
                        });
}

} // namespace

void addClientPages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    // Clients are listed with their projects.
    site.add("GET", List, [](const Visit&, const Numbers&) { return goTo("/projects"); });
    site.add(
        "GET", List + "/new", [](const Visit& visit, const Numbers&) { return newPage(visit, {}); }, admins);
    site.add(
        "GET", List + "/#",
        [](const Visit& visit, const Numbers& numbers) { return clientPage(visit, numbers[0], {}); }, admins);
    site.add(
        "GET", List + "/#/archive",
        [](const Visit& visit, const Numbers& numbers) { return archivePage(visit, numbers[0]); }, admins);
    site.add(
        "POST", List,
        [](const Visit& visit, const Numbers&) {
            const auto added = changeCatalog(
                visit, [&](Catalog& catalog) { return catalog.add(Catalog::Kind::Client, visit.form.text("name")); });
            return added ? goTo(recordPath(List, *added), "added") : newPage(visit, added.error());
        },
        admins);
    site.add(
        "POST", List + "/#",
        [](const Visit& visit, const Numbers& numbers) {
            const auto renamed = changeCatalog(visit, [&](Catalog& catalog) {
                return catalog.rename(Catalog::Kind::Client, numbers[0], visit.form.text("name"));
            });
            return renamed ? goTo(recordPath(List, numbers[0]), "saved")
                           : clientPage(visit, numbers[0], renamed.error());
        },
        admins);
    addRecordActs(site, List, "client", Section::Projects, Catalog::Kind::Client, [](const Visit& visit, Id id) {
        const auto view = CatalogViews(visit).client(id);
        return view ? view->name : std::string();
    });
}

} // namespace localservice
