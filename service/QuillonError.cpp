#include "QuillonError.h"

#include "model/Xml.h"

#include <QRegularExpression>

namespace service {

using namespace Qt::StringLiterals;

tl::expected<std::optional<Error>, model::XmlError> QuillonError::parseXml(const QByteArray& body)
{
    const auto document = model::xml::Document::parse(body);
    if (!document)
        return tl::unexpected(document.error());
    const model::xml::Element root = document->root();
    if (root.name() != "error")
        return std::nullopt;

    static const QRegularExpression markup(u"<[^>]+>"_s);
    QString message = model::xml::stringByUnescapingEntities(root.child("message").text());
    // Again and again: what is left around a removed piece may be markup in turn.
    for (auto match = markup.match(message); match.hasMatch(); match = markup.match(message))
        message.remove(match.capturedStart(), match.capturedLength());
    message.remove(u'\n');
    while (message.contains("  "_L1))
        message.replace("  "_L1, " "_L1);
    return Error{QuillonErrorDomain, 500, message, root.child("kind").text()};
}

} // namespace service
