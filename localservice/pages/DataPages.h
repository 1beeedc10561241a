#pragma once

#include "Site.h"

#include <vector>

namespace localservice {

/// An import that can be undone.
struct PastImport
{
    Id id = 0;
    std::string name; ///< of the file
    std::size_t entries = 0;
    Seconds made = 0;
};

/// The way to import a file, and those that were imported.
void writeImports(Html& html, const Visit& visit, const std::vector<PastImport>& imports);

void addImportPages(Site& site); ///< /data/import

} // namespace localservice
