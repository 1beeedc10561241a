#include "RemovalPages.h"

#include "../Storage.h"
#include "Parts.h"
#include "Site.h"

namespace localservice {

namespace {

using Found = std::optional<Removal>;

template <typename Find>
Found look(const Visit& visit, Find find)
{
    return visit.storage
        .look([&](SQLite::Database& database) -> tl::expected<Found, Problem> {
            Removals removals(database, visit.person.account);
            return find(removals);
        })
        .value_or(std::nullopt);
}

Section sectionOf(const Removal& removal)
{
    return removal.table == "entries"   ? Section::Timesheet
           : removal.table == "tasks"   ? Section::Tasks
           : removal.table == "imports" ? Section::Account
                                        : Section::Projects;
}

/// Where it is again.
std::string placeOf(SQLite::Database& database, const Removal& removal)
{
    if (removal.table == "imports")
        return "/data";
    if (removal.table == "samples")
        return "/projects";
    if (removal.table != "entries")
        return "/" + removal.table + "/" + std::to_string(removal.record);
    SQLite::Statement query(database, "SELECT spent_at FROM entries WHERE id = ?");
    query.bind(1, removal.record);
    const auto day = query.executeStep() ? readDay(query.getColumn(0).getString()) : std::nullopt;
    return day ? dayPath(*day) : "/daily";
}

Reply bringBack(const Visit& visit, const std::vector<Id>& numbers)
{
    const auto place = visit.storage.change([&](SQLite::Database& database) -> tl::expected<std::string, Problem> {
        Removals removals(database, visit.person.account);
        const auto removal = removals.find(numbers[0], visit.person);
        if (!removal)
            return tl::unexpected(Problem{404, "Missing", "There is nothing to bring back any longer."});
        return removals.bringBack(*removal, visit.now).map([&] { return placeOf(database, *removal); });
    });
    return place ? goTo(*place, "back") : problemPage(visit, place.error());
}

} // namespace

std::string wordFor(const Removal& removal)
{
    std::string word = removal.table == "entries" ? "entry" : removal.table.substr(0, removal.table.size() - 1);
    word[0] = static_cast<char>(word[0] - 'a' + 'A');
    return word;
}

std::string momentInWords(Seconds moment)
{
    return dayInWords(localDay(moment)) + ", " + clockText(localMinutes(moment));
}

Reply goToRemoved(const std::string& target, Id removal)
{
    return goTo(target + "?removed=" + std::to_string(removal), "deleted");
}

Found removalIn(const Visit& visit)
{
    const Id id = visit.query.id("removed");
    return id == 0 ? Found() : look(visit, [&](Removals& removals) { return removals.find(id, visit.person); });
}

void writeBringBack(Html& html, const Visit& visit, const Removal& removal, std::string_view cssClass)
{
    const auto form = formTo(html, visit, "/removed/" + std::to_string(removal.id));
    html.leaf("button", {{"class", cssClass}, {"title", removal.name}}, "Bring It Back");
}

std::optional<Reply> removedPage(const Visit& visit, Id record)
{
    const std::string table(piecesOf(visit.request.path()).front());
    const auto removal = look(visit, [&](Removals& removals) { return removals.of(table, record, visit.person); });
    if (!removal)
        return {};
    return page(visit, {"This " + wordFor(*removal) + " Was Deleted", sectionOf(*removal), 404}, [&](Html& html) {
        const auto sheet = html.in("section", {{"class", "sheet question"}});
        html.leaf("p", {{"class", "about"}}, removal->name);
        html.leaf("p", "It was deleted on " + momentInWords(removal->removed) + ".");
        writeBringBack(html, visit, *removal, "main");
    });
}

void addRemovalPages(Site& site)
{
    site.add("POST", "/removed/#", bringBack);
}

} // namespace localservice
