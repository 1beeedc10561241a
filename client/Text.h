#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <libintl.h>

namespace client {

/// The text in the person's language.
inline const char* tr(const char* text)
{
    return dgettext("quillon", text);
}

/// `text` with the values for %1, %2 and so on.
std::string filled(std::string_view text, std::initializer_list<std::string_view> values);

/// Makes a string safe for a terminal: an unprintable character becomes its number, such as \u{1b}. So a name chosen by
/// others can neither control the terminal nor start a new line.
std::string printable(std::string_view utf8);

/// White space at the ends is gone, and any other is one blank.
std::string simplified(std::string_view utf8);

/// How many columns of a terminal it takes.
int columns(const std::string& utf8);

/// Prints "quillon: …" on standard error, in one line.
void complain(std::string_view what);
/// The same, for a text whose further lines stay lines of their own.
void complainInLines(std::string_view what);

} // namespace client
