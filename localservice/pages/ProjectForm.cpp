#include "ProjectForm.h"

#include <algorithm>

namespace localservice {

namespace {

bool holds(const std::vector<Id>& ids, Id id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

/// What was sent, and what the person had been shown: a field they did not edit keeps what was saved elsewhere
/// meanwhile.
struct Sent
{
    const Form& form;

    bool touched(std::string_view name) const { return form.text(name) != form.text("was-" + std::string(name)); }
    bool touchedBox(std::string_view name) const { return form.has(name) != form.has("was-" + std::string(name)); }
    /// Whether that record's box was ticked or unticked, among boxes of one name.
    bool touched(std::string_view name, Id id) const
    {
        return holds(form.ids(name), id) != holds(form.ids("was-" + std::string(name)), id);
    }
    /// The records whose boxes are (`now`) or were ticked, and the opposite before.
    std::vector<Id> changed(std::string_view name, bool now) const
    {
        const auto ticked = form.ids(name);
        const auto before = form.ids("was-" + std::string(name));
        std::vector<Id> result;
        for (const Id id : now ? ticked : before) {
            if (!holds(now ? before : ticked, id))
                result.push_back(id);
        }
        return result;
    }
};

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find('\n', begin), text.size());
        if (const auto line = text.substr(begin, end - begin); line.find_first_not_of(" \t") != std::string::npos)
            result.push_back(line);
        begin = end + 1;
    }
    return result;
}

/// Applies edited fields on top of the stored values.
void overlay(ProjectView& view, const Form& form, bool fresh)
{
    const Sent sent{form};
    if (fresh || sent.touched("name"))
        view.fields.name = form.text("name");
    if (fresh || sent.touched("code"))
        view.fields.code = form.text("code");
    if (fresh || sent.touched("client"))
        view.fields.client = form.id("client");
    if (fresh || sent.touchedBox("billable"))
        view.fields.billable = form.has("billable");
    for (auto& task : view.tasks) {
        if (fresh || sent.touched("task", task.id))
            task.offered = holds(form.ids("task"), task.id);
        if (fresh || sent.touched("task-billable", task.id))
            task.billable = holds(form.ids("task-billable"), task.id);
    }
    for (auto& person : view.people) {
        if (fresh || sent.touched("person", person.id))
            person.assigned = holds(form.ids("person"), person.id);
    }
}

void writeDetails(Html& html, const ProjectView& view, const std::vector<NamedRecord>& clients, const Form& form,
                  const std::optional<Problem>& problem, bool fresh)
{
    const auto sheet = html.in("section", {{"class", "sheet"}});
    writeField(html, {.name = "name",
                      .label = "Name",
                      .value = view.fields.name,
                      .error = errorOf(problem, "Name"),
                      .required = true,
                      .longest = static_cast<int>(Catalog::LongestName),
                      .autofocus = fresh});
    {
        const auto row = html.in("div", {{"class", "row"}});
        if (!clients.empty()) {
            std::vector<Choice> choices;
            if (view.fields.client == 0)
                choices.push_back({"", "Choose a client"});
            for (const auto& client : clients)
                choices.push_back({std::to_string(client.id), client.name});
            writeChoice(html,
                        {.name = "client",
                         .label = "Client",
                         .value = view.fields.client == 0 ? "" : std::to_string(view.fields.client),
                         .error = errorOf(problem, "Client")},
                        choices);
        }
        writeField(html,
                   {.name = "new-client",
                    .label = clients.empty() ? "Client" : "Or a new client",
                    .value = form.text("new-client"),
                    .help = clients.empty() ? "Who the work is for. It can be yourself." : "",
                    .error = clients.empty() && problem && problem->kind == "Client" ? "Enter a client."
                                                                                     : errorOf(problem, "NewClient"),
                    .longest = static_cast<int>(Catalog::LongestName)});
        writeField(html, {.name = "code",
                          .label = "Code",
                          .value = view.fields.code,
                          .help = "Shown before the name.",
                          .error = errorOf(problem, "Code"),
                          .longest = static_cast<int>(Catalog::LongestCode),
                          .cssClass = "short",
                          .optional = true});
    }
    writeCheck(html, {.name = "billable",
                      .label = "Billable",
                      .checked = view.fields.billable,
                      .help = "Hours can be billed where the task is billable too.",
                      .id = "billable"});
}

void writeTaskTable(Html& html, const std::vector<ProjectTask>& tasks, bool fresh, std::string_view caption)
{
    std::vector<Column> columns{{"Task"}, {"Billable"}};
    if (!fresh) {
        columns.push_back({"Hours", true});
        columns.push_back({"Share of the hours", false, true});
    }
    Seconds longest = 0;
    for (const auto& task : tasks)
        longest = std::max(longest, task.booked);
    writeTable(html, caption, columns, [&] {
        for (const auto& task : tasks) {
            const auto id = std::to_string(task.id);
            const auto row = html.in("tr");
            {
                const auto cell = html.in("th", {{"scope", "row"}, {"class", "named"}});
                const auto box = html.in("div", {{"class", "check"}});
                html.empty("input", {{"type", "checkbox"},
                                     {"id", "task-" + id},
                                     {"name", "task"},
                                     {"value", id},
                                     {"checked", task.offered}});
                const auto label = html.in("label", {{"for", "task-" + id}});
                writeName(html, task.name);
                if (!task.active) {
                    html.text(" ");
                    html.leaf("span", {{"class", "badge archived"}}, "Archived");
                }
            }
            {
                const auto cell = html.in("td", {{"class", "task-billable"}});
                html.empty("input", {{"type", "checkbox"},
                                     {"name", "task-billable"},
                                     {"value", id},
                                     {"checked", task.billable},
                                     {"aria-label", task.name + " is billable"}});
            }
            if (!fresh) {
                writeNumber(html, task.booked > 0 ? hoursMinutes(task.booked) : "");
                const auto cell = html.in("td", {{"class", "share"}});
                if (task.booked > 0)
                    writeBar(html, {{task.booked, task.billable ? "billable" : "other"}}, longest);
            }
        }
    });
}

void writeTasks(Html& html, const ProjectView& view, const Form& form, const std::optional<Problem>& problem,
                bool fresh)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "tasks"}});
    html.leaf("h2", {{"id", "tasks"}}, "Tasks");
    html.leaf("p", {{"class", "faint"}}, "The kinds of work that people can choose on this project.");
    // With many tasks, those not offered are folded away.
    std::vector<ProjectTask> first;
    std::vector<ProjectTask> rest;
    for (const auto& task : view.tasks)
        (task.offered ? first : rest).push_back(task);
    if (rest.size() <= 10) {
        first.insert(first.end(), rest.begin(), rest.end());
        rest.clear();
    }
    if (!first.empty())
        writeTaskTable(html, first, fresh, "Tasks of the project");
    if (!rest.empty()) {
        const auto fold = html.in("details", {{"class", "fold"}});
        html.leaf("summary", std::to_string(rest.size()) + " more tasks");
        writeTaskTable(html, rest, true, "Tasks that are not offered on the project");
    }
    writeTextArea(html,
                  {.name = "new-tasks",
                   .label = "New tasks",
                   .value = form.text("new-tasks"),
                   .help = "One per line.",
                   .error = errorOf(problem, "NewTasks"),
                   .optional = !view.tasks.empty()},
                  2);
}

void writePeople(Html& html, const ProjectView& view, bool fresh)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "people"}});
    html.leaf("h2", {{"id", "people"}}, "People");
    html.leaf("p", {{"class", "faint"}}, "Who can book time on this project.");
    const auto boxes = html.in("ul", {{"class", "people"}});
    for (const auto& person : view.people) {
        const auto item = html.in("li");
        const auto id = std::to_string(person.id);
        const auto box = html.in("div", {{"class", "check"}});
        html.empty("input", {{"type", "checkbox"},
                             {"id", "person-" + id},
                             {"name", "person"},
                             {"value", id},
                             {"checked", person.assigned}});
        const auto label = html.in("label", {{"for", "person-" + id}});
        writeName(html, person.name);
        if (!fresh && person.booked > 0) {
            html.text(" ");
            html.leaf("span", {{"class", "faint number"}}, hoursMinutes(person.booked));
        }
    }
}

/// The values shown by the form, sent back with it.
void writeShown(Html& html, const ProjectView& view)
{
    writeHidden(html, "was-name", view.fields.name);
    writeHidden(html, "was-code", view.fields.code);
    writeHidden(html, "was-client", std::to_string(view.fields.client));
    if (view.fields.billable)
        writeHidden(html, "was-billable", "1");
    for (const auto& task : view.tasks) {
        if (task.offered)
            writeHidden(html, "was-task", std::to_string(task.id));
        if (task.billable)
            writeHidden(html, "was-task-billable", std::to_string(task.id));
    }
    for (const auto& person : view.people) {
        if (person.assigned)
            writeHidden(html, "was-person", std::to_string(person.id));
    }
}

} // namespace

Catalog::Added saveProject(Catalog& catalog, const Form& form, Id project)
{
    const Sent sent{form};
    const bool fresh = project == 0;
    ProjectChange change;
    if (fresh || sent.touched("name"))
        change.name = form.text("name");
    if (fresh || sent.touched("code"))
        change.code = form.text("code");
    if (fresh || sent.touchedBox("billable"))
        change.billable = form.has("billable");
    if (!form.trimmed("new-client").empty()) {
        const auto client = catalog.named(Catalog::Kind::Client, form.text("new-client"));
        if (!client)
            return tl::unexpected(Problem{client.error().status, "NewClient", client.error().message});
        change.client = *client;
    } else if (fresh || sent.touched("client")) {
        change.client = form.id("client");
    }
    if (fresh) {
        auto added = catalog.addProject({*change.client, *change.name, *change.code, *change.billable});
        if (!added)
            return added;
        project = *added;
    } else if (const auto changed = catalog.changeProject(project, change); !changed) {
        return tl::unexpected(changed.error());
    }

    // The boxes of a new project are absolute; those of an existing one are changes.
    const auto billable = form.ids("task-billable");
    for (const Id task : fresh ? form.ids("task") : sent.changed("task", true)) {
        if (const auto offered = catalog.offerTask(project, task, holds(billable, task)); !offered)
            return tl::unexpected(offered.error());
    }
    if (!fresh) {
        for (const Id task : form.ids("task")) {
            if (!sent.touched("task-billable", task) || sent.touched("task", task))
                continue;
            if (const auto offered = catalog.offerTask(project, task, holds(billable, task)); !offered)
                return tl::unexpected(offered.error());
        }
        // If someone else has already withdrawn or released it, all is as requested.
        for (const Id task : sent.changed("task", false))
            catalog.withdrawTask(project, task);
        for (const Id person : sent.changed("person", false))
            catalog.releasePerson(project, person);
    }
    for (const auto& name : lines(form.text("new-tasks"))) {
        const auto task = catalog.named(Catalog::Kind::Task, name);
        if (!task)
            return tl::unexpected(Problem{task.error().status, "NewTasks", task.error().message});
        if (const auto offered = catalog.offerTask(project, *task, form.has("billable")); !offered)
            return tl::unexpected(offered.error());
    }
    for (const Id person : fresh ? form.ids("person") : sent.changed("person", true)) {
        if (const auto assigned = catalog.assignPerson(project, person); !assigned)
            return tl::unexpected(assigned.error());
    }
    return project;
}

void writeProjectForm(Html& html, const Visit& visit, Id id, const ProjectView& shown,
                      const std::vector<NamedRecord>& clients, const std::optional<Problem>& problem)
{
    const bool fresh = id == 0;
    auto view = shown;
    if (problem)
        overlay(view, visit.form, fresh);
    const auto form = formTo(html, visit, fresh ? ProjectList : recordPath(ProjectList, id), "sheets project");
    if (!fresh)
        writeShown(html, shown);
    writeDetails(html, view, clients, visit.form, problem, fresh);
    writeTasks(html, view, visit.form, problem, fresh);
    writePeople(html, view, fresh);
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", {{"class", "main"}}, fresh ? "Add Project" : "Save");
    html.leaf("a", {{"class", "button"}, {"href", ProjectList}}, "Cancel");
}

} // namespace localservice
