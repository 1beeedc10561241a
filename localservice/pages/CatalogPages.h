#pragma once

#include "../Catalog.h"
#include "../Storage.h"
#include "CatalogViews.h"
#include "Parts.h"
#include "Site.h"

#include <string>
#include <string_view>
#include <type_traits>

// What the pages of clients, projects and tasks share.

namespace localservice {

void addProjectPages(Site& site);
void addClientPages(Site& site);
void addTaskPages(Site& site);

/// Runs `work(Catalog&)`, which returns a tl::expected<…, Problem>, in one transaction: all of it or nothing.
template <typename Work>
auto changeCatalog(const Visit& visit, Work work)
{
    return visit.storage.change([&](SQLite::Database& database) -> std::invoke_result_t<Work, Catalog&> {
        Catalog catalog(database, visit.person.account);
        return work(catalog);
    });
}

/// "/projects/7"
std::string recordPath(std::string_view list, Id id);

/// A name, isolated so that its text direction does not affect its neighbours.
void writeName(Html& html, std::string_view name);
void writeNameLink(Html& html, const std::string& path, std::string_view name);

/// The message of a problem with that field, empty otherwise.
std::string errorOf(const std::optional<Problem>& problem, std::string_view kind);
/// A problem with none of the fields, above the form.
void writeOtherProblem(Html& html, const std::optional<Problem>& problem,
                       std::initializer_list<std::string_view> fields);

/// The field to search a list, and the switch between archived and other records.
void writeListHead(Html& html, std::string_view path, const ListQuery& query, std::string_view label, int active,
                   int archived);
/// The links to the other pages of a list.
void writePager(Html& html, std::string_view path, const ListQuery& query, int matches);

/// The hours of this month and earlier, relative to `longest`.
void writeBookedBar(Html& html, const Booked& booked, Seconds longest);
void writeBookedKey(Html& html);
void writeFigures(Html& html, const Booked& booked);

/// The cells of projects in a table, under `projectColumns()`.
const std::vector<Column>& projectColumns();
void writeProjectCells(Html& html, const ProjectLine& line, Seconds longest);

/// The report of all time booked on that record, empty when there is none; `kind` is "project" or "task".
std::string bookedAddress(const Visit& visit, const std::string& kind, Id id);

/// The buttons below a record's form: archive or restore, and delete where possible.
struct RecordEnd
{
    std::string path;
    std::string what; ///< "project"
    bool active = true;
    std::string archiving = {}; ///< what archiving does
    std::string staying = {};   ///< why it cannot be deleted; empty when it can
    std::string booked = {};    ///< where its hours are, if it has any
    bool asks = false;          ///< archiving needs confirmation on a page of its own
};
void writeRecordEnd(Html& html, const Visit& visit, const RecordEnd& record);

/// Adds the forms at the bottom of the page: archive, restore, delete.
void addRecordActs(Site& site, const std::string& list, const std::string& what, Section section, Catalog::Kind kind,
                   std::string (*nameOf)(const Visit&, Id));

} // namespace localservice
