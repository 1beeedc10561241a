// GLib first: Qt's keywords would break its headers.
#include <gio/gio.h>

#include "platform/linux/NetworkMonitorReachability.h"
#include "support/TestMain.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

/// Tells the mocked NetworkManager what to report.
bool tell(const QString& method, uint value)
{
    auto call =
        QDBusMessage::createMethodCall(u"org.freedesktop.NetworkManager"_s, u"/org/freedesktop/NetworkManager"_s,
                                       u"org.freedesktop.DBus.Mock"_s, method);
    call << value;
    return QDBusConnection::systemBus().call(call).type() == QDBusMessage::ReplyMessage;
}

bool setOnline(bool online)
{
    return tell(u"SetConnectivity"_s, online ? 4 : 1) && tell(u"SetGlobalConnectionState"_s, online ? 70 : 20);
}

} // namespace

class ReachabilityTest final : public QObject
{
    Q_OBJECT

private slots:
    void followsTheNetwork()
    {
        VERIFY_EACH(platform::NetworkMonitorReachability::available(), setOnline(true));
        platform::NetworkMonitorReachability network;
        QList<bool> seen;
        auto first = network.watch(u"example.com"_s, [&](bool reachable) { seen << reachable; });
        QVERIFY(first);
        QCOMPARE(seen, QList<bool>{true});
        QVERIFY(setOnline(false));
        QTRY_COMPARE(seen, QList<bool>({true, false}));
        VERIFY_EACH(setOnline(false), setOnline(true));
        QTRY_COMPARE(seen, QList<bool>({true, false, true}));

        // One that ended hears no more, and one may end within a call.
        std::unique_ptr<platform::Reachability::Watch> second;
        QList<bool> heard;
        const auto once = [&](bool reachable) {
            heard << reachable;
            second.reset();
        };
        QVERIFY(setOnline(false));
        QTRY_COMPARE(seen.size(), 4);
        second = network.watch(u"example.org"_s, once);
        first.reset();
        QVERIFY(setOnline(true));
        QTRY_COMPARE(heard, QList<bool>({false, true}));
        VERIFY_EACH(!second, setOnline(false));
        QList<bool> third;
        const auto last = network.watch(u"example.net"_s, [&](bool reachable) { third << reachable; });
        QTRY_COMPARE(third.last(), false);
        QCOMPARE(heard.size(), 2);
        QCOMPARE(seen.size(), 4);
    }

    void loopbackNames()
    {
        QVERIFY(setOnline(false));
        platform::NetworkMonitorReachability network;
        const auto check = [&](const char* host, bool loopback) {
            QList<bool> seen;
            const auto watch = network.watch(QString::fromLatin1(host), [&](bool reachable) { seen << reachable; });
            QVERIFY2(!seen.isEmpty(), host);
            QTRY_VERIFY2(seen.last() == loopback, host);
        };
        for (const char* host : {"localhost", "LocalHost", "localhost.", "acme.localhost", "127.0.0.1", "127.255.0.9",
                                 "::1", "[::1]", "0:0:0:0:0:0:0:1"})
            check(host, true);
        for (const char* host :
             {"example.com", "notlocalhost", "localhost.example.com", "127.example.com", "128.0.0.1", "::2", ""})
            check(host, false);
    }

    // The last: afterwards there is no bus to tell anything over.
    void outlivesTheBus()
    {
        QVERIFY(setOnline(true));
        platform::NetworkMonitorReachability network;
        QList<bool> seen;
        const auto watch = network.watch(u"example.com"_s, [&](bool reachable) { seen << reachable; });
        GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        QVERIFY(bus);
        // Heard just before GIO would end the process.
        bool closed = false;
        const auto note = +[](GDBusConnection*, gboolean, GError*, bool* heard) { *heard = true; };
        g_signal_connect(bus, "closed", G_CALLBACK(note), &closed);
        const QDBusReply<uint> pid = QDBusConnection::systemBus().interface()->servicePid(u"org.freedesktop.DBus"_s);
        QVERIFY(pid.isValid());
        QCOMPARE(kill(static_cast<pid_t>(pid.value()), SIGTERM), 0);
        QTRY_VERIFY(closed);
        g_object_unref(bus);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(ReachabilityTest)
#include "ReachabilityTest.moc"
