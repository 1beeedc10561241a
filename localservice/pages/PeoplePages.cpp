#include "Parts.h"
#include "Passwords.h"
#include "People.h"
#include "Site.h"
#include "Storage.h"

#include "../Credentials.h"

#include <algorithm>
#include <optional>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string List = "/people";

std::string pathOf(Id person)
{
    return List + "/" + std::to_string(person);
}

/// The form of a person as typed, and what was wrong with it.
struct Draft
{
    PersonDetails details;
    std::optional<Problem> problem = {};
    std::string password = {};
    bool ownPassword = false;
};

template <typename Work>
auto lookAt(const Visit& visit, Work work)
{
    return visit.storage.look([&](SQLite::Database& database) {
        People people(database, visit.person.account);
        return work(people);
    });
}

template <typename Work>
auto changeOf(const Visit& visit, Work work)
{
    return visit.storage.change([&](SQLite::Database& database) {
        People people(database, visit.person.account);
        return work(people);
    });
}

std::string errorOf(const std::optional<Problem>& problem, std::string_view field)
{
    return problem && problem->field == field ? problem->message : std::string();
}

PersonDetails detailsOf(const Form& form)
{
    return {form.trimmed("email"), form.text("first-name"), form.text("last-name"), form.has("admin")};
}

void writeDetails(Html& html, const Draft& draft, bool isNew)
{
    {
        const auto row = html.in("div", {{"class", "row"}});
        writeField(html, {.name = "first-name",
                          .label = "First name",
                          .value = draft.details.firstName,
                          .error = errorOf(draft.problem, "first-name"),
                          .required = true,
                          .longest = People::LongestName,
                          .autofocus = isNew && !draft.problem});
        writeField(html, {.name = "last-name",
                          .label = "Last name",
                          .value = draft.details.lastName,
                          .error = errorOf(draft.problem, "last-name"),
                          .longest = People::LongestName,
                          .optional = true});
    }
    writeField(html, {.name = "email",
                      .label = "Email",
                      .value = draft.details.email,
                      .help = isNew ? "They sign in with it. No mail is sent to it." : "They sign in with it.",
                      .error = errorOf(draft.problem, "email"),
                      .type = "email",
                      .required = true,
                      .longest = People::LongestEmail});
    const std::string error = errorOf(draft.problem, "admin");
    writeCheck(html, {.name = "admin",
                      .label = "Administrator",
                      .checked = draft.details.admin,
                      .help = "Manages projects, tasks and people, and sees everyone’s hours."});
    if (!error.empty())
        html.leaf("p", {{"class", "error"}, {"role", "alert"}}, error);
}

void writePeople(Html& html, const std::vector<Member>& members, std::string_view caption)
{
    writeTable(html, caption, {{"Name"}, {"This week", true}}, [&] {
        for (const auto& member : members) {
            const auto row = html.in("tr", {{"class", member.active ? "" : "archived"}});
            {
                const auto name = html.in("th", {{"scope", "row"}});
                html.leaf("a", {{"href", pathOf(member.id)}}, member.name());
                if (member.admin) {
                    html.text(" ");
                    html.leaf("span", {{"class", "badge"}}, "Administrator");
                }
                html.leaf("span", {{"class", "email faint"}}, member.email);
            }
            const auto hours = html.in("td", {{"class", "number"}});
            if (member.running) {
                html.leaf("span", {{"class", "badge running"}}, "Running");
                html.text(" ");
            }
            html.text(hoursMinutes(member.booked));
        }
    });
}

Reply listPage(const Visit& visit)
{
    using namespace std::chrono;
    const sys_days today{localDay(visit.now)};
    const Day monday{today - days{weekday(today).iso_encoding() - 1}};
    const Day sunday{sys_days{monday} + days{6}};
    const auto members = lookAt(visit, [&](People& people) -> tl::expected<std::vector<Member>, Problem> {
        return people.all(monday, sunday, visit.now);
    });
    if (!members)
        return problemPage(visit, members.error());
    const auto archived = std::find_if(members->begin(), members->end(), [](const auto& one) { return !one.active; });
    return page(visit,
                {.title = "People",
                 .section = Section::People,
                 .actions =
                     [](Html& html) {
                         html.leaf("a", {{"class", "button main"}, {"href", List + "/new"}}, "New Person");
                     }},
                [&](Html& html) {
                    {
                        const auto sheet = html.in("section", {{"class", "sheet members"}});
                        writePeople(html, {members->begin(), archived}, "People");
                    }
                    if (archived == members->end())
                        return;
                    const auto fold = html.in("details", {{"class", "sheet members"}});
                    const auto count = members->end() - archived;
                    html.leaf("summary", "Archived (" + std::to_string(count) + ")");
                    writePeople(html, {archived, members->end()}, "Archived people");
                });
}

Reply newPage(const Visit& visit, const Draft& draft)
{
    return page(visit,
                {.title = "New Person",
                 .section = Section::People,
                 .status = draft.problem ? draft.problem->status : 200,
                 .upPath = List,
                 .upName = "People"},
                [&](Html& html) {
                    if (draft.problem && draft.problem->field.empty())
                        writeProblem(html, draft.problem->message);
                    const auto sheet = html.in("section", {{"class", "sheet"}});
                    const auto form = formTo(html, visit, List, "fields");
                    writeDetails(html, draft, true);
                    writeNewPassword(html, {}, draft.ownPassword, errorOf(draft.problem, "password"));
                    const auto buttons = html.in("div", {{"class", "buttons"}});
                    html.leaf("button", {{"class", "main"}}, "Add");
                    html.leaf("a", {{"class", "button"}, {"href", List}}, "Cancel");
                });
}

/// Shown once, in the reply to the form itself: only a hash of the password is kept.
Reply passwordPage(const Visit& visit, const Member& member, const std::string& password, bool isNew)
{
    return page(visit,
                {.title = isNew ? member.name() + " Has Been Added" : "New Password",
                 .section = Section::People,
                 .upPath = List,
                 .upName = "People"},
                [&](Html& html) {
                    {
                        const auto sheet = html.in("section", {{"class", "sheet"}});
                        html.leaf("p", "The password is shown only this once. Give it to " + member.name() +
                                           " in a safe way; they can choose another one on their account page.");
                        const auto facts = html.in("dl", {{"class", "facts"}});
                        html.leaf("dt", "Email");
                        html.leaf("dd", member.email);
                        html.leaf("dt", "Password");
                        const auto value = html.in("dd");
                        html.leaf("code", {{"class", "password"}}, password);
                    }
                    writeHowToSignIn(html, visit, member.email);
                    const auto buttons = html.in("p", {{"class", "buttons"}});
                    html.leaf("a", {{"class", "button main"}, {"href", pathOf(member.id)}}, "Choose Projects");
                    html.leaf("a", {{"class", "button"}, {"href", List}}, "Back to People");
                });
}

Reply add(const Visit& visit)
{
    Draft draft{detailsOf(visit.form)};
    draft.ownPassword = visit.form.text("password-by") == "typed";
    const auto password = newPasswordIn(visit.form);
    if (!password) {
        draft.problem = password.error();
        return newPage(visit, draft);
    }
    const auto added = changeOf(visit, [&](People& people) -> tl::expected<Member, Problem> {
        const auto id = people.add(draft.details, password->hash);
        return id ? people.find(*id) : tl::unexpected(id.error());
    });
    if (!added) {
        draft.problem = added.error();
        return newPage(visit, draft);
    }
    return password->typed ? goTo(pathOf(added->id), "added") : passwordPage(visit, *added, password->text, true);
}

void writeProjects(Html& html, const Visit& visit, const Member& member, const std::vector<BookableProject>& projects)
{
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "Projects");
    if (projects.empty()) {
        writeEmpty(html, "There are no projects yet.", "/projects/new", "New Project");
        return;
    }
    html.leaf("p", {{"class", "faint"}}, member.name() + " can book time on the projects that are checked.");
    const auto form = formTo(html, visit, pathOf(member.id) + "/projects", "fields");
    bool archived = false;
    for (auto project = projects.begin(); project != projects.end();) {
        const auto end =
            std::find_if(project, projects.end(), [&](const auto& other) { return other.client != project->client; });
        const bool any = std::any_of(project, end, [](const auto& one) { return one.active; });
        std::optional<Html::Element> group;
        if (any) {
            group.emplace(html.in("fieldset", {{"class", "group"}}));
            html.leaf("legend", project->client);
        }
        for (; project != end; ++project) {
            archived = archived || !project->active;
            if (project->active)
                writeCheck(html, {.name = "project",
                                  .label = project->name,
                                  .checked = project->assigned,
                                  .value = std::to_string(project->id)});
        }
    }
    if (archived)
        html.leaf("p", {{"class", "help"}}, "Archived projects are not listed. Nobody can book time on them.");
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", {{"class", "main"}}, "Save Projects");
}

void writePasswordForm(Html& html, const Visit& visit, const Member& member, const Draft& draft)
{
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "Password");
    if (member.id == visit.person.id) {
        const auto text = html.in("p");
        html.text("Change your own on ");
        html.leaf("a", {{"href", "/account"}}, "your account page");
        html.text(".");
        return;
    }
    html.leaf("p", {{"class", "faint"}},
              member.hasPassword ? "A new password signs " + member.name() + " out of every browser."
                                 : member.name() + " has no password yet and cannot sign in here.");
    const auto form = formTo(html, visit, pathOf(member.id) + "/password", "fields");
    writeNewPassword(html, member.email, draft.ownPassword, errorOf(draft.problem, "password"));
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", "Set New Password");
}

void writeArchive(Html& html, const Visit& visit, const Member& member)
{
    if (member.id == visit.person.id)
        return;
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", member.active ? "Archive" : "Restore");
    html.leaf("p", {{"class", "faint"}},
              member.active
                  ? "For people who have left. They can no longer sign in; all their hours are kept, and you can "
                    "restore them."
                  : "They can sign in again with their old password and book time on their old projects.");
    const auto form = formTo(html, visit, pathOf(member.id) + (member.active ? "/archive" : "/restore"), "buttons");
    html.leaf("button", {{"class", member.active ? "danger" : "main"}}, member.active ? "Archive" : "Restore");
}

Reply personPage(const Visit& visit, Id id, const Draft* typed = nullptr)
{
    struct Seen
    {
        Member member;
        std::vector<BookableProject> projects;
    };
    const auto seen = lookAt(visit, [&](People& people) -> tl::expected<Seen, Problem> {
        auto member = people.find(id);
        if (!member)
            return tl::unexpected(member.error());
        return Seen{std::move(*member), people.projects(id)};
    });
    if (!seen)
        return seen.error().status == 404 ? notFoundPage(visit) : problemPage(visit, seen.error());
    const auto& member = seen->member;
    const Draft draft = typed ? *typed : Draft{member};
    return page(visit,
                {.title = member.name(),
                 .section = Section::People,
                 .status = draft.problem ? draft.problem->status : 200,
                 .actions =
                     [&](Html& html) {
                         html.leaf("a", {{"class", "button"}, {"href", "/reports?person=" + std::to_string(member.id)}},
                                   "Hours");
                     },
                 .upPath = List,
                 .upName = "People"},
                [&](Html& html) {
                    if (draft.problem && draft.problem->field.empty())
                        writeProblem(html, draft.problem->message);
                    if (!member.active)
                        html.leaf("p", {{"class", "hint"}}, member.name() + " is archived and cannot sign in.");
                    {
                        const auto sheet = html.in("section", {{"class", "sheet"}});
                        html.leaf("h2", "Person");
                        const auto form = formTo(html, visit, pathOf(id), "fields");
                        writeDetails(html, draft, false);
                        const auto buttons = html.in("div", {{"class", "buttons"}});
                        html.leaf("button", {{"class", "main"}}, "Save");
                    }
                    writeProjects(html, visit, member, seen->projects);
                    const auto pair = html.in("div", {{"class", "pair"}});
                    writePasswordForm(html, visit, member, draft);
                    writeArchive(html, visit, member);
                });
}

/// The person's page again when something was rejected, else the next page.
Reply after(const Visit& visit, Id id, const People::Done& done, std::string_view note, Draft draft)
{
    if (done)
        return goTo(pathOf(id), note);
    draft.problem = done.error();
    return personPage(visit, id, &draft);
}

Draft draftOf(const Visit& visit, Id id)
{
    const auto found = lookAt(visit, [&](People& people) { return people.find(id); });
    return found ? Draft{*found} : Draft{};
}

Reply save(const Visit& visit, Id id)
{
    const Draft draft{detailsOf(visit.form)};
    const auto done = changeOf(visit, [&](People& people) { return people.change(id, draft.details); });
    if (done && id == visit.person.id && !draft.details.admin)
        return goTo("/account", "saved");
    return after(visit, id, done, "saved", draft);
}

Reply givePassword(const Visit& visit, Id id)
{
    if (id == visit.person.id)
        return goTo("/account");
    const auto password = newPasswordIn(visit.form);
    if (!password) {
        Draft draft = draftOf(visit, id);
        draft.ownPassword = true;
        return after(visit, id, tl::unexpected(password.error()), {}, std::move(draft));
    }
    const auto member = changeOf(visit, [&](People& people) -> tl::expected<Member, Problem> {
        if (const auto set = people.setPassword(id, password->hash); !set)
            return tl::unexpected(set.error());
        return people.find(id);
    });
    if (!member)
        return after(visit, id, tl::unexpected(member.error()), {}, draftOf(visit, id));
    return password->typed ? goTo(pathOf(id), "saved") : passwordPage(visit, *member, password->text, false);
}

} // namespace

void addPeoplePages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    const std::string one = List + "/#";
    site.add(
        "GET", List, [](const Visit& visit, const Numbers&) { return listPage(visit); }, admins);
    site.add(
        "GET", List + "/new", [](const Visit& visit, const Numbers&) { return newPage(visit, {}); }, admins);
    site.add(
        "POST", List, [](const Visit& visit, const Numbers&) { return add(visit); }, admins);
    site.add(
        "GET", one, [](const Visit& visit, const Numbers& id) { return personPage(visit, id[0]); }, admins);
    site.add(
        "POST", one, [](const Visit& visit, const Numbers& id) { return save(visit, id[0]); }, admins);
    site.add(
        "POST", one + "/password", [](const Visit& visit, const Numbers& id) { return givePassword(visit, id[0]); },
        admins);
    site.add(
        "POST", one + "/projects",
        [](const Visit& visit, const Numbers& id) {
            const auto done =
                changeOf(visit, [&](People& people) { return people.setProjects(id[0], visit.form.ids("project")); });
            return after(visit, id[0], done, "saved", draftOf(visit, id[0]));
        },
        admins);
    site.add(
        "POST", one + "/archive",
        [](const Visit& visit, const Numbers& id) {
            const auto done =
                changeOf(visit, [&](People& people) { return people.archive(id[0], visit.person.id, visit.now); });
            return after(visit, id[0], done, "person-archived", draftOf(visit, id[0]));
        },
        admins);
    site.add(
        "POST", one + "/restore",
        [](const Visit& visit, const Numbers& id) {
            const auto done = changeOf(visit, [&](People& people) { return people.restore(id[0]); });
            return after(visit, id[0], done, "restored", draftOf(visit, id[0]));
        },
        admins);
    addAccountPages(site);
}

} // namespace localservice
