#pragma once

#include <QFile>
#include <QStringList>

namespace support {

/// Where it first differs from the file of that name, which is written anew where WRITE_DESCRIBED is set.
inline QStringList differences(const QString& file, const QStringList& blocks)
{
    const QStringList seen = blocks.join(u'\n').split(u'\n');
    QFile stored(file);
    if (qEnvironmentVariableIsSet("WRITE_DESCRIBED")) {
        if (stored.open(QIODevice::WriteOnly))
            stored.write((seen.join(u'\n') + u'\n').toUtf8());
        return {};
    }
    QStringList expected;
    if (stored.open(QIODevice::ReadOnly))
        expected = QString::fromUtf8(stored.readAll()).chopped(1).split(u'\n');
    QString title;
    for (qsizetype i = 0; i < std::max(seen.size(), expected.size()); ++i) {
        if (seen.value(i).startsWith(QLatin1StringView("== ")))
            title = seen[i];
        if (i >= seen.size() || seen[i] != expected.value(i))
            return QStringList{title, QStringLiteral("expected:")} + expected.mid(i, 8) +
                   QStringList(QStringLiteral("seen:")) + seen.mid(i, 8);
    }
    return {};
}

} // namespace support
