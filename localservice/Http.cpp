#include "Http.h"

#include "Database.h"

#include <algorithm>

namespace localservice {

bool isSameName(std::string_view one, std::string_view other)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [lower](char a, char b) { return lower(a) == lower(b); });
}

std::string_view Request::path() const
{
    return std::string_view(target).substr(0, target.find('?'));
}

std::string_view Request::query() const
{
    const auto mark = target.find('?');
    return mark == std::string::npos ? std::string_view{} : std::string_view(target).substr(mark + 1);
}

std::string_view Request::header(std::string_view name) const
{
    for (const auto& [key, value] : headers) {
        if (isSameName(key, name))
            return value;
    }
    return {};
}

std::string Request::subdomain() const
{
    const auto host = header("Host");
    std::string label(host.substr(0, host.find_first_of(".:")));
    const bool number =
        !label.empty() && std::all_of(label.begin(), label.end(), [](char c) { return c >= '0' && c <= '9'; });
    return number || label == "localhost" || host.starts_with('[') ? std::string() : label;
}

std::vector<std::string_view> piecesOf(std::string_view path)
{
    std::vector<std::string_view> pieces;
    while (!path.empty()) {
        path.remove_prefix(path.front() == '/' ? 1 : 0);
        const auto end = std::min(path.find('/'), path.size());
        if (end > 0)
            pieces.push_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    return pieces;
}

std::optional<std::vector<std::int64_t>> numbersIn(std::string_view path, std::string_view route)
{
    const auto pieces = piecesOf(path);
    const auto wanted = piecesOf(route);
    std::vector<std::int64_t> numbers;
    const bool fits =
        std::equal(pieces.begin(), pieces.end(), wanted.begin(), wanted.end(), [&](auto piece, auto name) {
            if (name != "#")
                return piece == name;
            numbers.push_back(idIn(piece));
            return numbers.back() > 0;
        });
    return fits ? std::optional(std::move(numbers)) : std::nullopt;
}

} // namespace localservice
