#include "Form.h"

#include "../Escaping.h"

#include <algorithm>

namespace localservice {

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string decoded(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
        if (low >= 0) {
            result += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

/// Only what people can type. Everything else would need care wherever the text is output.
std::string plain(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const auto length = characterLength(text);
        // Browsers send line breaks in a text area as CR LF on every system.
        if (text.front() != '\r')
            result += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

} // namespace

Form Form::read(std::string_view encoded)
{
    Form form;
    while (!encoded.empty()) {
        const auto end = std::min(encoded.find('&'), encoded.size());
        const auto field = encoded.substr(0, end);
        if (!field.empty()) {
            const auto sign = std::min(field.find('='), field.size());
            form.add(decoded(field.substr(0, sign)), decoded(field.substr(std::min(sign + 1, field.size()))));
        }
        encoded.remove_prefix(std::min(end + 1, encoded.size()));
    }
    return form;
}

void Form::add(std::string_view name, std::string_view value)
{
    m_fields.emplace_back(plain(name), plain(value));
}

bool Form::has(std::string_view name) const
{
    return std::any_of(m_fields.begin(), m_fields.end(), [&](const auto& field) { return field.first == name; });
}

std::string Form::text(std::string_view name) const
{
    const auto found =
        std::find_if(m_fields.begin(), m_fields.end(), [&](const auto& field) { return field.first == name; });
    return found == m_fields.end() ? std::string() : found->second;
}

std::string Form::trimmed(std::string_view name) const
{
    const auto value = text(name);
    const auto first = value.find_first_not_of(" \t\n");
    return first == std::string::npos ? std::string()
                                      : value.substr(first, value.find_last_not_of(" \t\n") + 1 - first);
}

Id Form::id(std::string_view name) const
{
    return idIn(trimmed(name));
}

std::vector<Id> Form::ids(std::string_view name) const
{
    std::vector<Id> result;
    for (const auto& [key, value] : m_fields) {
        if (const Id id = key == name ? idIn(value) : 0; id > 0)
            result.push_back(id);
    }
    return result;
}

std::string urlEncoded(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                           c == '_' || c == '.' || c == '~';
        if (plain) {
            result += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        result += '%';
        result += digits[byte >> 4U];
        result += digits[byte & 15U];
    }
    return result;
}

} // namespace localservice
