#include "Parts.h"
#include "Report.h"
#include "ReportRange.h"
#include "Site.h"
#include "Storage.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

/// Everything that the page shows.
struct Seen
{
    ReportFilter filter;
    Report report;
    std::vector<Choice> people; ///< to choose from, for administrators of more than one
    std::set<Id> projects;      ///< that the person may open
};

/// The requested range, or why there is none.
struct Asked
{
    DayRange range;
    std::string from; ///< as it was typed
    std::string to;
    std::string problem = {};
    Id person = 0;
};

Asked askedIn(const Visit& visit)
{
    Asked asked{thisWeek(localDay(visit.now)), visit.query.trimmed("from"), visit.query.trimmed("to")};
    // Only administrators may choose.
    asked.person = visit.person.admin ? visit.query.id("person") : visit.person.id;
    if (asked.from.empty() && asked.to.empty()) {
        asked.from = isoDayText(asked.range.from);
        asked.to = isoDayText(asked.range.to);
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
    asked.range = {*from, *to};
    asked.from = isoDayText(*from);
    asked.to = isoDayText(*to);
    return asked;
}

ReportFilter filterOf(const Visit& visit, const Asked& asked)
{
    return {visit.person.account, asked.person, asked.range.from, asked.range.to, visit.now};
}

std::string addressOf(std::string_view path, const DayRange& range, const Visit& visit, Id person)
{
    return std::string(path) + "?from=" + isoDayText(range.from) + "&to=" + isoDayText(range.to) +
           (visit.person.admin && person > 0 ? "&person=" + std::to_string(person) : "");
}

tl::expected<Seen, Problem> see(const Visit& visit, const ReportFilter& filter)
{
    return visit.storage.look([&](SQLite::Database& database) -> tl::expected<Seen, Problem> {
        Seen seen{filter, Report::of(database, filter), {}, {}};
        SQLite::Statement projects(database, "SELECT p.id FROM projects p LEFT JOIN user_assignments u"
                                             " ON u.project_id = p.id AND u.person_id = ?"
                                             " WHERE p.account_id = ? AND (? OR u.id IS NOT NULL)");
        SQLite::bind(projects, visit.person.id, visit.person.account, int{visit.person.admin});
        while (projects.executeStep())
            seen.projects.insert(projects.getColumn(0).getInt64());
        if (!visit.person.admin)
            return seen;
        SQLite::Statement people(database, "SELECT id, CASE WHEN TRIM(first_name || last_name) = '' THEN email"
                                           " ELSE TRIM(first_name || ' ' || last_name) END AS name, active FROM people"
                                           " WHERE account_id = ? ORDER BY NOT active, name COLLATE NOCASE, id");
        people.bind(1, visit.person.account);
        while (people.executeStep())
            seen.people.push_back({people.getColumn(0).getString(), people.getColumn(1).getString(),
                                   people.getColumn(2).getInt() != 0 ? "People" : "Archived"});
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
        const bool here = asked.problem.empty() && range == asked.range;
        html.leaf("a",
                  {{"href", addressOf("/reports", range, visit, asked.person)},
                   {"aria-current", here ? std::optional<std::string>("true") : std::nullopt}},
                  name);
    }
}

void writeChoices(Html& html, const Asked& asked, const std::vector<Choice>& people)
{
    const auto form = html.in("form", {{"method", "get"}, {"action", "/reports"}, {"class", "row filter"}});
    writeField(
        html,
        {.name = "from", .label = "From", .value = asked.from, .type = "date", .required = true, .cssClass = "short"});
    writeField(html, {.name = "to",
                      .label = "To",
                      .value = asked.to,
                      .error = asked.problem,
                      .type = "date",
                      .required = true,
                      .cssClass = "short"});
    if (people.size() > 1) {
        std::vector<Choice> choices{{"", "Everyone"}};
        choices.insert(choices.end(), people.begin(), people.end());
        writeChoice(html,
                    {.name = "person",
                     .label = "Person",
                     .value = asked.person > 0 ? std::to_string(asked.person) : std::string()},
                    choices);
    }
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
    const auto columns = html.in("div", {{"class", steps.size() > 24   ? "columns many"
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
    writeTable(html, "Hours by " + std::string(1, static_cast<char>(name[0] | 0x20)) + std::string(name.substr(1)),
               {{std::string(name)}, {"Billable", true}, {"Hours", true}},
               [&] {
                   for (const auto& step : steps) {
                       if (step.amount.all == 0)
                           continue;
                       const auto row = html.in("tr");
                       {
                           const auto cell = html.in("th", {{"scope", "row"}});
                           if (length != StepLength::Day)
                               html.leaf("a", {{"href", addressOf("/reports", step.range, visit, seen.filter.person)}},
                                         step.name);
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
    std::string title;
    std::string name;
    std::function<std::string(const ReportLine&)> path = {}; ///< of the line's subject, empty for no link
};

void writeGroup(Html& html, const Group& group, const std::vector<ReportLine>& lines, const Amount& total)
{
    const auto sheet = html.in("section", {{"class", "sheet ranking"}});
    html.leaf("h2", group.title);
    const Seconds most = lines.empty() ? 0 : lines.front().amount.all;
    writeTable(html, group.title, {{group.name}, {"Billable", true}, {"Hours", true}, {"Share", true}}, [&] {
        for (const auto& line : lines) {
            const auto row = html.in("tr");
            {
                const auto cell = html.in("th", {{"scope", "row"}});
                const auto path = group.path ? group.path(line) : std::string();
                const auto name = projectText(line.code, line.name);
                if (path.empty())
                    html.text(name);
                else
                    html.leaf("a", {{"href", path}}, name);
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

void writeReport(Html& html, const Visit& visit, const Asked& asked, const Seen& seen)
{
    const auto& report = seen.report;
    if (report.days.empty()) {
        const auto sheet = html.in("section", {{"class", "sheet"}});
        writeEmpty(html, "No time booked on these days.");
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
    writeGroup(html,
               {"By project", "Project",
                [&](const ReportLine& line) {
                    return seen.projects.contains(line.id) ? "/projects/" + std::to_string(line.id) : std::string();
                }},
               report.projects, report.total);
    const auto pair = html.in("div", {{"class", "pair"}});
    if (report.clients.size() > 1)
        writeGroup(html, {"By client", "Client"}, report.clients, report.total);
    writeGroup(html, {"By task", "Task"}, report.tasks, report.total);
    if (seen.people.size() > 1 && asked.person == 0)
        writeGroup(html,
                   {"By person", "Person",
                    [&](const ReportLine& line) { return addressOf("/reports", asked.range, visit, line.id); }},
                   report.people, report.total);
}

Reply reportPage(const Visit& visit)
{
    const auto asked = askedIn(visit);
    const auto seen = see(visit, filterOf(visit, asked));
    if (!seen)
        return problemPage(visit, seen.error());
    const auto before = shifted(asked.range, -1);
    const auto after = shifted(asked.range, 1);
    const bool wrong = !asked.problem.empty();
    return page(
        visit,
        {.title = wrong ? "Reports" : nameOf(asked.range),
         .section = Section::Reports,
         .status = wrong ? 422 : 200,
         .actions =
             [&](Html& html) {
                 if (wrong)
                     return;
                 if (before)
                     html.leaf("a",
                               {{"class", "button"},
                                {"href", addressOf("/reports", *before, visit, asked.person)},
                                {"rel", "prev"}},
                               "‹ Earlier");
                 if (after)
                     html.leaf("a",
                               {{"class", "button"},
                                {"href", addressOf("/reports", *after, visit, asked.person)},
                                {"rel", "next"}},
                               "Later ›");
                 html.leaf("a",
                           {{"class", "button"}, {"href", addressOf("/reports.csv", asked.range, visit, asked.person)}},
                           "Download CSV");
             }},
        [&](Html& html) {
            {
                const auto sheet = html.in("section", {{"class", "sheet choices"}, {"aria-label", "Choose"}});
                writePresets(html, visit, asked);
                writeChoices(html, asked, seen->people);
            }
            if (!wrong)
                writeReport(html, visit, asked, *seen);
        });
}

Reply csvFile(const Visit& visit)
{
    const auto asked = askedIn(visit);
    if (!asked.problem.empty())
        return reportPage(visit);
    const auto file = std::make_shared<CsvFile>(filterOf(visit, asked));
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
