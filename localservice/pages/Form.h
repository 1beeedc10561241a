#pragma once

#include "../Database.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace localservice {

/// Names and values as browsers send form fields (application/x-www-form-urlencoded, WHATWG URL), in a query or a body.
/// A name may occur more than once. Line breaks in values are single line feeds; other control characters and malformed
/// UTF-8 are left out.
class Form final
{
public:
    Form() = default;
    static Form read(std::string_view encoded);
    /// One more, which came in another encoding.
    void add(std::string_view name, std::string_view value);

    bool has(std::string_view name) const;
    /// The first value of that name, empty when there is none.
    std::string text(std::string_view name) const;
    /// The same without surrounding whitespace.
    std::string trimmed(std::string_view name) const;
    /// The first value of that name as a record's number, 0 for anything else.
    Id id(std::string_view name) const;
    /// Every value of that name that is a record's number.
    std::vector<Id> ids(std::string_view name) const;
    /// All names and values, as sent.
    const std::vector<std::pair<std::string, std::string>>& fields() const& { return m_fields; }

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
};

/// A string encoded for a query or a path segment.
std::string urlEncoded(std::string_view text);

} // namespace localservice
