#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace localservice {

/// A name as it is kept: on one line, each run of blanks one space, without anything invisible at its ends and
/// without what neither XML nor HTML can carry.
std::string nameText(std::string_view typed);

/// How many characters (code points) a well-formed UTF-8 text has.
std::size_t characterCount(std::string_view text);

} // namespace localservice
