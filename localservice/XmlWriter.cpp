#include "XmlWriter.h"

#include "Escaping.h"

namespace localservice {

XmlWriter::XmlWriter() : m_document("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") {}

void XmlWriter::open(std::string_view name, std::string_view attributes)
{
    indent();
    m_document += '<';
    m_document += name;
    if (!attributes.empty())
        (m_document += ' ') += attributes;
    m_document += ">\n";
    m_open.emplace_back(name);
}

void XmlWriter::close()
{
    const std::string name = std::move(m_open.back());
    m_open.pop_back();
    indent();
    m_document += "</" + name + ">\n";
}

void XmlWriter::text(std::string_view name, std::string_view value)
{
    indent();
    m_document += '<';
    m_document += name;
    m_document += '>';
    appendEscaped(m_document, value);
    m_document += "</";
    m_document += name;
    m_document += ">\n";
}

void XmlWriter::indent()
{
    m_document.append(2 * m_open.size(), ' ');
}

} // namespace localservice
