#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace localservice {

/// The fields of a request: the texts of the root's direct children, the first of each name.
class RequestBody final
{
public:
    /// Reads strict XML whose root has the given name. Nothing for anything else: malformed XML, another root, or a
    /// document type declaration (anything that declares or expands entities is rejected).
    static std::optional<RequestBody> read(const std::string& text, std::string_view root);

    std::optional<std::string> field(const std::string& name) const;

private:
    std::map<std::string, std::string> m_fields;
};

} // namespace localservice
