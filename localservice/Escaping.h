#pragma once

#include <string>
#include <string_view>

namespace localservice {

/// Appends a text as XML and HTML carry it, between tags and within quoted attributes alike. What neither can carry
/// (control characters, broken UTF-8) is left out.
void appendEscaped(std::string& to, std::string_view text);

} // namespace localservice
