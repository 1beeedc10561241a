#include "Bookings.h"
#include "DayPages.h"
#include "RemovalPages.h"

namespace localservice {

namespace {

Timesheet timesheetOf(const Visit& visit)
{
    return {visit.storage, visit.person, visit.now};
}

/// Plain failures for programs, with the status that browsers get.
Problem forBrowsers(Problem problem)
{
    if (problem.kind == "NotFound")
        problem.status = 404;
    else if (problem.kind == "Validation" || problem.kind == "Locked")
        problem.status = 422;
    return problem;
}

/// The entry with that number, if it may be changed here.
tl::expected<Entry, Problem> changeable(const Visit& visit, Id id)
{
    auto entry = timesheetOf(visit).entry(id);
    if (!entry)
        return tl::unexpected(forBrowsers(entry.error()));
    if (entry->lockedReason)
        return tl::unexpected(Problem{422, "Locked", "This entry is locked: " + *entry->lockedReason});
    if (entry->billed)
        return tl::unexpected(Problem{422, "Billed", "This entry has been billed and cannot be changed."});
    return entry;
}

void writeFact(Html& html, std::string_view name, const std::string& text, bool differs)
{
    if (text.empty() && !differs)
        return;
    html.leaf("dt", name);
    const auto fact = html.in("dd", {{"class", differs ? "differs" : "same"}});
    html.leaf("span", {{"class", "text"}}, text.empty() ? "none" : text);
    html.text(" ");
    if (differs)
        html.leaf("span", {{"class", "badge"}}, "differs from yours");
}

/// The entry in full; compared with a draft, the differences are marked.
void writeFacts(Html& html, const Entry& entry, Seconds now, const EntryDraft& draft)
{
    const auto is = EntryDraft::of(entry, now);
    const auto list = html.in("dl", {{"class", "facts"}});
    writeFact(html, "Project", projectText(entry.projectCode, entry.projectName) + " (" + entry.clientName + ")",
              is.booking.substr(0, is.booking.find('-')) != draft.booking.substr(0, draft.booking.find('-')));
    writeFact(html, "Task", entry.taskName, is.booking != draft.booking);
    writeFact(html, "Day", dayInWords(entry.day), is.day != draft.day);
    writeFact(html, "Hours", is.hours + (entry.timerStarted ? ", running" : ""),
              !draft.hours.empty() && draft.hours != is.hours);
    writeFact(html, "Times", timesText(entry),
              entry.startedAt && (is.started != draft.started || (!entry.timerStarted && is.ended != draft.ended)));
    writeFact(html, "Notes", entry.notes, is.notes != draft.notes);
}

Reply editPage(const Visit& visit, const Entry& entry, const EntryDraft& draft,
               const std::optional<Problem>& problem = {})
{
    const bool stale = problem && problem->status == 409;
    return page(visit, {"Edit Entry", Section::Timesheet, problem ? problem->status : 200}, [&](Html& html) {
        if (stale) {
            const auto sheet = html.in("section", {{"class", "sheet conflict"}, {"aria-labelledby", "conflict"}});
            html.leaf("h2", {{"id", "conflict"}}, "This entry has changed in the meantime");
            html.leaf("p", {{"role", "alert"}},
                      "It was saved after you opened this form, perhaps by you in the desktop program. This is the "
                      "entry as it"
                      " is now; what you typed is below and has not been saved yet.");
            writeFacts(html, entry, visit.now, draft);
            const auto buttons = html.in("div", {{"class", "buttons"}});
            html.leaf("a", {{"class", "button"}, {"href", dayPath(entry.day)}}, "Keep It as It Is");
        } else if (problem && problem->field.empty()) {
            writeProblem(html, problem->message);
        }
        const auto sheet = html.in("section", {{"class", "sheet"}});
        const auto bookings = Bookings(visit.storage, visit.person).atHand(draft.booking).value_or(Bookings::List{});
        const auto form = entryForm(html, visit, draft, bookings, problem, &entry);
        const auto buttons = html.in("div", {{"class", "buttons"}});
        html.leaf("button", {{"class", "main"}}, stale ? "Save Mine" : "Save");
        writeMoreProjects(html, bookings);
        html.leaf("a", {{"class", "button"}, {"href", dayPath(entry.day)}}, "Cancel");
        html.leaf("a", {{"class", "button danger"}, {"href", draft.path() + "/delete"}}, "Delete…");
    });
}

Reply add(const Visit& visit, const std::vector<Id>& /*numbers*/)
{
    const auto added =
        EntryFields::read(visit.form).and_then([&](const auto& fields) { return timesheetOf(visit).add(fields); });
    if (added)
        return goTo(dayPath(added->day), "added");
    const auto draft = EntryDraft::of(visit.form, 0);
    return dayPage(visit, readDay(draft.day).value_or(localDay(visit.now)), draft, forBrowsers(added.error()));
}

Reply edit(const Visit& visit, const std::vector<Id>& numbers)
{
    const auto entry = changeable(visit, numbers[0]);
    return entry ? editPage(visit, *entry, EntryDraft::of(*entry, visit.now)) : problemPage(visit, entry.error());
}

Reply save(const Visit& visit, const std::vector<Id>& numbers)
{
    const auto entry = changeable(visit, numbers[0]);
    auto draft = EntryDraft::of(visit.form, numbers[0]);
    if (!entry) {
        // What was typed can still become a separate entry.
        draft.id = 0;
        draft.shown.clear();
        const Problem& problem = entry.error();
        return dayPage(
            visit, readDay(draft.day).value_or(localDay(visit.now)), draft,
            Problem{problem.status, problem.kind, problem.message + " What you typed is in the form for a new entry."});
    }
    const auto fields = EntryFields::read(visit.form);
    if (!fields)
        return editPage(visit, *entry, draft, forBrowsers(fields.error()));
    const auto saved = timesheetOf(visit).update(numbers[0], *fields, draft.updated);
    if (saved)
        return goTo(dayPath(saved->day), "saved");
    const auto& refusal = saved.error();
    if (!refusal.current)
        return editPage(visit, *entry, draft, forBrowsers(refusal.problem));
    // When sent again, the form compares with the entry as shown now. Unedited hours follow the entry's.
    const auto is = EntryDraft::of(*refusal.current, visit.now);
    if (!*fields->hoursTouched)
        draft.hours = is.hours;
    draft.shown = is.shown;
    draft.updated = is.updated;
    return editPage(visit, *refusal.current, draft, refusal.problem);
}

Reply setTimer(const Visit& visit, const std::vector<Id>& numbers)
{
    auto timesheet = timesheetOf(visit);
    const bool run = visit.form.text("state") == "running";
    // A running timer can be stopped whatever has become of its entry.
    const auto set = (run ? changeable(visit, numbers[0]) : timesheet.entry(numbers[0])).and_then([&](const Entry&) {
        return timesheet.setRunning(numbers[0], run);
    });
    if (set)
        return goTo(dayPath(set->day));
    const auto entry = timesheet.entry(numbers[0]);
    const auto problem = forBrowsers(set.error());
    return entry ? dayPage(visit, entry->day, {}, Problem{problem.status, problem.kind, problem.message})
                 : problemPage(visit, problem);
}

Reply askToRemove(const Visit& visit, const Entry& entry)
{
    const Question question{
        .title = "Delete This Entry?",
        .text = "Its " + hoursMinutes(entry.total(visit.now)) + " hours will be deleted from " + dayInWords(entry.day) +
                ". " + std::string(CanBeBroughtBack),
        .action = "/entries/" + std::to_string(entry.id) + "/delete",
        .back = dayPath(entry.day),
        .section = Section::Timesheet,
        .fields = {{"updated", std::to_string(entry.updated)}},
    };
    return questionPage(visit, question,
                        [&](Html& html) { writeFacts(html, entry, visit.now, EntryDraft::of(entry, visit.now)); });
}

Reply confirmRemoval(const Visit& visit, const std::vector<Id>& numbers)
{
    const auto entry = changeable(visit, numbers[0]);
    return entry ? askToRemove(visit, *entry) : problemPage(visit, entry.error());
}

Reply remove(const Visit& visit, const std::vector<Id>& numbers)
{
    const auto entry = changeable(visit, numbers[0]);
    if (!entry)
        return problemPage(visit, entry.error());
    const auto removed = timesheetOf(visit).remove(numbers[0], visit.form.id("updated"));
    if (removed)
        return goToRemoved(dayPath(entry->day), *removed);
    // Asked once more: the entry is no longer what the question showed.
    return removed.error().current ? askToRemove(visit, *removed.error().current)
                                   : problemPage(visit, forBrowsers(removed.error().problem));
}

/// All bookable projects, reached from a form that lists only some. The form is carried along, hidden.
Reply chooseProject(const Visit& visit, const std::vector<Id>& /*numbers*/)
{
    const auto draft = EntryDraft::of(visit.form, visit.form.id("entry"));
    const std::string words = visit.form.trimmed("words");
    const auto list = Bookings(visit.storage, visit.person).find(words);
    if (!list)
        return problemPage(visit, list.error());
    return page(visit, {"Choose a Project", Section::Timesheet}, [&](Html& html) {
        const auto sheet = html.in("section", {{"class", "sheet choice"}});
        {
            const auto form = formTo(html, visit, "/entries/projects", "search");
            writeHidden(html, draft);
            writeHidden(html, "booking", draft.booking);
            writeField(html, {.name = "words",
                              .label = "Project, code or client",
                              .value = words,
                              .type = "search",
                              .longest = 100,
                              .autofocus = true});
            html.leaf("button", {{"class", "main"}}, "Search");
        }
        const auto form = formTo(html, visit, "/entries/chosen", "results");
        writeHidden(html, draft);
        if (list->bookings.empty())
            writeEmpty(html, "None of your projects match. Try fewer words.");
        for (auto at = list->bookings.begin(); at != list->bookings.end();) {
            const auto& first = *at;
            const auto group = html.in("fieldset");
            {
                const auto legend = html.in("legend");
                html.leaf("span", {{"class", "project"}}, first.projectName);
                html.text(" ");
                html.leaf("span", {{"class", "client"}}, first.clientName);
            }
            for (; at != list->bookings.end() && at->project == first.project; ++at)
                html.leaf("button",
                          {{"class", "small"},
                           {"name", "booking"},
                           {"value", bookingText(at->project, at->task)},
                           {"aria-label", at->taskName + " on " + at->projectName}},
                          at->taskName);
        }
        if (!list->whole)
            html.leaf("p", {{"class", "faint"}}, "There are more. Type part of the name to find them.");
        const auto buttons = html.in("div", {{"class", "buttons"}});
        html.leaf("button", {{"name", "booking"}, {"value", draft.booking}, {"class", "quiet"}}, "Back");
    });
}

/// Back at the form, with what was chosen.
Reply choose(const Visit& visit, const std::vector<Id>& /*numbers*/)
{
    const auto draft = EntryDraft::of(visit.form, visit.form.id("entry"));
    if (draft.id == 0)
        return dayPage(visit, readDay(draft.day).value_or(localDay(visit.now)), draft);
    const auto entry = changeable(visit, draft.id);
    return entry ? editPage(visit, *entry, draft) : problemPage(visit, entry.error());
}

} // namespace

void addEntryPages(Site& site)
{
    site.add("POST", "/entries", add);
    site.add("GET", "/entries/#", edit);
    site.add("POST", "/entries/#", save);
    site.add("POST", "/entries/#/timer", setTimer);
    site.add("GET", "/entries/#/delete", confirmRemoval);
    site.add("POST", "/entries/#/delete", remove);
    site.add("POST", "/entries/projects", chooseProject);
    site.add("POST", "/entries/chosen", choose);
}

} // namespace localservice
