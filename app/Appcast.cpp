#include "app/Appcast.h"

#include "app/Text.h"

#include <QRegularExpression>
#include <QTextDocumentFragment>
#include <QVersionNumber>
#include <QXmlStreamReader>

namespace app {

using namespace Qt::StringLiterals;

namespace {

constexpr auto Sparkle = "http://www.andymatuschak.org/xml-namespaces/sparkle"_L1;

// More than anybody reads, and little enough to be shown at once.
constexpr qsizetype LongestName = 64;
constexpr qsizetype LongestNotes = 20000;

/// An address that may be opened in a browser, else an invalid one.
QUrl pageAt(const QString& text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const bool isPage = url.isValid() && (url.scheme() == "https"_L1 || url.scheme() == "http"_L1) &&
                        !url.host().isEmpty() && url.userInfo().isEmpty();
    return isPage ? url : QUrl();
}

QString oneLine(const QString& text)
{
    return text.simplified().left(LongestName);
}

struct Item
{
    AppcastItem offered;
    bool otherSystem = false;
};

Item readItem(QXmlStreamReader& xml)
{
    Item item;
    QUrl enclosure;
    while (xml.readNextStartElement()) {
        const bool isSparkle = xml.namespaceUri() == Sparkle;
        const QString name = xml.name().toString();
        if (!isSparkle && name == "enclosure"_L1) {
            const QXmlStreamAttributes attributes = xml.attributes();
            if (attributes.hasAttribute(Sparkle, "version"_L1))
                item.offered.version = attributes.value(Sparkle, "version"_L1).toString();
            if (attributes.hasAttribute(Sparkle, "shortVersionString"_L1))
                item.offered.displayName = attributes.value(Sparkle, "shortVersionString"_L1).toString();
            const auto system = attributes.value(Sparkle, "os"_L1);
            item.otherSystem = !system.isEmpty() && system != "linux"_L1;
            enclosure = pageAt(attributes.value("url"_L1).toString());
            xml.skipCurrentElement();
        } else if (isSparkle && name == "version"_L1) {
            item.offered.version = xml.readElementText();
        } else if (isSparkle && name == "shortVersionString"_L1) {
            item.offered.displayName = xml.readElementText();
        } else if (xml.namespaceUri().isEmpty() && name == "link"_L1) {
            item.offered.page = pageAt(xml.readElementText());
        } else if (xml.namespaceUri().isEmpty() && name == "description"_L1) {
            item.offered.notes = xml.readElementText();
        } else {
            xml.skipCurrentElement();
        }
    }
    if (!item.offered.page.isValid())
        item.offered.page = enclosure;
    item.offered.version = oneLine(item.offered.version);
    item.offered.displayName = oneLine(item.offered.displayName);
    if (item.offered.displayName.isEmpty())
        item.offered.displayName = item.offered.version;
    return item;
}

bool isUsable(const AppcastItem& item)
{
    return item.page.isValid() && !QVersionNumber::fromString(item.version).isNull();
}

} // namespace

QString AppcastItem::plainNotes() const
{
    QString text = notes.left(LongestNotes);
    if (Qt::mightBeRichText(text)) {
        // Without its format a list has no bullets, and a heading nothing that sets it off.
        static const QRegularExpression heading(u"(<h[1-6]\\b[^<>]*>)"_s, QRegularExpression::CaseInsensitiveOption);
        static const QRegularExpression item(u"(<li\\b[^<>]*>)"_s, QRegularExpression::CaseInsensitiveOption);
        text.replace(heading, u"<p>&nbsp;</p>\\1"_s).replace(item, u"\\1• "_s);
        text = QTextDocumentFragment::fromHtml(text).toPlainText();
        text.remove(QChar::ObjectReplacementCharacter); // where a picture would be
    }
    return text.trimmed();
}

tl::expected<std::optional<AppcastItem>, QString> Appcast::newest(const QByteArray& xml)
{
    const auto unreadable = tl::unexpected(tr("The list of versions cannot be read."));
    if (xml.size() > LargestFeed)
        return unreadable;
    QXmlStreamReader reader(xml);
    while (!reader.atEnd() && !reader.isStartElement()) {
        // A document type could declare entities, which no list of versions needs.
        if (reader.readNext() == QXmlStreamReader::DTD)
            return unreadable;
    }
    if (reader.name() != "rss"_L1)
        return unreadable;

    std::optional<Item> best;
    bool listsUnusable = false;
    while (reader.readNextStartElement()) {
        if (reader.name() != "channel"_L1) {
            reader.skipCurrentElement();
            continue;
        }
        while (reader.readNextStartElement()) {
            if (reader.name() != "item"_L1) {
                reader.skipCurrentElement();
                continue;
            }
            Item item = readItem(reader);
            if (item.otherSystem)
                continue;
            if (!isUsable(item.offered))
                listsUnusable = true;
            else if (!best || compareVersions(item.offered.version, best->offered.version) > 0)
                best = std::move(item);
        }
    }
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError() || (listsUnusable && !best))
        return unreadable;
    return best ? std::optional(best->offered) : std::nullopt;
}

int Appcast::compareVersions(const QString& a, const QString& b)
{
    qsizetype endOfA = 0;
    qsizetype endOfB = 0;
    const int numbers = QVersionNumber::compare(QVersionNumber::fromString(a, &endOfA).normalized(),
                                                QVersionNumber::fromString(b, &endOfB).normalized());
    const QStringView restOfA = QStringView(a).sliced(endOfA);
    const QStringView restOfB = QStringView(b).sliced(endOfB);
    if (numbers != 0 || (restOfA.isEmpty() && restOfB.isEmpty()))
        return numbers;
    if (restOfA.isEmpty() || restOfB.isEmpty())
        return restOfA.isEmpty() ? 1 : -1;
    return restOfA.compare(restOfB);
}

} // namespace app
