#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace localservice {

/// Writes an XML 1.0 document element by element, indented. Text is escaped; what XML does not allow (control
/// characters, malformed UTF-8) is left out.
class XmlWriter final
{
public:
    XmlWriter();

    void open(std::string_view name, std::string_view attributes = {});
    void close();
    void text(std::string_view name, std::string_view value);
    void flag(std::string_view name, bool value) { text(name, value ? "true" : "false"); }

    /// The document so far; complete once every element is closed.
    const std::string& document() const { return m_document; }

private:
    void indent();

    std::string m_document;
    std::vector<std::string> m_open;
};

} // namespace localservice
