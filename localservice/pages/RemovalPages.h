#pragma once

#include "../Removals.h"
#include "Page.h"

// What was deleted can be brought back from the page that says it is gone.

namespace localservice {

inline constexpr std::string_view CanBeBroughtBack = "You can bring it back for 30 days.";
static_assert(Removals::DaysKept == 30);

/// Goes on to `target`, which says what was removed and offers to bring it back.
Reply goToRemoved(const std::string& target, Id removal);
/// The removal that the page's address tells of, if this person may bring it back.
std::optional<Removal> removalIn(const Visit& visit);
/// The button that brings it back.
void writeBringBack(Html& html, const Visit& visit, const Removal& removal, std::string_view cssClass);
/// Shown at the address of a record that was removed; none when this person could not bring it back.
std::optional<Reply> removedPage(const Visit& visit, Id record);

/// What was removed is called: "Entry", "Project".
std::string wordFor(const Removal& removal);

/// "Tuesday, 5 March 2024, 9:15am"
std::string momentInWords(Seconds moment);

} // namespace localservice
