#pragma once

#include "Bus.h"

#include <string>
#include <vector>

namespace client {

enum class Format
{
    Text, ///< aligned on a terminal, else with tabs between the columns
    Json,
    Csv, ///< RFC 4180, with a line of headings
};

// What the bus returned, as text that ends with a line break; empty for no lines.

/// Entries by day, with totals on a terminal.
std::string entries(const std::vector<Map>& entries, Format format);
std::string projectList(const std::vector<Map>& projects, Format format);
/// Numbered, as `quillon continue` counts.
std::string recentList(const std::vector<Map>& entries, Format format);

/// An entry in words: "1:05  [W1] Website, Design".
std::string oneLine(const Map& entry);

} // namespace client
