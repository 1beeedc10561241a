#pragma once

#include "EntryForm.h"
#include "Site.h"

namespace localservice {

/// A day with its week, its entries and the form for a new one. `draft` is what was typed into that form, `problem` why
/// it, or something else on the page, was rejected.
Reply dayPage(const Visit& visit, Day day, const std::optional<EntryDraft>& draft = {},
              const std::optional<Problem>& problem = {});

void addEntryPages(Site& site); ///< /entries

} // namespace localservice
