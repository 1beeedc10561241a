#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace localservice {

/// A name as it is kept: on one line, each run of blanks one space, without anything invisible at its ends and
/// without what neither XML nor HTML can carry.
std::string nameText(std::string_view typed);

/// A project as people know it: "[WEB] Website", or its name alone when it has no code.
std::string projectText(const std::string& code, const std::string& name);

/// A code point and how UTF-8 writes it.
struct Character
{
    std::string_view bytes;
    char32_t code;
};

/// Takes the first character off a text, with what is before it and can stand in no XML: ill-formed bytes and most
/// control characters.
std::optional<Character> nextCharacter(std::string_view& text);

bool isControl(char32_t c);
/// Blanks of all kinds, line and paragraph separators.
bool isBlank(char32_t c);
/// Marks that take no room: joiners, directions, the byte order mark.
bool isInvisible(char32_t c);

/// How many characters (code points) a well-formed UTF-8 text has.
std::size_t characterCount(std::string_view text);

} // namespace localservice
