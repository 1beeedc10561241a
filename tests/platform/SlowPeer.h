#pragma once

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>

/// A service on the session bus that answers when the test wants it.
class SlowPeer final : public QDBusVirtualObject
{
public:
    SlowPeer(const QString& name, const QString& path)
    {
        bus.registerVirtualObject(path, this);
        bus.registerService(name);
    }
    ~SlowPeer() override { QDBusConnection::disconnectFromBus(bus.name()); }

    /// Returns when the program has heard it and whatever it asks the bus thereupon.
    void answer(int question, const QVariant& what)
    {
        bus.send(questions[question].createReply(what));
        for (int times = 0; times < 3; ++times) {
            for (const QDBusConnection& side : {bus, QDBusConnection::sessionBus()})
                side.interface()->isServiceRegistered(QStringLiteral("org.gnome.Shell"));
            QCoreApplication::processEvents();
        }
    }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override
    {
        message.setDelayedReply(true);
        questions << message;
        return true;
    }
    QString introspect(const QString&) const override { return {}; }

    QList<QDBusMessage> questions;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("slow peer"));
};
