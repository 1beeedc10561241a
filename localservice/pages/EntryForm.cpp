#include "EntryForm.h"

#include <algorithm>

namespace localservice {

namespace {

std::string two(int number)
{
    return (number < 10 ? "0" : "") + std::to_string(number);
}

/// The format of fields of type "time".
std::string fieldTime(const std::optional<Minutes>& minutes)
{
    return minutes ? two(*minutes / 60) + ":" + two(*minutes % 60) : std::string();
}

/// The bookings as choices, including the entry's present one even where new ones are not allowed.
std::vector<Choice> choicesOf(const Bookings::List& list, const std::string& chosen, const Entry* present)
{
    std::vector<Choice> choices;
    bool found = false;
    for (const auto& booking : list.bookings) {
        choices.push_back({bookingText(booking.project, booking.task), booking.projectName + " · " + booking.taskName,
                           booking.clientName});
        found = found || choices.back().value == chosen;
    }
    if (!found && present && bookingText(present->project, present->task) == chosen)
        choices.insert(choices.begin(),
                       {chosen, projectText(present->projectCode, present->projectName) + " · " + present->taskName,
                        present->clientName});
    else if (!found)
        choices.insert(choices.begin(), {"", "Choose a project and task"});
    return choices;
}

} // namespace

EntryDraft EntryDraft::ofNew(Day day, std::string booking)
{
    EntryDraft draft;
    draft.booking = std::move(booking);
    draft.day = isoDayText(day);
    return draft;
}

EntryDraft EntryDraft::of(const Entry& entry, Seconds now)
{
    const std::string hours = hoursMinutes(entry.total(now));
    return {entry.id,
            bookingText(entry.project, entry.task),
            isoDayText(entry.day),
            hours,
            fieldTime(entry.startedAt),
            fieldTime(entry.endedAt),
            entry.notes,
            hours,
            entry.updated};
}

EntryDraft EntryDraft::of(const Form& form, Id id)
{
    return {id,
            form.trimmed("booking"),
            form.trimmed("day"),
            form.trimmed("hours"),
            form.trimmed("started"),
            form.trimmed("ended"),
            form.text("notes"),
            form.text("shown"),
            form.id("updated")};
}

void writeHidden(Html& html, const EntryDraft& draft)
{
    const std::pair<const char*, std::string> fields[]{{"entry", std::to_string(draft.id)},
                                                       {"day", draft.day},
                                                       {"hours", draft.hours},
                                                       {"started", draft.started},
                                                       {"ended", draft.ended},
                                                       {"notes", draft.notes},
                                                       {"shown", draft.shown},
                                                       {"updated", std::to_string(draft.updated)}};
    for (const auto& [name, value] : fields)
        writeHidden(html, name, value);
}

Html::Element entryForm(Html& html, const Visit& visit, const EntryDraft& draft, const Bookings::List& bookings,
                        const std::optional<Problem>& problem, const Entry* present)
{
    auto form = formTo(html, visit, draft.path(), visit.person.timestampTimers ? "entry timed" : "entry");
    const auto error = [&](std::string_view field) {
        return problem && problem->field == field ? problem->message : std::string();
    };
    writeHidden(html, "entry", std::to_string(draft.id));
    writeHidden(html, "shown", draft.shown);
    writeHidden(html, "updated", std::to_string(draft.updated));

    writeChoice(html,
                {.name = "booking",
                 .label = "Project and task",
                 .value = draft.booking,
                 .error = error("booking"),
                 .cssClass = "booking",
                 .autofocus = visit.query.has("new")},
                choicesOf(bookings, draft.booking, present));
    // An entry without times in an account that has them keeps its hours.
    const bool timed = visit.person.timestampTimers && (!present || present->startedAt || present->timerStarted);
    const bool runs = present && present->timerStarted;
    if (timed) {
        writeField(html, {.name = "started",
                          .label = "Start",
                          .value = draft.started,
                          .help = draft.id == 0 ? "Leave empty for now." : "",
                          .error = error("started"),
                          .type = "time",
                          .cssClass = "short"});
        if (!runs)
            writeField(html, {.name = "ended",
                              .label = "End",
                              .value = draft.ended,
                              .help = draft.id == 0 ? "Leave empty to start a timer." : "",
                              .error = error("ended") + error("hours"),
                              .type = "time",
                              .cssClass = "short"});
    } else {
        writeField(html, {.name = "hours",
                          .label = "Hours",
                          .value = draft.hours,
                          .help = draft.id == 0 ? "Leave empty to start a timer."
                                  : runs        ? "The timer continues from there."
                                                : "",
                          .error = error("hours"),
                          .inputMode = "text",
                          .placeholder = "1:30",
                          .longest = 12,
                          .cssClass = "hours"});
    }
    writeField(html, {.name = "day",
                      .label = "Day",
                      .value = draft.day,
                      .error = error("day"),
                      .type = "date",
                      .required = true,
                      .cssClass = "day"});
    writeTextArea(html, {.name = "notes", .label = "Notes", .value = draft.notes, .cssClass = "wide", .optional = true},
                  static_cast<int>(std::clamp<std::ptrdiff_t>(
                      std::count(draft.notes.begin(), draft.notes.end(), '\n') + 1, draft.id == 0 ? 2 : 4, 20)));
    return form;
}

void writeMoreProjects(Html& html, const Bookings::List& bookings)
{
    if (!bookings.whole)
        html.leaf("button", {{"formaction", "/entries/projects"}, {"formnovalidate", true}}, "Other Project…");
}

std::string timesText(const Entry& entry)
{
    if (entry.timerStarted) {
        const Day day = localDay(*entry.timerStarted);
        return "since " + clockText(localMinutes(*entry.timerStarted)) +
               (day == entry.day ? "" : ", " + longDayText(day)) +
               (entry.base < 30 ? "" : ", " + hoursMinutes(entry.base) + " before");
    }
    if (!entry.startedAt)
        return {};
    return clockText(*entry.startedAt) + " – " + (entry.endedAt ? clockText(*entry.endedAt) : std::string());
}

} // namespace localservice
