#include "platform/linux/X11Idle.h"
#include "platform/Run.h"
#include "platform/SystemEnvironment.h"
#include "platform/SystemIdle.h"
#include "support/Pointer.h"

#include <QApplication>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using platform::X11Idle;

/// The real counter of a virtual X server, and synthetic input that it cannot tell from a person's.
class X11IdleTest final : public QObject
{
    Q_OBJECT

private slots:
    void countsUntilSomebodyTouchesSomething()
    {
        QVERIFY(X11Idle::available());
        X11Idle idle;
        for (const QString& input : {u"key a"_s, u"click 1"_s, u"mousemove 30 40"_s}) {
            QTRY_VERIFY(idle.idleTime() > 150ms);
            const auto before = idle.idleTime();
            support::pointer(input);
            QTRY_VERIFY2(idle.idleTime() < before, qPrintable(input));
        }
    }

    void chosenWhereXIsTheWholeSession()
    {
        const auto environment = platform::systemEnvironment({});
        QTRY_VERIFY(environment->systemIdle().idleTime() > 100ms);
        // In a Wayland session the X server sees only what goes to its own windows.
        qputenv("WAYLAND_DISPLAY", "nobody-there");
        QVERIFY(!X11Idle::available());
        const auto wayland = platform::systemEnvironment({});
        QVERIFY(!wayland->systemIdle().idleTime());
        qunsetenv("WAYLAND_DISPLAY");
    }
};

QTEST_MAIN(X11IdleTest)
#include "X11IdleTest.moc"
