#include "QuillonError.h"

#include "model/Xml.h"

namespace service {

using namespace Qt::StringLiterals;

namespace {

/// Removes what stands between a "<" and the next ">". One pass is enough: a "<" that stays has a ">" right behind it,
/// or none at all.
QString withoutMarkup(const QString& text)
{
    const QStringView source(text);
    QString plain;
    qsizetype done = 0;
    for (qsizetype open = source.indexOf(u'<'); open >= 0; open = source.indexOf(u'<', open)) {
        const qsizetype close = source.indexOf(u'>', ++open);
        if (close < 0)
            break;
        if (close == open)
            continue;
        plain += source.mid(done, open - 1 - done);
        done = open = close + 1;
    }
    plain += source.mid(done);
    return plain;
}

} // namespace

tl::expected<std::optional<Error>, model::XmlError> QuillonError::parseXml(const QByteArray& body)
{
    const auto document = model::xml::Document::parse(body);
    if (!document)
        return tl::unexpected(document.error());
    const model::xml::Element root = document->root();
    if (root.name() != "error")
        return std::nullopt;

    QString message = withoutMarkup(model::xml::stringByUnescapingEntities(root.child("message").text()));
    message.remove(u'\n');
    while (message.contains("  "_L1))
        message.replace("  "_L1, " "_L1);
    return Error{QuillonErrorDomain, 500, message, root.child("kind").text()};
}

} // namespace service
