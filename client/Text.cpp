#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include <clocale>
#include <cwchar>

namespace client {

namespace {

struct Range
{
    std::uint32_t first;
    std::uint32_t last;
};

/// Controls, format characters and the separators of lines and paragraphs (Unicode 15, categories Cc, Cf, Zl, Zp).
constexpr std::array Unprintable{
    Range{0x00, 0x1F},       Range{0x7F, 0x9F},       Range{0xAD, 0xAD},       Range{0x600, 0x605},
    Range{0x61C, 0x61C},     Range{0x6DD, 0x6DD},     Range{0x70F, 0x70F},     Range{0x890, 0x891},
    Range{0x8E2, 0x8E2},     Range{0x180E, 0x180E},   Range{0x200B, 0x200F},   Range{0x2028, 0x202E},
    Range{0x2060, 0x2064},   Range{0x2066, 0x206F},   Range{0xD800, 0xDFFF},   Range{0xFEFF, 0xFEFF},
    Range{0xFFF9, 0xFFFB},   Range{0x110BD, 0x110BD}, Range{0x110CD, 0x110CD}, Range{0x13430, 0x1343F},
    Range{0x1BCA0, 0x1BCA3}, Range{0x1D173, 0x1D17A}, Range{0xE0001, 0xE0001}, Range{0xE0020, 0xE007F},
};

bool isPrintable(std::uint32_t character)
{
    return std::ranges::none_of(
        Unprintable, [character](const Range& range) { return character >= range.first && character <= range.last; });
}

/// The character at the beginning, and its bytes; nothing: it is not UTF-8.
std::optional<std::pair<std::uint32_t, std::size_t>> characterOf(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80)
        return std::pair{std::uint32_t{lead}, std::size_t{1}};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return std::nullopt;
    std::uint32_t character = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0) != 0x80)
            return std::nullopt;
        character = character << 6 | (next & 0x3FU);
    }
    return std::pair{character, length};
}

} // namespace

std::string filled(std::string_view text, std::initializer_list<std::string_view> values)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t number =
            text[i] == '%' && i + 1 < text.size() ? static_cast<std::size_t>(text[i + 1]) - '1' : 9;
        if (number < values.size()) {
            result += values.begin()[number];
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string printable(std::string_view utf8)
{
    std::string shown;
    while (!utf8.empty()) {
        const auto character = characterOf(utf8);
        const std::size_t length = character ? character->second : 1;
        if (!character) {
            shown += "\uFFFD";
        } else if (isPrintable(character->first)) {
            shown += utf8.substr(0, length);
        } else {
            std::array<char, 16> number;
            std::snprintf(number.data(), number.size(), "\\u{%x}", character->first);
            shown += number.data();
        }
        utf8.remove_prefix(length);
    }
    return shown;
}

std::string simplified(std::string_view utf8)
{
    std::string result;
    bool space = false;
    for (const char c : utf8) {
        if (c == ' ' || (c >= '\t' && c <= '\r')) {
            space = !result.empty();
        } else {
            if (std::exchange(space, false))
                result += ' ';
            result += c;
        }
    }
    return result;
}

int columns(const std::string& utf8)
{
    static const bool wide = std::setlocale(LC_CTYPE, "C.UTF-8");
    std::vector<wchar_t> characters(utf8.size() + 1);
    const std::size_t count =
        wide ? std::mbstowcs(characters.data(), utf8.c_str(), characters.size()) : std::size_t(-1);
    if (count == std::size_t(-1))
        return static_cast<int>(utf8.size());
    int sum = 0;
    for (std::size_t i = 0; i < count; ++i)
        sum += std::max(wcwidth(characters[i]), 0);
    return sum;
}

void complain(std::string_view what)
{
    std::fputs(("quillon: " + printable(what) + '\n').c_str(), stderr);
}

void complainInLines(std::string_view what)
{
    std::string lines = "quillon: ";
    while (!what.empty()) {
        const std::size_t end = std::min(what.find('\n'), what.size());
        lines += printable(what.substr(0, end)) + '\n';
        what.remove_prefix(std::min(end + 1, what.size()));
    }
    std::fputs(lines.c_str(), stderr);
}

} // namespace client
