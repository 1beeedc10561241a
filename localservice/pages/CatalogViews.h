#pragma once

#include "../Catalog.h"
#include "Page.h"

#include <string>
#include <tl/expected.hpp>
#include <vector>

// What the pages of clients, projects and tasks show. Administrators see everything in their account; others see what
// they may book on, and their own hours.

namespace localservice {

/// Booked time, running timers included.
struct Booked
{
    Seconds month = 0; ///< of the present month
    Seconds all = 0;
};

/// What a list should show: up to `PerPage` lines that contain `search`.
struct ListQuery
{
    static constexpr int PerPage = 100;

    std::string search = {};
    bool archived = false;
    int page = 1;

    /// Reads q, archived and page from an address.
    static ListQuery read(const Form& query);
    /// The query string of the same list at another page.
    std::string address(std::string_view path, int page) const;
};

template <typename Line>
struct Listing
{
    std::vector<Line> lines;
    int matches = 0;     ///< on all pages
    int archived = 0;    ///< how many archived ones there are
    int active = 0;      ///< and how many others
    Seconds longest = 0; ///< the most hours that one line has
};

/// A project within its client. A client without projects has one line whose project is 0.
struct ProjectLine
{
    Id client = 0;
    std::string clientName;
    bool clientActive = true;
    Id id = 0;
    std::string name;
    std::string code;
    bool billable = true;
    bool active = true;
    int tasks = 0;
    int people = 0;
    Booked booked;
};

struct NamedRecord
{
    Id id = 0;
    std::string name;
};

struct TaskLine
{
    Id id = 0;
    std::string name;
    Booked booked;
    int projects = 0;                  ///< that offer it and are not archived
    std::vector<NamedRecord> examples; ///< the first of them
};

/// A task as offered, or not, on a project.
struct ProjectTask
{
    Id id = 0;
    std::string name;
    bool active = true;
    bool offered = false;
    bool billable = true;
    Seconds booked = 0;
};

struct ProjectPerson
{
    Id id = 0;
    std::string name;
    bool assigned = false;
    Seconds booked = 0;
};

struct MonthHours
{
    std::string name; ///< "Mar 2024"
    Seconds booked = 0;
};

struct ProjectView
{
    NewProject fields;
    std::string clientName;
    bool clientActive = true;
    bool active = true;
    bool used = false; ///< somebody booked time on it
    Booked booked;
    std::vector<ProjectTask> tasks;
    std::vector<ProjectPerson> people;
    std::vector<MonthHours> months; ///< twelve, the present one last
};

struct ClientView
{
    std::string name;
    bool active = true;
    std::vector<ProjectLine> projects; ///< unarchived ones first
    std::size_t activeProjects = 0;
    Seconds longest = 0;
};

struct TaskView
{
    std::string name;
    bool active = true;
    bool used = false;
    Booked booked;
    std::vector<ProjectLine> projects; ///< that offer it
};

class CatalogViews final
{
public:
    template <typename T>
    using Seen = tl::expected<T, Problem>;

    explicit CatalogViews(const Visit& visit) : m_visit(visit) {}

    Seen<Listing<ProjectLine>> projects(const ListQuery& query) const;
    Seen<Listing<TaskLine>> tasks(const ListQuery& query) const;
    Seen<ProjectView> project(Id id) const;
    /// A new project: its tasks are those of the newest billable project.
    Seen<ProjectView> newProject() const;
    Seen<ClientView> client(Id id) const;
    Seen<TaskView> task(Id id) const;
    /// The clients that may have new projects, and the given one.
    Seen<std::vector<NamedRecord>> clients(Id also = 0) const;

private:
    const Visit& m_visit;
};

} // namespace localservice
