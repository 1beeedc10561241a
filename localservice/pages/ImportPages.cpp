#include "../AccountFile.h"
#include "../Import.h"
#include "../Sheet.h"
#include "../Storage.h"
#include "DataPages.h"
#include "Parts.h"
#include "RemovalPages.h"
#include "Upload.h"

#include <algorithm>
#include <mutex>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string Here = "/data/import";
constexpr std::size_t MostShown = 20;

/// A file that somebody has sent and not yet imported.
struct Draft
{
    Id number = 0;
    Id account = 0;
    Id person = 0;
    Seconds sent = 0;
    std::string name;
    std::string file; ///< in UTF-8
    bool isAccountFile = false;
    Sheet sheet = {};
    Meaning meaning = {};
};

using Shared = std::shared_ptr<const Draft>;

/// The files of all who are about to import one, in memory: one each, for an hour, and not many at a time.
class Drafts final
{
public:
    Id keep(Draft draft)
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_drafts, [&](const Shared& other) {
            return (other->account == draft.account && other->person == draft.person) ||
                   other->sent < draft.sent - 3600;
        });
        if (m_drafts.size() >= Most)
            m_drafts.erase(m_drafts.begin());
        // A changed one stays at its address.
        draft.number = draft.number != 0 ? draft.number : ++m_last;
        m_drafts.push_back(std::make_shared<Draft>(std::move(draft)));
        return m_drafts.back()->number;
    }
    Shared find(const Visit& visit, Id number)
    {
        const std::lock_guard lock(m_mutex);
        const auto found = std::find_if(m_drafts.begin(), m_drafts.end(), [&](const Shared& draft) {
            return draft->number == number && draft->account == visit.person.account &&
                   draft->person == visit.person.id;
        });
        return found == m_drafts.end() ? nullptr : *found;
    }
    void drop(Id number)
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_drafts, [&](const Shared& draft) { return draft->number == number; });
    }

private:
    static constexpr std::size_t Most = 3;
    std::mutex m_mutex;
    std::vector<Shared> m_drafts;
    Id m_last = 0;
};

std::string atLine(const LineRemark& remark)
{
    return "Line " + std::to_string(remark.line) + ": " + remark.text + ".";
}

std::string unreadable(const LineRemark& remark)
{
    return "This file cannot be read" + (remark.line > 0 ? ". " + atLine(remark) : ": " + remark.text + ".");
}

Reply askForFile(const Visit& visit, const std::string& problem = {})
{
    return page(visit,
                {.title = "Bring Time In",
                 .section = Section::Account,
                 .status = problem.empty() ? 200 : 422,
                 .upPath = "/data",
                 .upName = "Your Data"},
                [&](Html& html) {
                    if (!problem.empty())
                        writeProblem(html, problem);
                    const auto sheet = html.in("section", {{"class", "sheet"}});
                    const auto form = html.in("form", {{"method", "post"},
                                                       {"action", Here},
                                                       {"enctype", "multipart/form-data"},
                                                       {"class", "fields"}});
                    writeHidden(html, "token", visit.formToken);
                    writeField(html, {.name = "file",
                                      .label = "File",
                                      .help = "A table with commas, semicolons or tabs between its columns (CSV), also "
                                              "from these reports; everything as JSON from “Your Data”; the XML that "
                                              "Hamster exports; or what “timew export” prints. Up to 64 MB.",
                                      .type = "file",
                                      .required = true});
                    html.leaf("p", {{"class", "help"}}, "You see what would be made before anything is.");
                    const auto buttons = html.in("div", {{"class", "buttons"}});
                    html.leaf("button", {{"class", "main"}}, "Look at It");
                    html.leaf("a", {{"class", "button"}, {"href", "/data"}}, "Cancel");
                });
}

Reply takeFile(const Visit& visit, Drafts& drafts)
{
    const auto upload = readUpload(visit.request);
    if (upload.file.empty())
        return askForFile(visit, "Choose a file that is not empty.");
    Draft draft{.account = visit.person.account, .person = visit.person.id, .sent = visit.now, .name = upload.name};
    draft.file = utf8Of(upload.file);
    draft.isAccountFile = isAccountFile(draft.file);
    if (!draft.isAccountFile) {
        auto sheet = recognise(draft.file);
        if (!sheet)
            return askForFile(visit, unreadable(sheet.error()));
        draft.sheet = std::move(*sheet);
        draft.meaning = guess(draft.file, draft.sheet);
    } else if (const auto read = readAccountFile(draft.file); !read) {
        return askForFile(visit, unreadable(read.error()));
    }
    return goTo(Here + "/" + std::to_string(drafts.keep(std::move(draft))));
}

tl::expected<Incoming, LineRemark> read(const Visit& visit, const Draft& draft)
{
    return draft.isAccountFile ? readAccountFile(draft.file)
                               : readSheet(draft.file, draft.sheet, draft.meaning, visit.person.timestampTimers);
}

constexpr std::array<std::pair<Role, const char*>, 14> RoleNames{{{Role::None, "Not used"},
                                                                  {Role::Day, "Day"},
                                                                  {Role::Start, "Start"},
                                                                  {Role::End, "End"},
                                                                  {Role::Hours, "Hours"},
                                                                  {Role::Minutes, "Minutes"},
                                                                  {Role::Client, "Client"},
                                                                  {Role::Project, "Project"},
                                                                  {Role::Code, "Project code"},
                                                                  {Role::Task, "Task"},
                                                                  {Role::Notes, "Notes"},
                                                                  {Role::Tags, "Tags (to the notes)"},
                                                                  {Role::Person, "Person"},
                                                                  {Role::Billable, "Billable"}}};

std::string exampleOf(const Sheet& sheet, std::size_t column)
{
    for (const auto& cells : sheet.samples) {
        if (column < cells.size() && !cells[column].empty()) {
            const std::string text = nameText(cells[column]);
            std::string_view rest = text;
            std::string start;
            for (int i = 0; i < 40; ++i) {
                if (const auto next = nextCharacter(rest))
                    start += next->bytes;
            }
            return "Such as: " + start + (rest.empty() ? "" : "…");
        }
    }
    return "Always empty";
}

void writeMeaning(Html& html, const Visit& visit, const Draft& draft)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "columns"}});
    html.leaf("h2", {{"id", "columns"}}, "Columns");
    const auto form = formTo(html, visit, Here + "/" + std::to_string(draft.number) + "/columns", "fields");
    {
        const auto grid = html.in("div", {{"class", "columns-of-file"}});
        std::vector<Choice> choices;
        for (const auto& [role, name] : RoleNames)
            choices.push_back({std::to_string(static_cast<int>(role)), name});
        for (std::size_t i = 0; i < draft.sheet.columns.size(); ++i)
            writeChoice(html,
                        {.name = "column-" + std::to_string(i),
                         .label = draft.sheet.columns[i],
                         .value = std::to_string(static_cast<int>(draft.meaning.roles[i])),
                         .help = exampleOf(draft.sheet, i)},
                        choices);
    }
    {
        const auto row = html.in("div", {{"class", "row"}});
        writeChoice(html,
                    {.name = "order",
                     .label = "Dates",
                     .value = std::to_string(static_cast<int>(draft.meaning.order)),
                     .help = draft.meaning.isOrderSure ? "" : "The file leaves open which it is. Please check."},
                    {{"0", "Year, month, day"}, {"1", "Day, month, year"}, {"2", "Month, day, year"}});
        writeField(html, {.name = "client",
                          .label = "Client where none is given",
                          .value = draft.meaning.client,
                          .required = true,
                          .longest = 200});
        writeField(html, {.name = "project",
                          .label = "Project where none is given",
                          .value = draft.meaning.project,
                          .required = true,
                          .longest = 200});
        writeField(html, {.name = "task",
                          .label = "Task where none is given",
                          .value = draft.meaning.task,
                          .required = true,
                          .longest = 200});
    }
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", "Update the Preview");
}

void writeNames(Html& html, std::string_view name, const std::vector<std::string>& names)
{
    if (names.empty())
        return;
    html.leaf("dt", name);
    const auto cell = html.in("dd");
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), MostShown); ++i)
        text += (i == 0 ? "" : ", ") + names[i];
    if (names.size() > MostShown)
        text += ", and " + std::to_string(names.size() - MostShown) + " more";
    html.text(text);
}

void writeRemarks(Html& html, std::string_view title, const std::vector<LineRemark>& remarks)
{
    if (remarks.empty())
        return;
    html.leaf("h3", title);
    const auto list = html.in("ul", {{"class", "remarks"}});
    for (std::size_t i = 0; i < std::min(remarks.size(), MostShown); ++i)
        html.leaf("li", atLine(remarks[i]));
    if (remarks.size() > MostShown)
        html.leaf("li", "And " + std::to_string(remarks.size() - MostShown) + " more.");
}

std::string countOf(std::size_t count, const std::string& one)
{
    return std::to_string(count) + " " +
           (count == 1           ? one
            : one.ends_with('y') ? one.substr(0, one.size() - 1) + "ies"
                                 : one + "s");
}

void writePlan(Html& html, const Visit& visit, const Draft& draft, const Incoming& incoming, const Importer::Plan& plan)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "preview"}});
    html.leaf("h2", {{"id", "preview"}}, "What would be made");
    {
        const auto figures = html.in("dl", {{"class", "figures"}});
        const auto figure = [&](std::string_view name, const std::string& value) {
            const auto box = html.in("div");
            html.leaf("dt", name);
            html.leaf("dd", value);
        };
        figure("New entries", std::to_string(plan.entries));
        figure("Hours", hoursMinutes(plan.time));
        figure("There already", std::to_string(plan.present));
        if (!incoming.unreadable.empty())
            figure("Cannot be read", std::to_string(incoming.unreadable.size()));
    }
    if (plan.first)
        html.leaf("p", {{"class", "faint"}}, daysInWords(*plan.first, *plan.last));
    {
        const auto facts = html.in("dl", {{"class", "facts"}});
        writeNames(html, "New clients", plan.clients);
        writeNames(html, "New projects", plan.projects);
        writeNames(html, "New tasks", plan.tasks);
        writeNames(html, "New people", plan.people);
    }
    if (plan.strangers > 0)
        html.leaf("p", {{"class", "hint"}},
                  countOf(plan.strangers, "entry") +
                      " of people who are not in this account will be left out. Add these "
                      "people first, or do not use the column.");
    writeRemarks(html, "Doubtful", incoming.doubts);
    writeRemarks(html, "Cannot be read", incoming.unreadable);
    const bool isSomething = plan.entries > 0 || !plan.clients.empty() || !plan.projects.empty() ||
                             !plan.tasks.empty() || !plan.people.empty();
    if (!isSomething)
        html.leaf("p", {{"class", "hint"}}, "There is nothing new in this file.");
    const auto form = formTo(html, visit, Here + "/" + std::to_string(draft.number), "fields");
    if (!incoming.unreadable.empty())
        writeCheck(html, {.name = "leave-out",
                          .label = "Leave out what cannot be read",
                          .help = "Or mend the file, and choose it again."});
    const auto buttons = html.in("div", {{"class", "buttons"}});
    if (isSomething)
        html.leaf("button", {{"class", "main"}}, "Import " + countOf(plan.entries, "Entry"));
    html.leaf("a", {{"class", "button"}, {"href", Here}}, "Choose Another File");
}

Reply previewPage(const Visit& visit, const Draft& draft, const std::string& problem = {})
{
    const auto incoming = read(visit, draft);
    if (!incoming)
        return askForFile(visit, unreadable(incoming.error()));
    const auto plan = visit.storage.look([&](SQLite::Database& database) -> tl::expected<Importer::Plan, Problem> {
        return Importer(database, visit.person, *incoming).plan();
    });
    if (!plan)
        return problemPage(visit, plan.error());
    return page(visit,
                {.title = draft.name.empty() ? "Bring Time In" : draft.name,
                 .section = Section::Account,
                 .status = problem.empty() ? 200 : 422,
                 .upPath = "/data",
                 .upName = "Your Data"},
                [&](Html& html) {
                    if (!problem.empty())
                        writeProblem(html, problem);
                    writePlan(html, visit, draft, *incoming, *plan);
                    if (!draft.isAccountFile)
                        writeMeaning(html, visit, draft);
                });
}

Reply gone(const Visit& visit)
{
    return problemPage(visit, {404, "Missing", "This file is no longer here. Choose it again."});
}

Reply setColumns(const Visit& visit, Drafts& drafts, Id number)
{
    const auto draft = drafts.find(visit, number);
    if (!draft || draft->isAccountFile)
        return gone(visit);
    Draft changed = *draft;
    for (std::size_t i = 0; i < changed.meaning.roles.size(); ++i) {
        const auto role = visit.form.text("column-" + std::to_string(i));
        for (const auto& [known, name] : RoleNames) {
            if (role == std::to_string(static_cast<int>(known)))
                changed.meaning.roles[i] = known;
        }
    }
    const auto order = visit.form.text("order");
    changed.meaning.order = order == "1"   ? DateOrder::DayFirst
                            : order == "2" ? DateOrder::MonthFirst
                                           : DateOrder::YearFirst;
    changed.meaning.isOrderSure = true;
    for (const auto& [field, text] : {std::pair{"client", &changed.meaning.client},
                                      {"project", &changed.meaning.project},
                                      {"task", &changed.meaning.task}})
        *text = nameText(visit.form.text(field));
    for (const Role role : {Role::Day, Role::Start, Role::End, Role::Hours, Role::Minutes, Role::Client, Role::Project,
                            Role::Code, Role::Task, Role::Person, Role::Billable}) {
        if (std::count(changed.meaning.roles.begin(), changed.meaning.roles.end(), role) > 1)
            return previewPage(visit, changed,
                               std::string("Two columns are “") +
                                   std::find_if(RoleNames.begin(), RoleNames.end(),
                                                [&](const auto& known) { return known.first == role; })
                                       ->second +
                                   "”. Only notes and tags can be several.");
    }
    return goTo(Here + "/" + std::to_string(drafts.keep(std::move(changed))));
}

Reply import(const Visit& visit, Drafts& drafts, Id number)
{
    const auto draft = drafts.find(visit, number);
    if (!draft)
        return gone(visit);
    const auto incoming = read(visit, *draft);
    if (!incoming)
        return askForFile(visit, unreadable(incoming.error()));
    if (!incoming->unreadable.empty() && !visit.form.has("leave-out"))
        return previewPage(visit, *draft, "Nothing was imported: some lines cannot be read. They are listed below.");
    const auto made = visit.storage.change([&](SQLite::Database& database) -> tl::expected<Id, Problem> {
        return Importer(database, visit.person, *incoming).apply(draft->name, visit.now);
    });
    if (!made)
        return problemPage(visit, made.error());
    drafts.drop(number);
    return goTo("/data?import=" + std::to_string(*made), "imported");
}

Reply undo(const Visit& visit, Id import)
{
    const auto removal = visit.storage.change(
        [&](SQLite::Database& database) { return Importer::undo(database, visit.person, import, visit.now); });
    return removal ? goTo("/data?removed=" + std::to_string(*removal), "undone") : problemPage(visit, removal.error());
}

} // namespace

void writeImports(Html& html, const Visit& visit, const std::vector<PastImport>& imports)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "in"}});
    html.leaf("h2", {{"id", "in"}}, "Bring time in");
    html.leaf(
        "p", {{"class", "faint"}},
        "From a table (CSV), from everything as JSON, from Hamster or from timewarrior. You see what would be made "
        "before anything is, and can undo it as a whole.");
    {
        const auto buttons = html.in("div", {{"class", "buttons"}});
        html.leaf("a", {{"class", "button main"}, {"href", Here}}, "Choose a File…");
    }
    if (imports.empty())
        return;
    const auto list = html.in("ul", {{"class", "rows"}});
    for (const auto& import : imports) {
        const auto item = html.in("li");
        {
            const auto what = html.in("div", {{"class", "what"}});
            html.leaf("div", {{"class", "line-name"}}, import.name);
            html.leaf("small", countOf(import.entries, "entry") + ", " + momentInWords(import.made));
        }
        const auto form = formTo(html, visit, "/data/imports/" + std::to_string(import.id) + "/undo");
        html.leaf("button", {{"class", "small"}, {"aria-label", "Undo the import of " + import.name}}, "Undo");
    }
}

void addImportPages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    const auto drafts = std::make_shared<Drafts>();
    site.add(
        "GET", Here, [](const Visit& visit, const Numbers&) { return askForFile(visit); }, admins);
    site.add(
        "POST", Here, [drafts](const Visit& visit, const Numbers&) { return takeFile(visit, *drafts); }, admins);
    site.add(
        "GET", Here + "/#",
        [drafts](const Visit& visit, const Numbers& numbers) {
            const auto draft = drafts->find(visit, numbers[0]);
            return draft ? previewPage(visit, *draft) : gone(visit);
        },
        admins);
    site.add(
        "POST", Here + "/#/columns",
        [drafts](const Visit& visit, const Numbers& numbers) { return setColumns(visit, *drafts, numbers[0]); },
        admins);
    site.add(
        "POST", Here + "/#",
        [drafts](const Visit& visit, const Numbers& numbers) { return import(visit, *drafts, numbers[0]); }, admins);
    site.add(
        "POST", "/data/imports/#/undo",
        [](const Visit& visit, const Numbers& numbers) { return undo(visit, numbers[0]); }, admins);
}

} // namespace localservice
