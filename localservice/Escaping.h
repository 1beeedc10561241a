#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace localservice {

/// Appends a text as XML and HTML carry it, between tags and within quoted attributes alike. What neither can carry
/// (control characters, broken UTF-8) is left out.
void appendEscaped(std::string& to, std::string_view text);

/// The bytes of the well-formed UTF-8 sequence at the start of `text`, 0 when there is none or XML cannot carry it.
std::size_t characterLength(std::string_view text);

} // namespace localservice
