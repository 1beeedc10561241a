#include "Parts.h"
#include "Report.h"
#include "ReportRange.h"
#include "Site.h"
#include "Storage.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

/// Everything that the page shows.
struct Seen
{
    ReportFilter filter;
    Report report;
    // To choose from: of what the person may know.
    std::vector<Choice> clients;
    std::vector<Choice> projects;
    std::vector<Choice> tasks;
    std::vector<Choice> people; ///< for administrators
    std::set<Id> open;          ///< the projects that have a page for the person
};

/// What was asked for, or why that is nothing.
struct Asked
{
    ReportFilter filter;
    std::string from; ///< as it was typed
    std::string to;
    std::string problem = {};

    DayRange range() const { return {filter.from, filter.to}; }
};

Asked askedIn(const Visit& visit)
{
    const auto& query = visit.query;
    const DayRange week = thisWeek(localDay(visit.now));
    const auto billable = query.text("billable");
    Asked asked{{.account = visit.person.account,
                 // Only administrators may choose.
                 .person = visit.person.admin ? query.id("person") : visit.person.id,
                 .from = week.from,
                 .to = week.to,
                 .now = visit.now,
                 .client = query.id("client"),
                 .project = query.id("project"),
                 .task = query.id("task"),
                 .billable = billable == "yes"  ? std::optional(true)
                             : billable == "no" ? std::optional(false)
                                                : std::nullopt,
                 .notes = query.trimmed("notes")},
                query.trimmed("from"),
                query.trimmed("to")};
    if (asked.from.empty() && asked.to.empty()) {
        asked.from = isoDayText(week.from);
        asked.to = isoDayText(week.to);
        return asked;
    }
    const auto from = readDay(asked.from.empty() ? asked.to : asked.from);
    const auto to = readDay(asked.to.empty() ? asked.from : asked.to);
    if (!from || !to) {
        asked.problem = "Enter a date such as " + isoDayText(localDay(visit.now)) + ".";
        return asked;
    }
    if (*to < *from) {
        asked.problem = "The first day is after the last. Swap them.";
        return asked;
    }
    asked.filter.from = *from;
    asked.filter.to = *to;
    asked.from = isoDayText(*from);
    asked.to = isoDayText(*to);
    return asked;
}

/// The address that asks for the same again.
std::string addressOf(std::string_view path, const Visit& visit, const ReportFilter& filter)
{
    std::string address = std::string(path) + "?from=" + isoDayText(filter.from) + "&to=" + isoDayText(filter.to);
    const auto add = [&](bool wanted, const char* name, const std::string& value) {
        if (wanted)
            ((address += '&') += name) += '=' + value;
    };
    add(visit.person.admin && filter.person > 0, "person", std::to_string(filter.person));
    add(filter.client > 0, "client", std::to_string(filter.client));
    add(filter.project > 0, "project", std::to_string(filter.project));
    add(filter.task > 0, "task", std::to_string(filter.task));
    add(filter.billable.has_value(), "billable", filter.billable.value_or(false) ? "yes" : "no");
    add(!filter.notes.empty(), "notes", urlEncoded(filter.notes));
    return address;
}

std::string addressOf(std::string_view path, const Visit& visit, ReportFilter filter, const DayRange& range)
{
    filter.from = range.from;
    filter.to = range.to;
    return addressOf(path, visit, filter);
}

std::vector<Choice> choicesOf(SQLite::Statement& query, const char* unarchived)
{
    std::vector<Choice> choices;
    while (query.executeStep())
        choices.push_back({query.getColumn(0).getString(), query.getColumn(1).getString(),
                           query.getColumn(2).getInt() != 0 ? unarchived : "Archived"});
    return choices;
}

/// What the person may choose from: others than administrators what they may book on, or did.
void addChoices(Seen& seen, SQLite::Database& database, const Person& person)
{
    const Id onlyFor = person.admin ? 0 : person.id;
    SQLite::Statement projects(database,
                               "SELECT p.id, p.code, p.name, c.id, c.name, p.active, c.active, u.id IS NOT NULL"
                               " FROM projects p JOIN clients c ON c.id = p.client_id LEFT JOIN user_assignments u"
                               " ON u.project_id = p.id AND u.person_id = ?2 WHERE p.account_id = ?1 AND (?2 = 0"
                               " OR u.id IS NOT NULL OR p.id IN (SELECT project_id FROM entries WHERE person_id = ?2))"
                               " ORDER BY c.name COLLATE NOCASE, c.id, p.name COLLATE NOCASE, p.id");
    SQLite::bind(projects, person.account, onlyFor);
    while (projects.executeStep()) {
        const auto client = projects.getColumn(3).getString();
        const auto name = projectText(projects.getColumn(1).getString(), projects.getColumn(2).getString());
        const bool active = projects.getColumn(5).getInt() != 0;
        seen.projects.push_back({projects.getColumn(0).getString(), active ? name : name + " (archived)",
                                 projects.getColumn(4).getString()});
        if (seen.clients.empty() || seen.clients.back().value != client)
            seen.clients.push_back({client, projects.getColumn(4).getString(), ""});
        if (person.admin || projects.getColumn(7).getInt() != 0)
            seen.open.insert(projects.getColumn(0).getInt64());
    }
    SQLite::Statement tasks(database, "SELECT t.id, t.name, t.active FROM tasks t WHERE t.account_id = ?1 AND (?2 = 0"
                                      " OR t.id IN (SELECT task_id FROM entries WHERE person_id = ?2)"
                                      " OR t.id IN (SELECT o.task_id FROM task_assignments o JOIN user_assignments u"
                                      "   ON u.project_id = o.project_id AND u.person_id = ?2))"
                                      " ORDER BY NOT t.active, t.name COLLATE NOCASE, t.id");
    SQLite::bind(tasks, person.account, onlyFor);
    seen.tasks = choicesOf(tasks, "Tasks");
    if (!person.admin)
        return;
    SQLite::Statement people(database, "SELECT id, CASE WHEN TRIM(first_name || last_name) = '' THEN email"
                                       " ELSE TRIM(first_name || ' ' || last_name) END AS name, active FROM people"
                                       " WHERE account_id = ? ORDER BY NOT active, name COLLATE NOCASE, id");
    people.bind(1, person.account);
    seen.people = choicesOf(people, "People");
}

tl::expected<Seen, Problem> see(const Visit& visit, const ReportFilter& filter)
{
    return visit.storage.look([&](SQLite::Database& database) -> tl::expected<Seen, Problem> {
        Seen seen{filter, Report::of(database, filter), {}, {}, {}, {}, {}};
        addChoices(seen, database, visit.person);
        return seen;
    });
}

std::string percentOf(Seconds part, Seconds whole)
{
    return whole > 0 ? std::to_string((part * 200 + whole) / (whole * 2)) + "%" : "–";
}

std::vector<Share> sharesOf(const Amount& amount)
{
    return {{amount.billable, "billable"}, {amount.all - amount.billable, "other"}};
}

void writePresets(Html& html, const Visit& visit, const Asked& asked)
{
    const auto navigation = html.in("nav", {{"class", "presets"}, {"aria-label", "Ranges of days"}});
    const auto list = html.in("ul");
    for (const auto& [name, range] : namedRanges(localDay(visit.now))) {
        const auto item = html.in("li");
        const bool here = asked.problem.empty() && range == asked.range();
        html.leaf("a",
                  {{"href", addressOf("/reports", visit, asked.filter, range)},
                   {"aria-current", here ? std::optional<std::string>("true") : std::nullopt}},
                  name);
    }
}

/// A filter in use.
struct Narrowing
{
    std::string name;
    std::string value;
    ReportFilter without;
};

/// The name of the record, where the person may know it.
std::string nameIn(const std::vector<Choice>& choices, Id id)
{
    const auto found = std::find_if(choices.begin(), choices.end(),
                                    [&](const auto& choice) { return choice.value == std::to_string(id); });
    return found == choices.end() ? "not there any more" : found->text;
}

std::vector<Narrowing> narrowingsOf(const Visit& visit, const Seen& seen)
{
    std::vector<Narrowing> narrowings;
    const auto& filter = seen.filter;
    const auto add = [&](const char* name, const std::string& value, auto member) {
        auto without = filter;
        without.*member = {};
        narrowings.push_back({name, value, std::move(without)});
    };
    if (filter.client > 0)
        add("Client", nameIn(seen.clients, filter.client), &ReportFilter::client);
    if (filter.project > 0)
        add("Project", nameIn(seen.projects, filter.project), &ReportFilter::project);
    if (filter.task > 0)
        add("Task", nameIn(seen.tasks, filter.task), &ReportFilter::task);
    if (visit.person.admin && filter.person > 0)
        add("Person", nameIn(seen.people, filter.person), &ReportFilter::person);
    if (filter.billable)
        add("Hours", *filter.billable ? "billable" : "not billable", &ReportFilter::billable);
    if (!filter.notes.empty())
        add("Notes", "“" + filter.notes + "”", &ReportFilter::notes);
    return narrowings;
}

void writeNarrowings(Html& html, const Visit& visit, const std::vector<Narrowing>& narrowings)
{
    if (narrowings.empty())
        return;
    const auto list = html.in("ul", {{"class", "chips narrowings"}, {"aria-label", "Only these hours"}});
    for (const auto& narrowing : narrowings) {
        const auto item = html.in("li");
        html.leaf("span", {{"class", "faint"}}, narrowing.name + " ");
        html.leaf("bdi", narrowing.value);
        html.text(" ");
        html.leaf("a",
                  {{"href", addressOf("/reports", visit, narrowing.without)},
                   {"class", "drop"},
                   {"aria-label", "Remove " + narrowing.name},
                   {"title", "Remove"}},
                  "×");
    }
}

/// The fields beside those for the days, folded while none is in use.
void writeNarrowing(Html& html, const ReportFilter& filter, const Seen& seen, bool isNarrowed)
{
    const auto fold = html.in("details", {{"class", "fold"}, {"open", isNarrowed}});
    html.leaf("summary", seen.people.size() > 1 ? "Narrow by client, project, task, person or notes"
                                                : "Narrow by client, project, task or notes");
    const auto fields = html.in("div", {{"class", "narrow"}});
    const auto choose = [&](const char* name, const char* label, Id chosen, const char* all,
                            const std::vector<Choice>& from) {
        std::vector<Choice> choices{{"", all, ""}};
        choices.insert(choices.end(), from.begin(), from.end());
        // What is not there any more stays chosen, or the next press of the button would widen the report unasked.
        const auto value = chosen > 0 ? std::to_string(chosen) : std::string();
        if (std::none_of(choices.begin(), choices.end(), [&](const auto& choice) { return choice.value == value; }))
            choices.push_back({value, nameIn({}, chosen), ""});
        writeChoice(html, {.name = name, .label = label, .value = value}, choices);
    };
    choose("client", "Client", filter.client, "All clients", seen.clients);
    choose("project", "Project", filter.project, "All projects", seen.projects);
    choose("task", "Task", filter.task, "All tasks", seen.tasks);
    if (seen.people.size() > 1)
        choose("person", "Person", filter.person, "Everyone", seen.people);
    writeChoice(html,
                {.name = "billable",
                 .label = "Billable",
                 .value = !filter.billable   ? ""
                          : *filter.billable ? "yes"
                                             : "no"},
                {{"", "All hours"}, {"yes", "Billable"}, {"no", "Not billable"}});
    writeField(html,
               {.name = "notes", .label = "Notes contain", .value = filter.notes, .type = "search", .longest = 200});
}

void writeChoices(Html& html, const Asked& asked, const Seen& seen, bool isNarrowed)
{
    const auto& filter = asked.filter;
    const auto form = html.in("form", {{"method", "get"}, {"action", "/reports"}, {"class", "filter"}});
    {
        const auto row = html.in("div", {{"class", "row"}});
        writeField(html, {.name = "from",
                          .label = "From",
                          .value = asked.from,
                          .type = "date",
                          .required = true,
                          .cssClass = "short"});
        writeField(html, {.name = "to",
                          .label = "To",
                          .value = asked.to,
                          .error = asked.problem,
                          .type = "date",
                          .required = true,
                          .cssClass = "short"});
    }
    writeNarrowing(html, filter, seen, isNarrowed);
    html.leaf("button", "Show");
}

void writeFigures(Html& html, const Seen& seen)
{
    const auto& total = seen.report.total;
    const auto figure = [&](std::string_view name, const std::string& value, const std::string& more) {
        const auto box = html.in("div");
        html.leaf("dt", name);
        const auto cell = html.in("dd");
        html.text(value);
        if (!more.empty())
            html.leaf("small", " " + more);
    };
    const auto figures = html.in("dl", {{"class", "figures"}});
    figure("Hours", hoursMinutes(total.all), {});
    figure("Billable", hoursMinutes(total.billable), percentOf(total.billable, total.all));
    figure("Not billable", hoursMinutes(total.all - total.billable), percentOf(total.all - total.billable, total.all));
    const auto count = static_cast<Seconds>(seen.report.days.size());
    figure("Days with hours", std::to_string(count),
           count > 1 ? hoursMinutes(total.all / count) + " a day" : std::string());
}

/// The scale of a chart: a round number of hours, no less than `most`.
Seconds roundHours(Seconds most)
{
    for (Seconds power = 1;; power *= 10) {
        // Even, so that half of it is whole.
        for (const Seconds step : {2, 4, 6, 8, 10, 12, 16}) {
            if (const Seconds scale = step * power * 3600; scale >= most)
                return scale;
        }
    }
}

void writeChart(Html& html, const std::vector<Step>& steps)
{
    Seconds most = 0;
    for (const auto& step : steps)
        most = std::max(most, step.amount.all);
    const Seconds scale = roundHours(std::max(most, Seconds{2} * 3600));
    // The table below has the same numbers for those who cannot see the chart.
    const auto chart = html.in("div", {{"class", "chart"}, {"aria-hidden", "true"}});
    {
        const auto axis = html.in("div", {{"class", "axis"}});
        for (const Seconds hours : {scale / 3600, scale / 7200})
            html.leaf("span", std::to_string(hours) + " h");
        html.leaf("span", "0");
    }
    const auto columns = html.in("div", {{"class", steps.size() > 40   ? "columns many most"
                                                   : steps.size() > 24 ? "columns many"
                                                   : steps.size() > 12 ? "columns some"
                                                                       : "columns"}});
    for (const auto& step : steps) {
        const auto column = html.in("div", {{"class", step.quiet ? "column quiet" : "column"},
                                            {"title", step.name + ": " + hoursMinutes(step.amount.all)}});
        writeUprightBar(html, sharesOf(step.amount), scale);
        html.leaf("span", {{"class", step.marked ? "label marked" : "label"}}, step.label);
    }
}

void writeSteps(Html& html, const Visit& visit, const Seen& seen, const std::vector<Step>& steps, StepLength length)
{
    static constexpr std::string_view names[] = {"Day", "Week", "Month", "Year"};
    const auto name = names[static_cast<std::size_t>(length)];
    const bool own = seen.filter.person == visit.person.id || seen.people.size() == 1;
    writeTable(
        html, "Hours by " + std::string(1, static_cast<char>(name[0] | 0x20)) + std::string(name.substr(1)),
        {{std::string(name)}, {"Billable", true}, {"Hours", true}},
        [&] {
            for (const auto& step : steps) {
                if (step.amount.all == 0)
                    continue;
                const auto row = html.in("tr");
                {
                    const auto cell = html.in("th", {{"scope", "row"}});
                    if (length != StepLength::Day)
                        html.leaf("a", {{"href", addressOf("/reports", visit, seen.filter, step.range)}}, step.name);
                    else if (own)
                        html.leaf("a", {{"href", dayPath(step.range.from)}}, step.name);
                    else
                        html.text(step.name);
                }
                writeNumber(html, hoursMinutes(step.amount.billable));
                writeNumber(html, hoursMinutes(step.amount.all));
            }
        },
        {"Total", hoursMinutes(seen.report.total.billable), hoursMinutes(seen.report.total.all)});
}

void writeTimes(Html& html, const Visit& visit, const Seen& seen)
{
    const DayRange range{seen.filter.from, seen.filter.to};
    const auto length = stepLengthOf(range, seen.report);
    const auto steps = stepsOf(range, seen.report, length, localDay(visit.now));
    static constexpr std::string_view titles[] = {"By day", "By week", "By month", "By year"};
    const auto sheet = html.in("section", {{"class", "sheet times"}});
    {
        const auto head = html.in("div", {{"class", "heading"}});
        html.leaf("h2", titles[static_cast<std::size_t>(length)]);
        const auto key = html.in("ul", {{"class", "key"}, {"aria-hidden", "true"}});
        for (const auto& [name, text] : {std::pair{"billable", "Billable"}, {"other", "Not billable"}}) {
            const auto item = html.in("li");
            html.leaf("span", {{"class", std::string("swatch ") + name}}, {});
            html.text(text);
        }
    }
    writeChart(html, steps);
    const auto fold = html.in("details", {{"class", "as-numbers steps"}});
    html.leaf("summary", "As numbers");
    writeSteps(html, visit, seen, steps, length);
}

void writeWeeks(Html& html, const Visit& visit, const Seen& seen)
{
    const DayRange range{seen.filter.from, seen.filter.to};
    if (daysIn(range) <= 14 || stepLengthOf(range, seen.report) != StepLength::Day)
        return;
    const auto sheet = html.in("section", {{"class", "sheet steps"}});
    html.leaf("h2", "By week");
    writeSteps(html, visit, seen, stepsOf(range, seen.report, StepLength::Week, localDay(visit.now)), StepLength::Week);
}

struct Group
{
    std::string title;                                  ///< "By project"
    std::string name;                                   ///< "Project"
    std::string plural;                                 ///< "projects"
    std::function<std::string(const ReportLine&)> path; ///< where the line leads
};

constexpr std::size_t LinesInView = 12;
constexpr std::size_t FewestFolded = 4;

void writeLines(Html& html, const Group& group, const std::string& caption, std::span<const ReportLine> lines,
                const Amount& total, Seconds most)
{
    writeTable(html, caption, {{group.name}, {"Billable", true}, {"Hours", true}, {"Share", true}}, [&] {
        for (const auto& line : lines) {
            const auto row = html.in("tr");
            {
                const auto cell = html.in("th", {{"scope", "row"}});
                html.leaf("a", {{"href", group.path(line)}}, projectText(line.code, line.name));
                if (!line.client.empty())
                    html.leaf("span", {{"class", "client faint"}}, line.client);
                writeBar(html, sharesOf(line.amount), most);
            }
            writeNumber(html, hoursMinutes(line.amount.billable));
            writeNumber(html, hoursMinutes(line.amount.all));
            writeNumber(html, percentOf(line.amount.all, total.all));
        }
    });
}

/// The largest lines, and the others folded where there are many.
void writeGroup(Html& html, const Group& group, const std::vector<ReportLine>& lines, const Amount& total)
{
    const auto sheet = html.in("section", {{"class", "sheet ranking"}});
    html.leaf("h2", group.title);
    const Seconds most = lines.empty() ? 0 : lines.front().amount.all;
    const std::span all(lines);
    const auto shown = lines.size() < LinesInView + FewestFolded ? lines.size() : LinesInView;
    writeLines(html, group, group.title, all.first(shown), total, most);
    if (shown == lines.size())
        return;
    Amount rest;
    for (const auto& line : all.subspan(shown))
        rest += line.amount;
    const auto fold = html.in("details", {{"class", "as-numbers"}});
    html.leaf("summary", std::to_string(lines.size() - shown) + " more " + group.plural + ", " +
                             hoursMinutes(rest.all) + " hours");
    writeLines(html, group, group.title + ", the others", all.subspan(shown), total, most);
}

void writeReport(Html& html, const Visit& visit, const Seen& seen, bool isNarrowed)
{
    const auto& report = seen.report;
    const auto& filter = seen.filter;
    if (report.days.empty()) {
        const auto sheet = html.in("section", {{"class", "sheet"}});
        writeEmpty(html, isNarrowed ? "No such time booked on these days." : "No time booked on these days.");
        return;
    }
    {
        const auto sheet = html.in("section", {{"class", "sheet"}});
        writeFigures(html, seen);
        writeBar(html, sharesOf(report.total), report.total.all);
        if (report.runningTimers > 0)
            html.leaf("p", {{"class", "help"}},
                      (report.runningTimers == 1
                           ? "One timer is running: its "
                           : std::to_string(report.runningTimers) + " timers are running: their ") +
                          hoursMinutes(report.running) + " so far is included.");
    }
    writeTimes(html, visit, seen);
    writeWeeks(html, visit, seen);
    /// Leads to the same report of one record alone.
    const auto narrowedBy = [&](Id ReportFilter::*member) {
        return [&, member](const ReportLine& line) {
            auto narrowed = filter;
            narrowed.*member = line.id;
            return addressOf("/reports", visit, narrowed);
        };
    };
    const auto project = [&](const ReportLine& line) {
        return filter.project == line.id && seen.open.contains(line.id) ? "/projects/" + std::to_string(line.id)
                                                                        : narrowedBy(&ReportFilter::project)(line);
    };
    writeGroup(html, {"By project", "Project", "projects", project}, report.projects, report.total);
    const auto pair = html.in("div", {{"class", "pair"}});
    if (report.clients.size() > 1)
        writeGroup(html, {"By client", "Client", "clients", narrowedBy(&ReportFilter::client)}, report.clients,
                   report.total);
    writeGroup(html, {"By task", "Task", "tasks", narrowedBy(&ReportFilter::task)}, report.tasks, report.total);
    if (seen.people.size() > 1 && filter.person == 0)
        writeGroup(html, {"By person", "Person", "people", narrowedBy(&ReportFilter::person)}, report.people,
                   report.total);
}

Reply reportPage(const Visit& visit)
{
    const auto asked = askedIn(visit);
    const auto seen = see(visit, asked.filter);
    if (!seen)
        return problemPage(visit, seen.error());
    const bool wrong = !asked.problem.empty();
    const auto actions = [&](Html& html) {
        if (wrong)
            return;
        if (const auto before = shifted(asked.range(), -1))
            html.leaf(
                "a",
                {{"class", "button"}, {"href", addressOf("/reports", visit, asked.filter, *before)}, {"rel", "prev"}},
                "‹ Earlier");
        if (const auto after = shifted(asked.range(), 1))
            html.leaf(
                "a",
                {{"class", "button"}, {"href", addressOf("/reports", visit, asked.filter, *after)}, {"rel", "next"}},
                "Later ›");
        html.leaf("a", {{"class", "button"}, {"href", addressOf("/reports.csv", visit, asked.filter)}}, "Download CSV");
    };
    const auto narrowings = narrowingsOf(visit, *seen);
    return page(visit,
                {.title = wrong ? "Reports" : nameOf(asked.range()),
                 .section = Section::Reports,
                 .status = wrong ? 422 : 200,
                 .actions = actions},
                [&](Html& html) {
                    {
                        const auto sheet = html.in("section", {{"class", "sheet choices"}, {"aria-label", "Choose"}});
                        writePresets(html, visit, asked);
                        writeChoices(html, asked, *seen, !narrowings.empty());
                    }
                    writeNarrowings(html, visit, narrowings);
                    if (!wrong)
                        writeReport(html, visit, *seen, !narrowings.empty());
                });
}

Reply csvFile(const Visit& visit)
{
    const auto asked = askedIn(visit);
    if (!asked.problem.empty())
        return reportPage(visit);
    const auto file = std::make_shared<CsvFile>(asked.filter);
    const auto next = [&storage = visit.storage, file] {
        return storage.look(
            [&](SQLite::Database& database) -> tl::expected<std::string, Problem> { return file->next(database); });
    };
    auto first = next();
    if (!first)
        return problemPage(visit, first.error());
    const std::string name = "quillon-" + asked.from + "-" + asked.to + ".csv";
    Reply reply{200,
                std::move(*first),
                {{"Content-Type", "text/csv; charset=utf-8"},
                 {"Content-Disposition", "attachment; filename=\"" + name + "\""}}};
    if (!file->isAtEnd())
        reply.rest = [next]() -> std::optional<std::string> {
            auto piece = next();
            return piece ? std::optional(std::move(*piece)) : std::nullopt;
        };
    return reply;
}

} // namespace

void addReportPages(Site& site)
{
    site.add("GET", "/reports", [](const Visit& visit, const Numbers&) { return reportPage(visit); });
    site.add("GET", "/reports.csv", [](const Visit& visit, const Numbers&) { return csvFile(visit); });
}

} // namespace localservice
