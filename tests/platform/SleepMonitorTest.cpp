#include "BusMock.h"

#include "platform/linux/LogindSleepMonitor.h"

#include <QDBusArgument>

using namespace Qt::StringLiterals;
using platform::LogindSleepMonitor;

namespace {

class Logind
{
public:
    bool isThere() const { return m_mock.isThere(); }
    bool prepareForSleep(bool asleep) const
    {
        return m_mock.tell(u"EmitSignal"_s,
                           {u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s, u"b"_s, QVariantList{asleep}});
    }
    /// Who holds up what, and how: "sleep Quillon delay".
    QStringList inhibitors() const
    {
        QStringList list;
        const QDBusMessage reply = m_mock.call(u"org.freedesktop.login1.Manager"_s, u"ListInhibitors"_s);
        const auto array = reply.arguments().value(0).value<QDBusArgument>();
        if (reply.type() != QDBusMessage::ReplyMessage)
            return {reply.errorMessage()};
        for (array.beginArray(); !array.atEnd();) {
            QString what, who, why, mode;
            uint user = 0, process = 0;
            array.beginStructure();
            array >> what >> who >> why >> mode >> user >> process;
            array.endStructure();
            list << u"%1 %2 %3"_s.arg(what, who, mode);
        }
        array.endArray();
        return list;
    }
    void end() { m_mock.end(); }

private:
    BusMock m_mock{QDBusConnection::systemBus(),
                   u"org.freedesktop.login1"_s,
                   u"/org/freedesktop/login1"_s,
                   {u"--template"_s, u"logind"_s}};
};

const QStringList Held{u"sleep Quillon delay"_s};

} // namespace

class SleepMonitorTest final : public QObject
{
    Q_OBJECT

private slots:
    // The private bus of this test is the system's as well.
    void initTestCase() { qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS")); }
    void holdsSleepUpUntilTold()
    {
        const Logind logind;
        QVERIFY(logind.isThere());
        LogindSleepMonitor monitor;
        QStringList told;
        auto watch = monitor.watch([&] { told << u"sleep, held up by "_s + logind.inhibitors().join(u','); },
                                   [&] { told << u"woke"_s; });
        QVERIFY(watch);
        QTRY_COMPARE(logind.inhibitors(), Held);
        QStringList expected;
        for (int lid = 0; lid < 2; ++lid) {
            QVERIFY(logind.prepareForSleep(true));
            expected << u"sleep, held up by sleep Quillon delay"_s;
            QTRY_COMPARE(told, expected);
            QTRY_COMPARE(logind.inhibitors(), QStringList());
            QVERIFY(logind.prepareForSleep(false));
            expected << u"woke"_s;
            QTRY_COMPARE(told, expected);
            QTRY_COMPARE(logind.inhibitors(), Held);
        }
        QVERIFY(logind.prepareForSleep(true)); // and has not been heard yet
        watch.reset();
        QTRY_COMPARE(logind.inhibitors(), QStringList());
        QVERIFY(logind.prepareForSleep(true));
        QCoreApplication::processEvents();
        QCOMPARE(told, expected);
    }

    void loginManagerStartedAnew()
    {
        LogindSleepMonitor monitor;
        int sleeps = 0;
        int wakes = 0;
        const auto watch = monitor.watch([&] { ++sleeps; }, [&] { ++wakes; });
        QVERIFY(watch);
        for (int start = 1; start <= 2; ++start) {
            const Logind logind;
            QVERIFY(logind.isThere());
            QTRY_COMPARE(logind.inhibitors(), Held);
            QCOMPARE(wakes, start - 1);
            QVERIFY(logind.prepareForSleep(true));
            QTRY_COMPARE(sleeps, start);
        }
    }

    // Nobody lets go of a lock that arrives while the machine is about to sleep.
    void wakesBeforeTheLockIsThere()
    {
        const Logind logind;
        QVERIFY(logind.isThere());
        LogindSleepMonitor monitor;
        int sleeps = 0;
        const auto watch = monitor.watch([&] { ++sleeps; }, [] {});
        QTRY_COMPARE(logind.inhibitors(), Held);
        for (const bool asleep : {true, false, true})
            QVERIFY(logind.prepareForSleep(asleep));
        QTRY_COMPARE(sleeps, 2);
        QTRY_COMPARE(logind.inhibitors(), QStringList());
    }

    void withoutALoginManager()
    {
        LogindSleepMonitor monitor;
        QVERIFY(monitor.watch([] {}, [] {}));
    }

    void withoutABus()
    {
        LogindSleepMonitor monitor;
        QVERIFY(!monitor.watch([] {}, [] {}));
    }
};

QTEST_GUILESS_MAIN(SleepMonitorTest)
#include "SleepMonitorTest.moc"
