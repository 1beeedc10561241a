#pragma once

#include "model/XmlImport.h"

#include <cstdint>
#include <memory>
#include <string_view>

struct _xmlDoc; // NOLINT(bugprone-reserved-identifier): the library names it so

/// Reading and writing the service's XML, over libxml2.
namespace model::xml {

class Tree;

/// An element of a document, or none. Valid as long as its document. Cheap to copy.
///
/// Accessors of no element return "none", a null QString, zero or false.
class Element
{
public:
    Element() = default;
    Element(const Tree& tree, std::uint32_t node) : m_tree(&tree), m_node(node) {}

    explicit operator bool() const { return m_tree; }
    bool operator==(const Element&) const = default;

    /// Empty for names beyond the first few thousand of a document.
    std::string_view name() const;

    Element firstChild() const; ///< the first child element
    Element next() const;       ///< the next element of the same parent
    Element child(std::string_view name) const;
    Element next(std::string_view name) const;
    /// The first in document order, at any depth.
    Element descendant(std::string_view name) const;

    /// All text within; empty, but not null, for an empty element.
    QString text() const;
    /// The text, with doubly escaped entities resolved.
    QString unescapedText() const;
    /// The text is "true".
    bool isTrue() const;
    /// The number at the beginning of the text, else zero.
    double number() const;

private:
    std::string_view utf8() const;
    Element orNext(std::string_view name) const;

    const Tree* m_tree = nullptr;
    std::uint32_t m_node = 0;
};

/// A well-formed document. Reads no network, no files and no entities declared in the document.
///
/// Takes 16 bytes for each element and the bytes of all text, so usually no more than the document itself.
class Document
{
public:
    /// Rejects what is not well formed, is not UTF-8 (whatever the declaration says), is nested absurdly deep, declares
    /// entities, or has longer text or more elements than the service could send. Frees `utf8`.
    static tl::expected<Document, XmlError> parse(QByteArray utf8);
    Document(Document&&) noexcept;
    Document& operator=(Document&&) noexcept;
    ~Document();

    Element root() const;

private:
    explicit Document(std::unique_ptr<const Tree> tree);

    std::unique_ptr<const Tree> m_tree;
};

/// A document to send: a root element with elements that hold text.
class Body
{
public:
    explicit Body(const char* root);

    /// Characters that XML forbids are dropped. A null string becomes an empty element.
    void addChild(const char* name, const QString& text);

    /// Version 1.0, UTF-8, indented by two spaces.
    QByteArray toPrettyXml() const;

private:
    struct Free
    {
        void operator()(_xmlDoc* document) const;
    };
    std::unique_ptr<_xmlDoc, Free> m_document;
};

/// Resolves the five named entities and numeric references, once from left to right; anything else stays as it is.
/// A null string stays null.
QString stringByUnescapingEntities(const QString& text);

} // namespace model::xml
