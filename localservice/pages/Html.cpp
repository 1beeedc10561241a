#include "Html.h"

#include "../Escaping.h"

namespace localservice {

Html::Element Html::in(std::string_view tag, Attributes attributes)
{
    start(tag, attributes);
    m_open.emplace_back(tag);
    return Element(*this);
}

void Html::leaf(std::string_view tag, Attributes attributes, std::string_view text)
{
    const auto element = in(tag, attributes);
    // A parser drops a line break right after these two tags.
    if (text.starts_with('\n') && (tag == "textarea" || tag == "pre"))
        m_document += '\n';
    this->text(text);
}

void Html::empty(std::string_view tag, Attributes attributes)
{
    start(tag, attributes);
}

void Html::text(std::string_view text)
{
    appendEscaped(m_document, text);
}

void Html::start(std::string_view tag, Attributes attributes)
{
    (m_document += '<') += tag;
    for (const auto& attribute : attributes) {
        if (!attribute.present)
            continue;
        (m_document += ' ') += attribute.name;
        if (attribute.alone)
            continue;
        m_document += "=\"";
        appendEscaped(m_document, attribute.value);
        m_document += '"';
    }
    m_document += '>';
}

void Html::close()
{
    ((m_document += "</") += m_open.back()) += '>';
    m_open.pop_back();
}

} // namespace localservice
