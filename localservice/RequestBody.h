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
    /// Reads strict XML whose root has the given name. Nothing for anything else: malformed text, another root, a
    /// document type declaration (nothing that names or expands entities is ever let in).
    static std::optional<RequestBody> read(const std::string& text, std::string_view root);

    std::optional<std::string> field(const std::string& name) const;

private:
    std::map<std::string, std::string> m_fields;
};

} // namespace localservice
