#pragma once

#include "../Timesheet.h"
#include "Bookings.h"
#include "Parts.h"

#include <optional>
#include <string>

namespace localservice {

/// The form of an entry, with text as typed, so that nothing is lost when something was wrong.
struct EntryDraft
{
    Id id = 0;           ///< 0 for a new entry
    std::string booking; ///< "12-7", project and task
    std::string day;
    std::string hours;
    std::string started;
    std::string ended;
    std::string notes;
    std::string shown;   ///< the hours that the form was opened with
    Seconds updated = 0; ///< of the entry as the person has seen it

    static EntryDraft ofNew(Day day, std::string booking);
    static EntryDraft of(const Entry& entry, Seconds now);
    static EntryDraft of(const Form& form, Id id);

    /// Where it is sent: "/entries", "/entries/12".
    std::string path() const { return id == 0 ? "/entries" : "/entries/" + std::to_string(id); }
};

/// Opens the form, for its buttons to be added. `bookings` are at hand for the draft's; `present` is the entry as it
/// is, for drafts that change one.
Html::Element entryForm(Html& html, const Visit& visit, const EntryDraft& draft, const Bookings::List& bookings,
                        const std::optional<Problem>& problem, const Entry* present = nullptr);
/// The button to projects that the form does not list, if any. It comes after the main one: the return key presses a
/// form's first button.
void writeMoreProjects(Html& html, const Bookings::List& bookings);
/// The same as hidden fields, for pages on the way back to the form.
void writeHidden(Html& html, const EntryDraft& draft);

/// "9:15am – 10:25am", "since 9:15am", "since 9:15am, 2:00 before"; empty without times.
std::string timesText(const Entry& entry);

} // namespace localservice
