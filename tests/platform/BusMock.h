#pragma once

#include "Program.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

/// A service that somebody else would run, mocked on a bus of the test's own by python-dbusmock.
class BusMock
{
public:
    /// `arguments` are dbusmock's, but for the bus.
    BusMock(QDBusConnection bus, const QString& name, const QString& path, const QStringList& arguments)
        : m_bus(std::move(bus)), m_name(name), m_path(path),
          // The system's own interpreter: another one in PATH may lack the module.
          m_program(QStringLiteral("/usr/bin/python3"),
                    QStringList{QStringLiteral("-m"), QStringLiteral("dbusmock"),
                                m_bus.name() == QDBusConnection::systemBus().name() ? QStringLiteral("--system")
                                                                                    : QStringLiteral("--session")} +
                        arguments)
    {
    }

    bool isThere() const
    {
        return QTest::qWaitFor([this] { return m_bus.interface()->isServiceRegistered(m_name); }, 20000);
    }

    QDBusMessage call(const QString& interface, const QString& method, const QVariantList& arguments = {}) const
    {
        auto message = QDBusMessage::createMethodCall(m_name, m_path, interface, method);
        message.setArguments(arguments);
        return m_bus.call(message);
    }

    /// Tells the mock how to behave: a method of dbusmock's own interface.
    bool tell(const QString& method, const QVariantList& arguments) const
    {
        return call(QStringLiteral("org.freedesktop.DBus.Mock"), method, arguments).type() ==
               QDBusMessage::ReplyMessage;
    }

    void end() { m_program.end(); }

private:
    QDBusConnection m_bus;
    QString m_name;
    QString m_path;
    Program m_program;
};
