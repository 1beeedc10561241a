#pragma once

#include "model/XmlImport.h"

#include <memory>
#include <string_view>

struct _xmlDoc;
struct _xmlNode;

/// Reading and writing the service's XML, over libxml2.
namespace model::xml {

/// An element of a document, or none. Valid as long as its document. Copies freely.
///
/// What is asked of no element is answered by "none", a null QString, zero or false.
class Element
{
public:
    Element() = default;
    explicit Element(const _xmlNode* node) : m_node(node) {}

    explicit operator bool() const { return m_node; }
    bool operator==(const Element&) const = default;

    std::string_view name() const;

    Element firstChild() const; ///< the first child element
    Element next() const;       ///< the next element of the same parent
    Element child(std::string_view name) const;
    Element next(std::string_view name) const;
    /// The first in document order, at any depth.
    Element descendant(std::string_view name) const;

    /// All text within; empty, but not null, for an empty element.
    QString text() const;
    /// The text with the entities that were escaped twice resolved.
    QString unescapedText() const;
    /// The text is "true".
    bool isTrue() const;
    /// The number that the text begins with, else zero.
    double number() const;

private:
    const _xmlNode* m_node = nullptr;
};

/// A well-formed document. Reads no network, no files and no entities of the document's own.
class Document
{
public:
    /// Refuses what is not well formed, is no UTF-8 (whatever the declaration says), is nested absurdly deep or
    /// declares entities.
    static tl::expected<Document, XmlError> parse(const QByteArray& utf8);

    Element root() const;

private:
    struct Free
    {
        void operator()(_xmlDoc* document) const;
    };
    explicit Document(_xmlDoc* document) : m_document(document) {}

    std::unique_ptr<_xmlDoc, Free> m_document;
};

/// A document to send: a root element with elements of text.
class Body
{
public:
    explicit Body(const char* root);

    /// Signs that XML forbids are dropped from the text. A null text makes an empty element.
    void addChild(const char* name, const QString& text);

    /// Version 1.0, UTF-8, two blanks a level.
    QByteArray toPrettyXml() const;

private:
    struct Free
    {
        void operator()(_xmlDoc* document) const;
    };
    std::unique_ptr<_xmlDoc, Free> m_document;
};

/// Resolves the five named entities and numeric references, once from left to right; anything else stays as it is.
/// A null text stays null.
QString stringByUnescapingEntities(const QString& text);

} // namespace model::xml
