#include "InfoDictionary.h"

#include "Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 MostBytes = qint64{1024} * 1024;

tl::expected<QJsonObject, QString> read(const QString& path)
{
    // A device may have no end, and a pipe no writer.
    if (const QFileInfo found(path); found.exists() && !found.isFile())
        return tl::unexpected(u"it is not an ordinary file"_s);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return tl::unexpected(file.errorString());
    const QByteArray text = file.read(MostBytes + 1);
    if (file.error() != QFileDevice::NoError)
        return tl::unexpected(file.errorString());
    if (text.size() > MostBytes)
        return tl::unexpected(u"it is too large"_s);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        const auto line = text.left(error.offset).count('\n') + 1;
        return tl::unexpected(u"line %1: %2"_s.arg(line).arg(error.errorString()));
    }
    if (!document.isObject())
        return tl::unexpected(u"it must be one JSON object"_s);
    return document.object();
}

QLatin1StringView nameOf(QJsonValue::Type type)
{
    switch (type) {
    case QJsonValue::Bool:
        return "true or false"_L1;
    case QJsonValue::Double:
        return "a number"_L1;
    default:
        return "a string"_L1;
    }
}

/// Takes over the keys whose values have the type already there, and names the first that does not.
QString overlay(QJsonObject& values, const QJsonObject& layer)
{
    QString fault;
    for (auto entry = layer.begin(); entry != layer.end(); ++entry) {
        const auto known = values.constFind(entry.key());
        if (known == values.constEnd() || known->type() == entry->type())
            values.insert(entry.key(), *entry);
        else if (fault.isEmpty())
            fault = u"%1 must be %2"_s.arg(entry.key(), nameOf(known->type()));
    }
    return fault;
}

} // namespace

tl::expected<InfoDictionary, QString> InfoDictionary::load(const QString& file)
{
    QJsonObject values = read(u":/Info.json"_s).value_or(QJsonObject());
    values.insert("CFBundleVersion"_L1, QStringLiteral(QUILLON_VERSION));

    for (const QString& folder : configFolders()) {
        if (const auto layer = read(folder + "/Info.json"_L1))
            overlay(values, *layer);
    }

    const QString named = file.isEmpty() ? QFile::decodeName(qgetenv("QUILLON_INFO")) : file;
    if (!named.isEmpty()) {
        const auto layer = read(named);
        const QString fault = layer ? overlay(values, *layer) : layer.error();
        if (!fault.isEmpty())
            return tl::unexpected(u"%1: %2"_s.arg(QDir::toNativeSeparators(named), fault));
    }
    return InfoDictionary(values);
}

QString InfoDictionary::string(QLatin1StringView key) const
{
    return m_values.value(key).toString();
}

bool InfoDictionary::boolean(QLatin1StringView key) const
{
    return m_values.value(key).toBool();
}

double InfoDictionary::number(QLatin1StringView key) const
{
    return m_values.value(key).toDouble();
}

} // namespace platform
