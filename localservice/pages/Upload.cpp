#include "Upload.h"

#include "../NameText.h"

#include <algorithm>

namespace localservice {

namespace {

constexpr std::string_view Type = "multipart/form-data";
constexpr std::size_t MostParts = 100;

/// The value of a parameter: `name="value"`, or without the quotation marks. Browsers escape marks within as %22.
std::string_view parameter(std::string_view header, std::string_view name)
{
    const std::string begin = "; " + std::string(name) + "=";
    const auto at = header.find(begin);
    if (at == std::string_view::npos)
        return {};
    auto value = header.substr(at + begin.size());
    const bool isQuoted = value.starts_with('"');
    value.remove_prefix(isQuoted ? 1 : 0);
    return value.substr(0, value.find_first_of(isQuoted ? "\"" : "; \r"));
}

/// The header of a part by which it tells its name.
std::string_view disposition(std::string_view head)
{
    while (!head.empty()) {
        const auto end = std::min(head.find("\r\n"), head.size());
        const auto line = head.substr(0, end);
        const auto colon = line.find(':');
        if (colon != std::string_view::npos && isSameName(line.substr(0, colon), "Content-Disposition"))
            return line;
        head.remove_prefix(std::min(end + 2, head.size()));
    }
    return {};
}

} // namespace

bool isUpload(const Request& request)
{
    return request.header("Content-Type").starts_with(Type);
}

Upload readUpload(const Request& request)
{
    Upload upload;
    const auto boundary = parameter(request.header("Content-Type"), "boundary");
    if (boundary.empty() || boundary.size() > 70)
        return upload;
    const std::string between = "\r\n--" + std::string(boundary);
    std::string_view rest = request.body;
    if (!rest.starts_with(std::string_view(between).substr(2)))
        return upload;
    rest.remove_prefix(between.size() - 2);
    for (std::size_t parts = 0; parts < MostParts && rest.starts_with("\r\n"); ++parts) {
        const auto end = rest.find(between);
        const auto head = rest.substr(0, rest.find("\r\n\r\n"));
        if (end == std::string_view::npos || head.size() + 4 > end)
            break;
        const auto content = rest.substr(head.size() + 4, end - head.size() - 4);
        const auto about = disposition(head.substr(2));
        if (about.find("; filename=") == std::string_view::npos) {
            upload.fields.add(parameter(about, "name"), content);
        } else if (upload.file.empty()) {
            upload.name = nameText(parameter(about, "filename"));
            upload.file = content;
        }
        rest.remove_prefix(end + between.size());
    }
    return upload;
}

} // namespace localservice
