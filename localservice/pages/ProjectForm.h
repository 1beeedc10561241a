#pragma once

#include "CatalogPages.h"

#include <optional>
#include <vector>

namespace localservice {

inline const std::string ProjectList = "/projects";

/// Carries out what a form says of a project, a new one when `project` is 0. Of another it changes only what the person
/// touched, so that what somebody else saved meanwhile stays. Answers its number.
Catalog::Added saveProject(Catalog& catalog, const Form& form, Id project);

/// That form, as the file has the project and, when a problem sent it back, as it was typed. `id` is 0 for a new one.
void writeProjectForm(Html& html, const Visit& visit, Id id, const ProjectView& shown,
                      const std::vector<NamedRecord>& clients, const std::optional<Problem>& problem);

} // namespace localservice
