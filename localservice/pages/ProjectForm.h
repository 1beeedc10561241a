#pragma once

#include "CatalogPages.h"

#include <optional>
#include <vector>

namespace localservice {

inline const std::string ProjectList = "/projects";

/// Carries out a project's form, for a new one when `project` is 0. Of an existing one it changes only what the person
/// edited, so that what was saved elsewhere meanwhile stays. Returns its number.
Catalog::Added saveProject(Catalog& catalog, const Form& form, Id project);

/// That form, with the project as stored and, when a problem sent it back, as typed. `id` is 0 for a new one.
void writeProjectForm(Html& html, const Visit& visit, Id id, const ProjectView& shown,
                      const std::vector<NamedRecord>& clients, const std::optional<Problem>& problem);

} // namespace localservice
