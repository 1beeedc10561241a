#include "Xml.h"

#include "HoursMinutes.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>

using namespace Qt::StringLiterals;

namespace model::xml {

namespace {

bool isNamed(const xmlNode* node, std::string_view name)
{
    // Most names differ in their first sign, and this is asked for every element of every import.
    const char* own = reinterpret_cast<const char*>(node->name);
    return own[0] == name[0] && std::strncmp(own, name.data(), name.size()) == 0 && own[name.size()] == '\0';
}

const xmlNode* elementFrom(const xmlNode* node)
{
    while (node && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return node;
}

const xmlNode* elementFrom(const xmlNode* node, std::string_view name)
{
    while (node && (node->type != XML_ELEMENT_NODE || !isNamed(node, name)))
        node = node->next;
    return node;
}

QString fromUtf8(const xmlChar* text)
{
    // Given a length: an empty text shall not become a null one.
    const char* utf8 = text ? reinterpret_cast<const char*>(text) : "";
    return QString::fromUtf8(utf8, static_cast<qsizetype>(std::strlen(utf8)));
}

/// Whether the text of the element stands in a single node, the usual case; `text` is null when there is none.
bool hasPlainText(const xmlNode* element, const xmlChar*& text)
{
    const xmlNode* child = element->children;
    text = child ? child->content : nullptr;
    return !child || (!child->next && (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE));
}

struct FreeParser
{
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

/// The text without the signs that no XML document may hold.
QByteArray allowedUtf8(const QString& text)
{
    QString allowed;
    allowed.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar sign = text[at];
        if (sign.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate()) {
            allowed += sign;
            allowed += text[++at];
        } else if (sign == u'\t' || sign == u'\n' || sign == u'\r' ||
                   (sign >= u' ' && !sign.isSurrogate() && sign < u'\xFFFE')) {
            allowed += sign;
        }
    }
    return allowed.toUtf8();
}

const xmlChar* chars(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}

/// Where the ";" of the reference that begins at `ampersand` stands; -1 when it is none. Looks no further than a
/// reference may go: else a long text of "&" alone would be read through for each of them.
qsizetype endOfReference(QStringView text, qsizetype ampersand)
{
    qsizetype end = ampersand + 1;
    while (end < text.size() && (text[end] == u'#' || text[end].isLetterOrNumber()))
        ++end;
    return end < text.size() && text[end] == u';' ? end : -1;
}

/// What a reference (the part between "&" and ";") stands for; nothing when it is none.
QString resolved(QStringView reference)
{
    if (reference == u"amp")
        return u"&"_s;
    if (reference == u"lt")
        return u"<"_s;
    if (reference == u"gt")
        return u">"_s;
    if (reference == u"quot")
        return u"\""_s;
    if (reference == u"apos")
        return u"'"_s;
    if (!reference.startsWith(u'#'))
        return {};
    const bool hexadecimal = reference.startsWith(u"#x") || reference.startsWith(u"#X");
    const QStringView digits = reference.mid(hexadecimal ? 2 : 1);
    bool ok = false;
    const char32_t code = digits.toUInt(&ok, hexadecimal ? 16 : 10);
    const bool isNumber = ok && digits.front().isLetterOrNumber(); // not a sign in front, which toUInt takes
    if (!isNumber || code == 0 || code > QChar::LastValidCodePoint || QChar::isSurrogate(code))
        return {};
    return QString::fromUcs4(&code, 1);
}

} // namespace

std::string_view Element::name() const
{
    return m_node ? reinterpret_cast<const char*>(m_node->name) : std::string_view();
}

Element Element::firstChild() const
{
    return Element(m_node ? elementFrom(m_node->children) : nullptr);
}

Element Element::next() const
{
    return Element(m_node ? elementFrom(m_node->next) : nullptr);
}

Element Element::child(std::string_view name) const
{
    return Element(m_node ? elementFrom(m_node->children, name) : nullptr);
}

Element Element::next(std::string_view name) const
{
    return Element(m_node ? elementFrom(m_node->next, name) : nullptr);
}

Element Element::descendant(std::string_view name) const
{
    const xmlNode* node = m_node;
    while (node) {
        if (const xmlNode* inner = elementFrom(node->type == XML_ELEMENT_NODE ? node->children : nullptr)) {
            node = inner;
        } else {
            while (node != m_node && !elementFrom(node->next))
                node = node->parent;
            if (node == m_node)
                return {};
            node = elementFrom(node->next);
        }
        if (isNamed(node, name))
            return Element(node);
    }
    return {};
}

QString Element::text() const
{
    if (!m_node)
        return {};
    const xmlChar* plain = nullptr;
    if (hasPlainText(m_node, plain))
        return fromUtf8(plain);
    const std::unique_ptr<xmlChar, void (*)(void*)> joined(xmlNodeGetContent(m_node),
                                                           [](void* text) { xmlFree(text); });
    return fromUtf8(joined.get());
}

QString Element::unescapedText() const
{
    return stringByUnescapingEntities(text());
}

bool Element::isTrue() const
{
    if (!m_node)
        return false;
    const xmlChar* plain = nullptr;
    if (hasPlainText(m_node, plain))
        return plain && std::strcmp(reinterpret_cast<const char*>(plain), "true") == 0;
    return text() == "true"_L1;
}

double Element::number() const
{
    return doubleValue(text());
}

void Document::Free::operator()(_xmlDoc* document) const
{
    xmlFreeDoc(document);
}

tl::expected<Document, XmlError> Document::parse(const QByteArray& utf8)
{
    // Its tables must be there before two threads use the library.
    [[maybe_unused]] static const bool initialized = (xmlInitParser(), true);

    const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
    if (!parser)
        return tl::unexpected(XmlError{u"out of memory"_s});
    // Without the option for huge documents nesting and the growth of entities are limited. UTF-8 is forced because
    // the text is that, whatever its declaration says.
    Document document(xmlCtxtReadMemory(parser.get(), utf8.constData(), static_cast<int>(utf8.size()), nullptr, "UTF-8",
                                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT));
    if (!document.m_document) {
        const xmlError* error = xmlCtxtGetLastError(parser.get());
        if (!error || !error->message)
            return tl::unexpected(XmlError{u"no document"_s});
        return tl::unexpected(
            XmlError{u"line %1: %2"_s.arg(error->line).arg(QString::fromUtf8(error->message).trimmed())});
    }
    // Nothing of the service declares entities; what does is no answer of it.
    if (document.m_document->intSubset && document.m_document->intSubset->entities)
        return tl::unexpected(XmlError{u"declares entities"_s});
    return document;
}

Element Document::root() const
{
    return Element(xmlDocGetRootElement(m_document.get()));
}

void Body::Free::operator()(_xmlDoc* document) const
{
    xmlFreeDoc(document);
}

Body::Body(const char* root) : m_document(xmlNewDoc(chars("1.0")))
{
    xmlDocSetRootElement(m_document.get(), xmlNewDocNode(m_document.get(), nullptr, chars(root), nullptr));
}

void Body::addChild(const char* name, const QString& text)
{
    xmlNewTextChild(xmlDocGetRootElement(m_document.get()), nullptr, chars(name), chars(allowedUtf8(text).constData()));
}

QByteArray Body::toPrettyXml() const
{
    xmlChar* text = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(m_document.get(), &text, &size, "UTF-8", 1);
    const QByteArray utf8(reinterpret_cast<const char*>(text), size);
    xmlFree(text);
    return utf8;
}

QString stringByUnescapingEntities(const QString& text)
{
    qsizetype ampersand = text.indexOf(u'&');
    if (ampersand < 0)
        return text;
    const QStringView source(text);
    QString unescaped;
    unescaped.reserve(text.size());
    qsizetype done = 0;
    while (ampersand >= 0) {
        unescaped += source.mid(done, ampersand - done);
        done = ampersand;
        if (const qsizetype end = endOfReference(source, ampersand); end > 0) {
            if (const QString sign = resolved(source.mid(ampersand + 1, end - ampersand - 1)); !sign.isEmpty()) {
                unescaped += sign;
                done = end + 1;
            }
        }
        ampersand = source.indexOf(u'&', std::max(done, ampersand + 1));
    }
    unescaped += source.mid(done);
    return unescaped;
}

} // namespace model::xml
