#pragma once

#include <QPoint>
#include <QProcess>
#include <QTest>

namespace support {

/// Runs a program while events go on; its output.
inline QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 20000))
        process.kill();
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// Moves and presses the real pointer of the X server, or types: the commands of xdotool.
inline void pointer(const QString& commands)
{
    run(QStringLiteral("xdotool"), commands.split(u' '));
}

/// The command that moves the pointer there.
inline QString at(const QPoint& place)
{
    return QStringLiteral("mousemove %1 %2").arg(place.x()).arg(place.y());
}

} // namespace support
