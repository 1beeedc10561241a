#pragma once

#include <QTest>

namespace support {

/// Names the row of a loop over rows in which a comparison fails: stands first in the body of the loop.
class InRow
{
public:
    explicit InRow(const char* name) : m_name(name) {}
    explicit InRow(const QString& name) : m_name(name.left(40).toUtf8()) {}
    ~InRow()
    {
        if (QTest::currentTestFailed())
            qInfo("in the row \"%s\"", m_name.constData());
    }
    Q_DISABLE_COPY_MOVE(InRow)

private:
    QByteArray m_name;
};

} // namespace support
