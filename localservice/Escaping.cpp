#include "Escaping.h"

namespace localservice {

std::size_t characterLength(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
    const auto follows = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
    const unsigned char first = byte(0);
    if (first < 0x80)
        return first >= 0x20 || first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
    if (first >= 0xC2 && first < 0xE0)
        return follows(1) ? 2 : 0;
    if (first >= 0xE0 && first < 0xF0) {
        const bool overlong = first == 0xE0 && byte(1) < 0xA0;
        const bool surrogate = first == 0xED && byte(1) >= 0xA0;
        const bool noCharacter = first == 0xEF && byte(1) == 0xBF && byte(2) >= 0xBE;
        return follows(1) && follows(2) && !overlong && !surrogate && !noCharacter ? 3 : 0;
    }
    if (first >= 0xF0 && first < 0xF5) {
        const bool outside = (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90);
        return follows(1) && follows(2) && follows(3) && !outside ? 4 : 0;
    }
    return 0;
}

void appendEscaped(std::string& to, std::string_view text)
{
    while (!text.empty()) {
        const auto length = characterLength(text);
        switch (text.front()) {
        case '&':
            to += "&amp;";
            break;
        case '<':
            to += "&lt;";
            break;
        case '>':
            to += "&gt;";
            break;
        case '"':
            to += "&quot;";
            break;
        case '\'':
            to += "&#39;";
            break;
        case '\r':
            to += "&#13;";
            break;
        default:
            to += text.substr(0, length);
        }
        text.remove_prefix(length ? length : 1);
    }
}

} // namespace localservice
