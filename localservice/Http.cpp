#include "Http.h"

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

std::vector<std::string_view> Request::pieces() const
{
    std::vector<std::string_view> result;
    auto rest = path();
    while (!rest.empty()) {
        rest.remove_prefix(rest.front() == '/' ? 1 : 0);
        const auto end = std::min(rest.find('/'), rest.size());
        if (end > 0)
            result.push_back(rest.substr(0, end));
        rest.remove_prefix(end);
    }
    return result;
}

} // namespace localservice
