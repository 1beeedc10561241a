#include "platform/linux/X11Idle.h"
#include "platform/Run.h"
#include "platform/SystemEnvironment.h"
#include "platform/SystemIdle.h"

#include <QApplication>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using platform::X11Idle;

/// The real counter of a virtual X server, and synthetic input that it cannot tell from a person's.
class X11IdleTest final : public QObject
{
    Q_OBJECT

private slots:
    void countsUntilSomebodyTouchesSomething_data();
    void countsUntilSomebodyTouchesSomething();
    void chosenWhereXIsTheWholeSession();
};

void X11IdleTest::countsUntilSomebodyTouchesSomething_data()
{
    QTest::addColumn<QStringList>("input");
    QTest::newRow("key") << QStringList{u"key"_s, u"a"_s};
    QTest::newRow("click") << QStringList{u"click"_s, u"1"_s};
    QTest::newRow("pointer") << QStringList{u"mousemove"_s, u"30"_s, u"40"_s};
}

void X11IdleTest::countsUntilSomebodyTouchesSomething()
{
    QFETCH(QStringList, input);
    QVERIFY(X11Idle::available());
    X11Idle idle;
    constexpr auto some = 400ms;
    QTRY_VERIFY(idle.idleTime() > some);
    const auto before = idle.idleTime();
    QProcess xdotool;
    xdotool.start(u"xdotool"_s, input);
    QTRY_VERIFY(idle.idleTime() < before);
    QTRY_COMPARE(xdotool.state(), QProcess::NotRunning);
    QCOMPARE(xdotool.exitCode(), 0);
}

void X11IdleTest::chosenWhereXIsTheWholeSession()
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

QTEST_MAIN(X11IdleTest)
#include "X11IdleTest.moc"
