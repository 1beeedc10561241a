#include "RequestBody.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <memory>

namespace localservice {

namespace {

struct FreeDocument
{
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
struct FreeText
{
    void operator()(xmlChar* text) const { xmlFree(text); }
};

std::string_view viewOf(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

} // namespace

std::optional<RequestBody> RequestBody::read(const std::string& text, std::string_view root)
{
    const std::unique_ptr<xmlDoc, FreeDocument> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!document || document->intSubset || document->extSubset)
        return {};
    const xmlNode* top = xmlDocGetRootElement(document.get());
    if (!top || viewOf(top->name) != root)
        return {};
    RequestBody body;
    for (const xmlNode* node = top->children; node; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        const std::unique_ptr<xmlChar, FreeText> content(xmlNodeGetContent(node));
        body.m_fields.emplace(viewOf(node->name), content ? viewOf(content.get()) : std::string_view{});
    }
    return body;
}

std::optional<std::string> RequestBody::field(const std::string& name) const
{
    const auto found = m_fields.find(name);
    return found == m_fields.end() ? std::nullopt : std::optional(found->second);
}

} // namespace localservice
