#include "NotifierHost.h"

#include "../SingleInstance.h"
#include "DBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

QDBusMessage questionForHost()
{
    QDBusMessage call = QDBusMessage::createMethodCall(StatusNotifierWatcher, StatusNotifierWatcherPath,
                                                       u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    call << QString(StatusNotifierWatcher) << u"IsStatusNotifierHostRegistered"_s;
    // The watcher belongs to a running panel or does not exist: do not start one.
    call.setAutoStartService(false);
    return call;
}

QDBusMessage questionForOwner(const QString& name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                       u"org.freedesktop.DBus"_s, u"GetNameOwner"_s);
    call << name;
    return call;
}

bool tellsOfHost(const QDBusReply<QDBusVariant>& reply)
{
    // A watcher that does not know the property still shows items.
    const QDBusError::ErrorType error = reply.error().type();
    const bool unknown = error == QDBusError::UnknownProperty || error == QDBusError::UnknownInterface ||
                         error == QDBusError::UnknownMethod || error == QDBusError::InvalidArgs;
    return reply.isValid() ? reply.value().variant().toBool() : unknown;
}

} // namespace

void NotifierHost::begin()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (m_service || !bus.isConnected())
        return;
    m_service.emplace(StatusNotifierWatcher, bus, QDBusServiceWatcher::WatchForOwnerChange);
    connect(&*m_service, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                if (!owner.isEmpty()) {
                    ask();
                    return;
                }
                ++m_question;
                setThere(false);
            });
    for (const QString& signal : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        bus.connect(StatusNotifierWatcher, StatusNotifierWatcherPath, StatusNotifierWatcher, signal, this, SLOT(ask()));
    ask();
}

void NotifierHost::ask()
{
    const int question = ++m_question;
    whenAnswered(QDBusConnection::sessionBus().asyncCall(questionForHost()), this,
                 [this, question](const QDBusPendingCall& host) {
                     if (question != m_question)
                         return;
                     QDBusConnection bus = QDBusConnection::sessionBus();
                     const QDBusPendingCall shell = bus.asyncCall(questionForOwner(u"org.gnome.Shell"_s));
                     // Answered after it. The reply above does not say from whom it is, with Qt 6.8.
                     whenAnswered(bus.asyncCall(questionForOwner(StatusNotifierWatcher)), this,
                                  [this, question, host = host.reply(), shell](const QDBusPendingCall& watcher) {
                                      if (question != m_question)
                                          return;
                                      const QDBusReply<QString> owner(shell);
                                      m_showsLabel =
                                          owner.isValid() && owner.value() == QDBusReply<QString>(watcher).value();
                                      setThere(tellsOfHost(host));
                                  });
                 });
}

void NotifierHost::setThere(bool there)
{
    if (std::exchange(m_isThere, there) != there)
        m_changed();
}

bool NotifierHost::isThereNow()
{
    constexpr int patienceMilliseconds = 500;
    QDBusConnection bus = QDBusConnection::sessionBus();
    return hasSessionBus() && bus.isConnected() &&
           tellsOfHost(bus.call(questionForHost(), QDBus::Block, patienceMilliseconds));
}

} // namespace platform
