#include "BusMock.h"

#include "platform/linux/BusIdle.h"

#include <QDir>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using platform::BusIdle;
using Idle = std::optional<std::chrono::milliseconds>;

class BusIdleTest final : public QObject
{
    Q_OBJECT

private slots:
    void asksTheService()
    {
        const QString number = u"t"_s;
        for (const auto& [type, code, idle] :
             {std::tuple(number, u"ret = 123456"_s, Idle(123456ms)),
              {number, u"ret = 0"_s, Idle(0ms)},
              {u"u"_s, u"ret = 4294967295"_s, Idle(4294967295ms)},
              {u"i"_s, u"ret = -5"_s, Idle(-5ms)},
              {number, u"ret = 18446744073709551615"_s, Idle(-1ms)},
              {u"s"_s, u"ret = 'long'"_s, Idle()},
              {QString(), QString(), Idle()},
              {number, u"raise dbus.exceptions.DBusException('no', name='org.freedesktop.DBus.Error.NotSupported')"_s,
               Idle()},
              {number, u"import time; time.sleep(2); ret = 5"_s, Idle()}})
            check(u"org.gnome.Mutter.IdleMonitor"_s, u"/org/gnome/Mutter/IdleMonitor/Core"_s, u"GetIdletime"_s,
                  BusIdle::mutter(), {type, code}, idle);
    }

    void asksTheScreenSaver()
    {
        check(u"org.freedesktop.ScreenSaver"_s, u"/org/freedesktop/ScreenSaver"_s, u"GetSessionIdleTime"_s,
              BusIdle::screenSaver(), {u"u"_s, u"ret = 5"_s}, 5ms);
    }

    void nobodyThere()
    {
        QVERIFY(!BusIdle::mutter().idleTime());
        QVERIFY(!BusIdle::screenSaver().idleTime());
    }

    // In a session with a folder of its own.
    void nobodyIsStarted()
    {
        QVERIFY(qEnvironmentVariableIsSet("XDG_DATA_HOME"));
        const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + u"/dbus-1/services/"_s;
        QVERIFY(QDir().mkpath(folder));
        for (const QString& name : {u"org.gnome.Mutter.IdleMonitor"_s, u"org.freedesktop.ScreenSaver"_s}) {
            QFile file(folder + name + u".service"_s);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(u"[D-BUS Service]\nName=%1\nExec=/usr/bin/touch %2started\n"_s.arg(name, folder).toUtf8());
        }
        const QString bus = u"org.freedesktop.DBus"_s;
        QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(bus, u"/"_s, bus, u"ReloadConfig"_s));
        nobodyThere();
        QVERIFY(!QFile::exists(folder + u"started"_s));
    }

private:
    static void check(const QString& name, const QString& path, const QString& method, BusIdle source,
                      const QStringList& answer, Idle idle)
    {
        const BusMock mock(QDBusConnection::sessionBus(), name, path, {name, path, name});
        QVERIFY(mock.isThere());
        QVERIFY(mock.tell(u"AddMethod"_s, {name, method, QString(), answer[0], answer[1]}));
        QVERIFY2(source.idleTime() == idle, qPrintable(answer[1]));
    }
};

QTEST_GUILESS_MAIN(BusIdleTest)
#include "BusIdleTest.moc"
