#include "../Backups.h"
#include "../Storage.h"
#include "Parts.h"
#include "RemovalPages.h"
#include "Site.h"

#include <algorithm>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string Here = "/data";

/// What the page shows.
struct Seen
{
    std::vector<Removal> removals;
    bool hasOthers = false; ///< accounts in the same file
};

tl::expected<Seen, Problem> see(const Visit& visit)
{
    return visit.storage.look([&](SQLite::Database& database) -> tl::expected<Seen, Problem> {
        return Seen{Removals(database, visit.person.account).all(visit.person),
                    number(database, "SELECT COUNT(*) FROM accounts") > 1};
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
    site.add("GET", Here, [backups](const Visit& visit, const Numbers&) { return dataPage(visit, backups); });
    site.add(
        "GET", Here + "/restore",
        [backups](const Visit& visit, const Numbers&) { return askToRestore(visit, backups); }, admins);
    site.add(
        "POST", Here + "/restore", [backups](const Visit& visit, const Numbers&) { return restore(visit, backups); },
        admins);
}

} // namespace localservice
