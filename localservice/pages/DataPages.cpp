#include "DataPages.h"

#include "../AccountFile.h"
#include "../Backups.h"
#include "../CalendarFile.h"
#include "../Sql.h"
#include "../Storage.h"
#include "Parts.h"
#include "RemovalPages.h"

#include <algorithm>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string Here = "/data";

/// What the page shows.
struct Seen
{
    std::vector<Removal> removals;
    std::vector<PastImport> imports;
    bool hasOthers = false; ///< accounts in the same file
};

tl::expected<Seen, Problem> see(const Visit& visit)
{
    return visit.storage.look([&](SQLite::Database& database) -> tl::expected<Seen, Problem> {
        Seen seen{Removals(database, visit.person.account).all(visit.person),
                  {},
                  number(database, "SELECT COUNT(*) FROM accounts") > 1};
        SQLite::Statement query(database, "SELECT id, name, entries, made_at FROM imports WHERE account_id = ?"
                                          " ORDER BY id DESC LIMIT 20");
        query.bind(1, visit.person.account);
        while (visit.person.admin && query.executeStep())
            seen.imports.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getString(),
                                    static_cast<std::size_t>(query.getColumn(2).getInt64()),
                                    query.getColumn(3).getInt64()});
        return seen;
    });
}

std::string kindOf(const Backup& copy)
{
    return copy.replaced ? "Replaced by an older one" : "Daily copy";
}

void writeCopies(Html& html, DailyBackups& backups, bool canRestore)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "copies"}});
    html.leaf("h2", {{"id", "copies"}}, "Copies");
    if (const auto problem = backups.problem())
        writeProblem(html, *problem);
    {
        const auto text = html.in("p", {{"class", "faint"}});
        html.text("All data are copied once a day, and the last 14 copies are kept. They are in the folder ");
        html.leaf("code", backups.copies().folder());
        html.text(".");
    }
    const auto copies = backups.copies().all();
    if (copies.empty()) {
        writeEmpty(html, "There are none yet. The first is made in a moment.");
        return;
    }
    {
        const auto list = html.in("ul", {{"class", "rows"}});
        for (const auto& copy : copies) {
            const auto item = html.in("li");
            {
                const auto what = html.in("div", {{"class", "what"}});
                html.leaf("div", {{"class", "line-name"}}, momentInWords(copy.made));
                html.leaf("small", kindOf(copy) + ", " + sizeText(copy.size));
            }
            if (canRestore)
                html.leaf("a",
                          {{"class", "button small"},
                           {"href", Here + "/restore?copy=" + urlEncoded(copy.name)},
                           {"aria-label", "Restore the copy of " + momentInWords(copy.made)}},
                          "Restore…");
        }
    }
    if (!canRestore)
        html.leaf("p", {{"class", "help"}},
                  "The copies hold other accounts, too. They are restored by “quillon-service --restore”.");
}

void writeExports(Html& html, const Visit& visit)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "out"}});
    html.leaf("h2", {{"id", "out"}}, "Take it along");
    const auto list = html.in("ul", {{"class", "rows"}});
    const auto line = [&](std::string_view name, std::string_view what, const std::string& path,
                          std::string_view button) {
        const auto item = html.in("li");
        {
            const auto text = html.in("div", {{"class", "what"}});
            html.leaf("div", {{"class", "line-name"}}, name);
            html.leaf("small", what);
        }
        html.leaf("a", {{"class", "button small"}, {"href", path}}, button);
    };
    if (visit.person.admin)
        line("Everything", "One JSON file with clients, projects, tasks, people and entries, which can be read back.",
             Here + "/everything.json", "Download JSON");
    line("Your calendar", "Your entries as an iCalendar file, for calendar programs.", Here + "/calendar.ics",
         "Download Calendar");
    line("A table", "The entries of a report as CSV, for spreadsheets.", "/reports", "Choose in the Reports");
}

Reply download(const std::string& name, const std::string& type, std::function<std::optional<std::string>()> next)
{
    auto first = next();
    if (!first)
        return {500};
    Reply reply{200,
                std::move(*first),
                {{"Content-Type", type}, {"Content-Disposition", "attachment; filename=\"" + name + "\""}}};
    reply.rest = std::move(next);
    return reply;
}

Reply everything(const Visit& visit)
{
    const auto file = visit.storage.look(
        [](SQLite::Database& database) -> tl::expected<std::string, Problem> { return database.getFilename(); });
    if (!file)
        return problemPage(visit, file.error());
    try {
        const auto writer = std::make_shared<AccountWriter>(*file, visit.person.account, visit.now);
        return download("quillon-" + isoDayText(localDay(visit.now)) + ".json", "application/json",
                        [writer]() -> std::optional<std::string> {
                            try {
                                return writer->next();
                            } catch (const SQLite::Exception&) {
                                return {}; // the download breaks off, and is seen to
                            }
                        });
    } catch (const SQLite::Exception& error) {
        return problemPage(visit, {500, "Storage", std::string("The data file: ") + error.what() + "."});
    }
}

Reply calendar(const Visit& visit)
{
    const auto origin = std::string(visit.request.header("Host").substr(0, visit.request.header("Host").find(':')));
    const auto file = std::make_shared<CalendarFile>(visit.person.id, origin, visit.now);
    return download("quillon-" + isoDayText(localDay(visit.now)) + ".ics", "text/calendar; charset=utf-8",
                    [file, &storage = visit.storage]() -> std::optional<std::string> {
                        if (file->isAtEnd())
                            return std::string();
                        const auto piece =
                            storage.look([&](SQLite::Database& database) -> tl::expected<std::string, Problem> {
                                return file->next(database);
                            });
                        return piece ? std::optional(*piece) : std::nullopt;
                    });
}

void writeRemovals(Html& html, const Visit& visit, const std::vector<Removal>& removals)
{
    const auto sheet = html.in("section", {{"class", "sheet"}, {"aria-labelledby", "deleted"}});
    html.leaf("h2", {{"id", "deleted"}}, "Recently deleted");
    if (removals.empty()) {
        html.leaf("p", {{"class", "faint"}}, "Nothing. What you delete stays here for 30 days.");
        return;
    }
    html.leaf("p", {{"class", "faint"}}, "What you delete stays here for 30 days, and can be brought back.");
    const auto list = html.in("ul", {{"class", "rows"}});
    for (const auto& removal : removals) {
        const auto item = html.in("li");
        {
            const auto what = html.in("div", {{"class", "what"}});
            html.leaf("div", {{"class", "line-name"}}, removal.name);
            html.leaf("small", wordFor(removal) + ", deleted on " + momentInWords(removal.removed));
        }
        const auto acts = html.in("div", {{"class", "acts"}});
        writeBringBack(html, visit, removal, "small");
    }
}

Reply dataPage(const Visit& visit, DailyBackups* backups)
{
    const auto seen = see(visit);
    if (!seen)
        return problemPage(visit, seen.error());
    return page(visit,
                {.title = "Your Data", .section = Section::Account, .upPath = "/account", .upName = "Your Account"},
                [&](Html& html) {
                    if (visit.person.admin)
                        writeImports(html, visit, seen->imports);
                    writeExports(html, visit);
                    if (backups && visit.person.admin)
                        writeCopies(html, *backups, !seen->hasOthers);
                    writeRemovals(html, visit, seen->removals);
                });
}

/// The copy that a form or an address names, if it is there and this person may restore it.
tl::expected<Backup, Problem> copyNamed(const Visit& visit, DailyBackups* backups, const std::string& name)
{
    const auto seen = see(visit);
    if (!seen)
        return tl::unexpected(seen.error());
    if (backups && !seen->hasOthers) {
        for (const auto& copy : backups->copies().all()) {
            if (copy.name == name)
                return copy;
        }
    }
    return tl::unexpected(Problem{404, "Missing", "This copy no longer exists."});
}

Reply askToRestore(const Visit& visit, DailyBackups* backups)
{
    const auto copy = copyNamed(visit, backups, visit.query.text("copy"));
    if (!copy)
        return problemPage(visit, copy.error());
    return questionPage(visit,
                        {.title = "Restore This Copy?",
                         .text = "All data become what they were then. What is there now is kept as a copy as well, "
                                 "so that you can return to it. Passwords stay as they are.",
                         .action = Here + "/restore",
                         .yes = "Restore",
                         .no = "Cancel",
                         .back = Here,
                         .section = Section::Account,
                         .fields = {{"copy", copy->name}}},
                        [&](Html& html) {
                            html.leaf("p", {{"class", "about"}}, momentInWords(copy->made));
                        });
}

Reply restore(const Visit& visit, DailyBackups* backups)
{
    const auto copy = copyNamed(visit, backups, visit.form.text("copy"));
    if (!copy)
        return problemPage(visit, copy.error());
    const auto done = backups->copies().restore(copy->name, visit.now);
    return done ? goTo(Here, "data-restored")
                : problemPage(visit, {500, "Storage", "The copy was not restored: " + done.error() + "."});
}

} // namespace

void addDataPages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    DailyBackups* backups = site.backups();
    addImportPages(site);
    site.add("GET", Here + "/calendar.ics", [](const Visit& visit, const Numbers&) { return calendar(visit); });
    site.add(
        "GET", Here + "/everything.json", [](const Visit& visit, const Numbers&) { return everything(visit); }, admins);
    site.add("GET", Here, [backups](const Visit& visit, const Numbers&) { return dataPage(visit, backups); });
    site.add(
        "GET", Here + "/restore",
        [backups](const Visit& visit, const Numbers&) { return askToRestore(visit, backups); }, admins);
    site.add(
        "POST", Here + "/restore", [backups](const Visit& visit, const Numbers&) { return restore(visit, backups); },
        admins);
}

} // namespace localservice
