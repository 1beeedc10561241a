#pragma once

#include <QFile>
#include <QStringList>

namespace support {

/// The rows of a table in a text file: cells between bars, all of which but the first may be empty. Blank lines and
/// those that begin with "#" are none. Nothing where it cannot be read.
inline QList<QStringList> table(const QString& file)
{
    QFile text(file);
    if (!text.open(QIODevice::ReadOnly))
        return {};
    QList<QStringList> rows;
    for (const QString& line : QString::fromUtf8(text.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
        if (!line.startsWith(u'#'))
            rows << line.split(u'|');
    }
    return rows;
}

} // namespace support
