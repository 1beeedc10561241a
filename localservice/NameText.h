#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace localservice {

/// A name as stored: on one line, each run of whitespace one space, without anything invisible at its ends and without
/// what neither XML nor HTML allows.
std::string nameText(std::string_view typed);

/// A project as people know it: "[WEB] Website", or only its name when it has no code.
std::string projectText(const std::string& code, const std::string& name);

/// A code point and its UTF-8 encoding.
struct Character
{
    std::string_view bytes;
    char32_t code;
};

/// Takes the first character off a string, along with anything before it that XML does not allow: ill-formed bytes and
/// most control characters.
std::optional<Character> nextCharacter(std::string_view& text);

bool isControl(char32_t c);
/// Whitespace of all kinds, line and paragraph separators.
bool isBlank(char32_t c);
/// Zero-width characters: joiners, directions, the byte order mark.
bool isInvisible(char32_t c);

/// The number of characters (code points) in well-formed UTF-8.
std::size_t characterCount(std::string_view text);

} // namespace localservice
