#include "Xml.h"

#include "HoursMinutes.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

using namespace Qt::StringLiterals;

namespace model::xml {

/// The elements of a document in the order in which they begin, and all their text in one string. The library's own
/// tree takes up to thirty times the size of the document.
class Tree
{
public:
    struct Node
    {
        std::uint32_t end : 31 = 0;    ///< the first element that is no longer inside
        std::uint32_t hasNext : 1 = 0; ///< that one has the same parent
        std::uint32_t text = 0;        ///< where the text within begins, and where it ends
        std::uint32_t textEnd = 0;
        std::uint32_t name = 0;
    };

    bool hasChildren(std::uint32_t node) const { return nodes[node].end > node + 1; }
    std::string_view nameOf(std::uint32_t node) const { return names[nodes[node].name]; }
    std::string_view textOf(std::uint32_t node) const
    {
        return std::string_view(texts).substr(nodes[node].text, nodes[node].textEnd - nodes[node].text);
    }

    std::vector<Node> nodes;
    std::string texts;
    std::vector<std::string> names{std::string()};
};

namespace {

struct FreeParser
{
    void operator()(xmlParserCtxt* parser) const
    {
        // Made for entity declarations, and left behind where one stopped the parser.
        xmlFreeDoc(parser->myDoc);
        xmlFreeParserCtxt(parser);
    }
};

/// Builds a tree from what the parser reads.
class Builder
{
public:
    Builder(xmlParserCtxt& parser, Tree& tree) : m_parser(parser), m_tree(tree)
    {
        xmlSAXHandler handler{};
        handler.initialized = XML_SAX2_MAGIC;
        handler.startElementNs = [](void* builder, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                                    const xmlChar**, int, int,
                                    const xmlChar**) { static_cast<Builder*>(builder)->startElement(name); };
        handler.endElementNs = [](void* builder, const xmlChar*, const xmlChar*, const xmlChar*) {
            static_cast<Builder*>(builder)->endElement();
        };
        handler.characters = [](void* builder, const xmlChar* text, int size) {
            static_cast<Builder*>(builder)->addText(text, size);
        };
        handler.ignorableWhitespace = handler.characters;
        handler.cdataBlock = handler.characters;
        handler.entityDecl = [](void* builder, const xmlChar*, int, const xmlChar*, const xmlChar*, xmlChar*) {
            // The service declares no entities; a document that does is not from it.
            static_cast<Builder*>(builder)->refuse(u"declares entities"_s);
        };
        handler.serror = [](void*, xmlError*) {}; // kept by the parser; printed otherwise
        *parser.sax = handler;
        parser.userData = this;
    }

    /// Why the document is rejected; null when it is not.
    const QString& refusal() const { return m_refusal; }

private:
    /// An element of the service takes at least thirty bytes.
    static constexpr std::size_t mostElements = 4'000'000;
    static constexpr std::size_t longestText = 10'000'000; ///< in bytes
    static constexpr std::size_t mostNames = 4096;
    static constexpr std::size_t deepest = 256;

    void refuse(const QString& why)
    {
        m_refusal = why;
        xmlStopParser(&m_parser);
    }

    void startElement(const xmlChar* name)
    {
        dropBlanks();
        if (m_tree.nodes.size() == mostElements) {
            refuse(u"has too many elements"_s);
            return;
        }
        if (m_open.size() == deepest) {
            refuse(u"is nested too deep"_s);
            return;
        }
        if (!m_open.empty()) {
            std::uint32_t& before = m_open.back().lastChild;
            if (before)
                m_tree.nodes[before].hasNext = 1;
            before = static_cast<std::uint32_t>(m_tree.nodes.size());
        }
        m_open.push_back({static_cast<std::uint32_t>(m_tree.nodes.size())});
        m_tree.nodes.push_back({.text = static_cast<std::uint32_t>(m_tree.texts.size()), .name = number(name)});
        m_textSinceTag = m_tree.texts.size();
    }

    void endElement()
    {
        if (!m_refusal.isNull())
            return; // of an element that was not begun
        if (m_open.back().lastChild)
            dropBlanks();
        Tree::Node& node = m_tree.nodes[m_open.back().node];
        node.end = static_cast<std::uint32_t>(m_tree.nodes.size()) & 0x7fffffffU;
        node.textEnd = static_cast<std::uint32_t>(m_tree.texts.size());
        m_open.pop_back();
        m_textSinceTag = m_tree.texts.size();
    }

    void addText(const xmlChar* text, int size)
    {
        m_tree.texts.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
        if (m_tree.texts.size() - m_textSinceTag > longestText)
            refuse(u"has too long a text"_s);
    }

    /// The tags between two elements belong to no text.
    void dropBlanks()
    {
        if (m_tree.texts.find_first_not_of(" \t\r\n", m_textSinceTag) == std::string::npos)
            m_tree.texts.resize(m_textSinceTag);
    }

    /// The parser keeps one copy of each name.
    std::uint32_t number(const xmlChar* name)
    {
        const auto known = m_numbers.find(name);
        if (known != m_numbers.end())
            return known->second;
        if (m_numbers.size() == mostNames)
            return 0;
        m_tree.names.emplace_back(reinterpret_cast<const char*>(name));
        return m_numbers[name] = static_cast<std::uint32_t>(m_tree.names.size() - 1);
    }

    struct Open
    {
        std::uint32_t node;
        std::uint32_t lastChild = 0;
    };

    xmlParserCtxt& m_parser;
    Tree& m_tree;
    QString m_refusal;
    std::vector<Open> m_open;
    std::unordered_map<const xmlChar*, std::uint32_t> m_numbers;
    std::size_t m_textSinceTag = 0; ///< where the text since the last tag begins
};

/// The string without the characters that XML documents must not contain.
QByteArray allowedUtf8(const QString& text)
{
    QString allowed;
    allowed.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar character = text[at];
        if (character.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate()) {
            allowed += character;
            allowed += text[++at];
        } else if (character == u'\t' || character == u'\n' || character == u'\r' ||
                   (character >= u' ' && !character.isSurrogate() && character < u'\xFFFE')) {
            allowed += character;
        }
    }
    return allowed.toUtf8();
}

const xmlChar* chars(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}

/// The position of the ";" that ends the reference at `ampersand`; -1 when it is not one. Looks no further than a
/// reference may extend: otherwise a long run of "&" would be scanned once for each.
qsizetype endOfReference(QStringView text, qsizetype ampersand)
{
    qsizetype end = ampersand + 1;
    while (end < text.size() && (text[end] == u'#' || text[end].isLetterOrNumber()))
        ++end;
    return end < text.size() && text[end] == u';' ? end : -1;
}

/// What a reference (the part between "&" and ";") stands for; nothing when it is not one.
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
    const bool isNumber = ok && digits.front().isLetterOrNumber(); // without a plus or minus sign, which toUInt accepts
    if (!isNumber || code == 0 || code > QChar::LastValidCodePoint || QChar::isSurrogate(code))
        return {};
    return QString::fromUcs4(&code, 1);
}

} // namespace

std::string_view Element::name() const
{
    return m_tree ? m_tree->nameOf(m_node) : std::string_view();
}

Element Element::firstChild() const
{
    return m_tree && m_tree->hasChildren(m_node) ? Element(*m_tree, m_node + 1) : Element();
}

Element Element::next() const
{
    return m_tree && m_tree->nodes[m_node].hasNext ? Element(*m_tree, m_tree->nodes[m_node].end) : Element();
}

Element Element::child(std::string_view name) const
{
    return firstChild().orNext(name);
}

Element Element::next(std::string_view name) const
{
    return next().orNext(name);
}

Element Element::orNext(std::string_view name) const
{
    Element element = *this;
    while (element && element.name() != name)
        element = element.next();
    return element;
}

Element Element::descendant(std::string_view name) const
{
    // They follow it, in document order, up to the one that is no longer inside.
    const std::uint32_t end = m_tree ? m_tree->nodes[m_node].end : 0;
    for (std::uint32_t node = m_node + 1; node < end; ++node) {
        if (m_tree->nameOf(node) == name)
            return {*m_tree, node};
    }
    return {};
}

std::string_view Element::utf8() const
{
    return m_tree ? m_tree->textOf(m_node) : std::string_view();
}

QString Element::text() const
{
    if (!m_tree)
        return {};
    // An empty string must not become a null one.
    const std::string_view text = utf8();
    return QString::fromUtf8(text.empty() ? "" : text.data(), static_cast<qsizetype>(text.size()));
}

QString Element::unescapedText() const
{
    return stringByUnescapingEntities(text());
}

bool Element::isTrue() const
{
    return utf8() == "true";
}

double Element::number() const
{
    return doubleValue(text());
}

Document::Document(std::unique_ptr<const Tree> tree) : m_tree(std::move(tree)) {}
Document::Document(Document&&) noexcept = default;
Document& Document::operator=(Document&&) noexcept = default;
Document::~Document() = default;

tl::expected<Document, XmlError> Document::parse(QByteArray utf8)
{
    // The library's tables must be initialised before two threads use it.
    [[maybe_unused]] static const bool initialized = (xmlInitParser(), true);

    // A document is UTF-8, whatever it declares or the library guesses.
    if (utf8.isEmpty() || utf8.contains('\0') || !utf8.isValidUtf8())
        return tl::unexpected(XmlError{u"no UTF-8"_s});
    const std::unique_ptr<xmlParserCtxt, FreeParser> parser(
        xmlCreatePushParserCtxt(nullptr, nullptr, nullptr, 0, nullptr));
    auto tree = std::make_unique<Tree>();
    Builder builder(*parser, *tree);
    // Without the option for huge documents the expansion of entities is limited.
    xmlCtxtUseOptions(parser.get(), XML_PARSE_NONET | XML_PARSE_IGNORE_ENC);
    // The parser copies what it is given.
    constexpr qsizetype piece = qsizetype{1024} * 1024;
    for (qsizetype at = 0; at < utf8.size();) {
        qsizetype end = std::min(at + piece, utf8.size());
        while (end < utf8.size() && (static_cast<uchar>(utf8[end]) & 0xc0U) == 0x80U)
            --end; // not within a character
        xmlParseChunk(parser.get(), utf8.constData() + at, static_cast<int>(end - at), 0);
        at = end;
    }
    xmlParseChunk(parser.get(), nullptr, 0, 1);
    if (!builder.refusal().isEmpty())
        return tl::unexpected(XmlError{builder.refusal()});
    if (!parser->wellFormed) {
        const xmlError* error = xmlCtxtGetLastError(parser.get());
        return tl::unexpected(XmlError{
            error && error->message ? u"line %1: %2"_s.arg(error->line).arg(QString::fromUtf8(error->message).trimmed())
                                    : u"no document"_s});
    }
    utf8.clear(); // freed, if this was the last reference
    tree->nodes.shrink_to_fit();
    tree->texts.shrink_to_fit();
    return Document(std::move(tree));
}

Element Document::root() const
{
    return Element(*m_tree, 0);
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
            if (const QString character = resolved(source.mid(ampersand + 1, end - ampersand - 1)); !character.isEmpty()) {
                unescaped += character;
                done = end + 1;
            }
        }
        ampersand = source.indexOf(u'&', std::max(done, ampersand + 1));
    }
    unescaped += source.mid(done);
    return unescaped;
}

} // namespace model::xml
