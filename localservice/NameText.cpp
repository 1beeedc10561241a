#include "NameText.h"

#include "Escaping.h"

#include <algorithm>

namespace localservice {

namespace {

/// The code point of a well-formed sequence.
char32_t codePoint(std::string_view sequence)
{
    const auto first = static_cast<unsigned char>(sequence.front());
    char32_t result = sequence.size() == 1 ? first : first & (0xFFU >> (sequence.size() + 1));
    for (const char c : sequence.substr(1))
        result = (result << 6U) | (static_cast<unsigned char>(c) & 0x3FU);
    return result;
}

} // namespace

std::string projectText(const std::string& code, const std::string& name)
{
    return code.empty() ? name : "[" + code + "] " + name;
}

std::optional<Character> nextCharacter(std::string_view& text)
{
    while (!text.empty()) {
        const auto length = characterLength(text);
        const auto bytes = text.substr(0, std::max<std::size_t>(length, 1));
        text.remove_prefix(bytes.size());
        if (length > 0)
            return Character{bytes, codePoint(bytes)};
    }
    return {};
}

bool isControl(char32_t c)
{
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

bool isBlank(char32_t c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

bool isInvisible(char32_t c)
{
    return c == 0xAD || c == 0x61C || c == 0x180E || (c >= 0x200B && c <= 0x200F) || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF;
}

std::string nameText(std::string_view typed)
{
    std::string name;
    std::string waiting; ///< what is kept only if something visible follows
    while (const auto next = nextCharacter(typed)) {
        const char32_t c = next->code;
        if (isBlank(c)) {
            if (!name.empty() && !waiting.ends_with(' '))
                waiting += ' ';
        } else if (isInvisible(c)) {
            if (!name.empty())
                waiting += next->bytes;
        } else if (!isControl(c)) {
            (name += waiting) += next->bytes;
            waiting.clear();
        }
    }
    return name;
}

std::size_t characterCount(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

} // namespace localservice
