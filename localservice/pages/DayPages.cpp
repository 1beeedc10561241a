#include "DayPages.h"

#include "../Samples.h"
#include "../Sql.h"
#include "../Storage.h"
#include "Bookings.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace localservice {

namespace {

using std::chrono::sys_days;

constexpr Seconds FullDay = Seconds{8} * 3600;

/// The booked time, and how much of it is billable.
struct Sum
{
    Seconds all = 0;
    Seconds billable = 0;

    void add(const Entry& entry, Seconds now)
    {
        all += entry.total(now);
        billable += entry.billable ? entry.total(now) : 0;
    }
    std::vector<Share> shares() const { return {{billable, "billable"}, {all - billable, "other"}}; }
};

Day mondayOf(Day day)
{
    return plus(day, 1 - static_cast<int>(std::chrono::weekday(sys_days(day)).iso_encoding()));
}

/// For "aria-current".
std::optional<std::string> currentIf(bool here)
{
    return here ? std::optional<std::string>("page") : std::nullopt;
}

std::string weekdayOf(Day day)
{
    return longDayText(day).substr(0, 3);
}

void writeDayNavigation(Html& html, Day day, Day today)
{
    {
        const auto navigation = html.in("nav", {{"aria-label", "Days"}, {"class", "days"}});
        const auto arrow = [&](int step, std::string_view name, std::string_view sign) {
            html.leaf("a",
                      {{"class", "button"}, {"href", dayPath(plus(day, step))}, {"aria-label", name}, {"title", name}},
                      sign);
        };
        arrow(-1, "Previous Day", "‹");
        html.leaf("a", {{"class", "button"}, {"href", "/daily"}, {"aria-current", currentIf(day == today)}}, "Today");
        arrow(1, "Next Day", "›");
    }
    const auto form = html.in("form", {{"method", "get"}, {"action", "/daily"}, {"class", "jump"}});
    html.leaf("label", {{"for", "jump"}, {"class", "unseen"}}, "Go to day");
    html.empty("input", {{"type", "date"},
                         {"id", "jump"},
                         {"name", "day"},
                         {"value", isoDayText(day)},
                         {"min", "1900-01-01"},
                         {"max", "9999-12-31"},
                         {"required", true}});
    html.leaf("button", "Go");
}

void writeWeek(Html& html, Day day, Day today, const std::array<Sum, 7>& sums, const Sum& week)
{
    const Day monday = mondayOf(day);
    const auto sheet = html.in("section", {{"class", "sheet week"}, {"aria-labelledby", "week"}});
    {
        const auto total = html.in("div", {{"class", "week-total"}});
        {
            const auto heading = html.in("div", {{"class", "weeks"}});
            html.leaf("h2", {{"id", "week"}}, daysInWords(monday, plus(monday, 6)));
            const auto navigation = html.in("nav", {{"aria-label", "Weeks"}});
            html.leaf("a",
                      {{"href", dayPath(plus(day, -7))}, {"aria-label", "Previous Week"}, {"title", "Previous Week"}},
                      "‹");
            html.leaf("a", {{"href", dayPath(plus(day, 7))}, {"aria-label", "Next Week"}, {"title", "Next Week"}}, "›");
        }
        {
            const auto paragraph = html.in("p", {{"class", "sum"}});
            html.leaf("strong", hoursMinutes(week.all));
            html.text(today >= monday && today <= plus(monday, 6) ? " hours this week" : " hours in this week");
        }
        writeBar(html, week.shares(), week.all);
        const auto key = html.in("ul", {{"class", "key"}});
        const auto line = [&](const std::string& swatch, Seconds seconds, const std::string& what) {
            const auto item = html.in("li");
            html.leaf("span", {{"class", "swatch " + swatch}}, {});
            html.leaf("span", {{"class", "number"}}, hoursMinutes(seconds));
            html.text(what);
        };
        line("billable", week.billable,
             "billable" + (week.all > 0 ? ", " + std::to_string((week.billable * 100 + week.all / 2) / week.all) + "%"
                                        : std::string()));
        line("other", week.all - week.billable, "not billable");
    }
    Seconds longest = FullDay;
    for (const auto& sum : sums)
        longest = std::max(longest, sum.all);
    const auto list = html.in("ol", {{"class", "bars"}});
    for (int i = 0; i < 7; ++i) {
        const Day that = plus(monday, i);
        const auto& sum = sums[static_cast<std::size_t>(i)];
        const auto item = html.in("li", {{"class", that == today ? "today" : i > 4 ? "weekend" : "workday"}});
        const auto link = html.in("a", {{"href", dayPath(that)}, {"aria-current", currentIf(that == day)}});
        writeUprightBar(html, sum.shares(), longest);
        {
            const auto name = html.in("span", {{"class", "name"}});
            html.text(weekdayOf(that));
            html.leaf("span", {{"class", "unseen"}}, longDayText(that).substr(3) + ": ");
        }
        html.leaf("span", {{"class", sum.all > 0 ? "number" : "number none"}}, hoursMinutes(sum.all));
        if (sum.all > 0)
            html.leaf("span", {{"class", "unseen"}}, " hours, " + hoursMinutes(sum.billable) + " billable");
        if (that == today)
            html.leaf("span", {{"class", "unseen"}}, ", today");
    }
}

void writeMarks(Html& html, const Entry& entry)
{
    if (!entry.lockedReason && !entry.billed)
        return;
    const auto marks = html.in("div", {{"class", "marks"}});
    if (entry.lockedReason)
        html.leaf("span", {{"class", "badge"}},
                  entry.lockedReason->empty() ? "Locked" : "Locked: " + *entry.lockedReason);
    if (entry.billed)
        html.leaf("span", {{"class", "badge"}}, "Billed");
}

void writeActions(Html& html, const Visit& visit, const Entry& entry)
{
    const auto cell = html.in("td", {{"class", "acts"}});
    const std::string path = "/entries/" + std::to_string(entry.id);
    const std::string what = entry.taskName + " on " + projectText(entry.projectCode, entry.projectName);
    const bool fixed = entry.lockedReason || entry.billed;
    const bool runs = entry.timerStarted.has_value();
    if (runs || !fixed) {
        const auto form = formTo(html, visit, path + "/timer");
        writeHidden(html, "state", runs ? "stopped" : "running");
        html.leaf("button",
                  {{"class", runs ? "small stop" : "small start"},
                   {"aria-label", (runs ? "Stop the timer of " : "Start the timer of ") + what}},
                  runs ? "Stop" : "Start");
    }
    if (fixed)
        return;
    html.text(" ");
    html.leaf("a", {{"class", "button small quiet"}, {"href", path}, {"aria-label", "Edit " + what}}, "Edit");
    html.text(" ");
    html.leaf("a", {{"class", "button small quiet"}, {"href", path + "/delete"}, {"aria-label", "Delete " + what}},
              "Delete");
}

void writeEntries(Html& html, const Visit& visit, const std::vector<Entry>& entries, const Sum& sum)
{
    const auto rows = [&] {
        for (const auto& entry : entries) {
            const bool runs = entry.timerStarted.has_value();
            const auto row = html.in("tr", {{"class", runs ? "running" : entry.lockedReason ? "locked" : "finished"}});
            {
                const auto cell = html.in("th", {{"scope", "row"}, {"class", "what"}});
                html.leaf("span", {{"class", "project"}}, projectText(entry.projectCode, entry.projectName));
                html.leaf("span", {{"class", "client"}}, entry.clientName);
                html.text(" ");
                html.leaf("span", {{"class", "task"}}, entry.taskName);
            }
            {
                const auto cell = html.in("td", {{"class", "notes"}});
                if (!entry.notes.empty())
                    html.leaf("div", {{"class", "text"}}, entry.notes);
                writeMarks(html, entry);
            }
            {
                const auto cell = html.in("td", {{"class", "number hours"}});
                html.leaf("strong", hoursMinutes(entry.total(visit.now)));
                if (const auto times = timesText(entry); !times.empty())
                    html.leaf("span", {{"class", runs ? "times since" : "times"}}, (runs ? "running " : "") + times);
            }
            writeActions(html, visit, entry);
        }
    };
    const auto sheet = html.in("section", {{"class", "sheet entries"}});
    writeTable(html, "Entries of the day", {{"Project and task"}, {"Notes"}, {"Hours", true}, {"Actions", false, true}},
               rows, {"Total of this day", "", hoursMinutes(sum.all), ""});
}

void writeNewEntry(Html& html, const Visit& visit, const EntryDraft& draft, const Bookings::List& bookings,
                   const std::optional<Problem>& problem)
{
    const auto sheet = html.in("section", {{"class", "sheet new-entry"}, {"id", "new"}});
    html.leaf("h2", "New entry");
    const auto form = entryForm(html, visit, draft, bookings, problem);
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", {{"class", "main"}}, "Add Entry");
    writeMoreProjects(html, bookings);
}

/// For those who have nothing but samples yet.
void writeBeginning(Html& html, const Visit& visit)
{
    const auto isNew = visit.storage.look([&](SQLite::Database& database) -> tl::expected<bool, Problem> {
        return visit.person.admin && !samplesIn(database, visit.person.account).empty() &&
               number(database,
                      "SELECT EXISTS (SELECT 1 FROM entries WHERE project_id IN (SELECT id FROM projects"
                      " WHERE account_id = ?) AND (seconds > 0 OR timer_started IS NOT NULL))",
                      visit.person.account) == 0;
    });
    if (!isNew.value_or(false))
        return;
    const auto hint = html.in("div", {{"class", "hint samples"}});
    html.leaf("p", "The projects here are samples to look around with. Begin with one of them, or with your own.");
    const auto form = formTo(html, visit, "/projects/samples");
    writeHidden(html, "begin", "1");
    html.leaf("button", {{"class", "small"}}, "Start Empty");
}

/// A timer running on a day other than the one shown.
void writeRunningElsewhere(Html& html, const Entry& entry, Seconds now)
{
    const auto paragraph = html.in("p", {{"class", "hint"}});
    html.text("A timer is running on another day: " + projectText(entry.projectCode, entry.projectName) + " · " +
              entry.taskName + ", " + hoursMinutes(entry.total(now)) + " hours on ");
    html.leaf("a", {{"href", dayPath(entry.day)}}, dayInWords(entry.day));
    html.text(".");
}

void writeNothingToBook(Html& html, const Visit& visit)
{
    if (visit.person.admin)
        writeEmpty(html,
                   "There are no projects that you can book time on yet. Create one, offer tasks on it and assign"
                   " yourself to it.",
                   "/projects", "Go to Projects");
    else
        writeEmpty(html, "You are not assigned to any project yet. Ask an administrator of " +
                             visit.person.accountName + " to assign you to one.");
}

} // namespace

Reply dayPage(const Visit& visit, Day day, const std::optional<EntryDraft>& draft,
              const std::optional<Problem>& problem)
{
    const Day today = localDay(visit.now);
    const Day monday = mondayOf(day);
    Timesheet timesheet(visit.storage, visit.person, visit.now);
    const auto entries = timesheet.days(monday, plus(monday, 6));
    const auto running = timesheet.running();
    Bookings bookings(visit.storage, visit.person);
    const auto last = bookings.last();
    const auto shown = draft.value_or(EntryDraft::ofNew(day, last.value_or(std::string())));
    const auto bookable = bookings.atHand(shown.booking);
    if (!entries || !running || !last || !bookable)
        return problemPage(visit, {500, "Storage", "The data file cannot be read."});
    std::array<Sum, 7> sums;
    Sum week;
    std::vector<Entry> ofDay;
    for (const auto& entry : *entries) {
        sums.at(static_cast<std::size_t>((sys_days(entry.day) - sys_days(monday)).count())).add(entry, visit.now);
        week.add(entry, visit.now);
        if (entry.day == day)
            ofDay.push_back(entry);
    }
    const auto& sum = sums.at(static_cast<std::size_t>((sys_days(day) - sys_days(monday)).count()));
    const Head head{dayInWords(day), Section::Timesheet, problem ? problem->status : 200,
                    [&](Html& html) { writeDayNavigation(html, day, today); }};
    return page(visit, head, [&](Html& html) {
        if (problem && problem->field.empty())
            writeProblem(html, problem->message);
        if (*running && (*running)->day != day)
            writeRunningElsewhere(html, **running, visit.now);
        if (week.all == 0)
            writeBeginning(html, visit);
        writeWeek(html, day, today, sums, week);
        // Above the entries, where it stays when there are many.
        if (bookable->bookings.empty())
            writeNothingToBook(html, visit);
        else
            writeNewEntry(html, visit, shown, *bookable, problem);
        if (!ofDay.empty())
            writeEntries(html, visit, ofDay, sum);
        else if (!bookable->bookings.empty())
            writeEmpty(html, day > today   ? "No entries for this day yet."
                             : day < today ? "No entries on this day. You can still add some above."
                                           : "No entries for today yet. Choose what you are working on and start a "
                                             "timer above.");
    });
}

void addDayPages(Site& site)
{
    site.add("GET", "/daily", [](const Visit& visit, const auto& /*numbers*/) {
        if (!visit.query.has("day"))
            return dayPage(visit, localDay(visit.now));
        const auto day = readDay(visit.query.text("day"));
        return day ? goTo(dayPath(*day)) : goTo("/daily");
    });
    site.add("GET", "/daily/#/#", [](const Visit& visit, const std::vector<Id>& numbers) {
        const auto day = dayOfYear(numbers[0], numbers[1]);
        return day ? dayPage(visit, *day) : notFoundPage(visit);
    });
    addEntryPages(site);
}

} // namespace localservice
