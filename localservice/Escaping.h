#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace localservice {

/// Appends a string escaped for XML and HTML, between tags and in quoted attributes alike. What neither allows (control
/// characters, malformed UTF-8) is left out.
void appendEscaped(std::string& to, std::string_view text);

/// The length of the well-formed UTF-8 sequence at the start of `text`, 0 when there is none or XML does not allow it.
std::size_t characterLength(std::string_view text);

} // namespace localservice
