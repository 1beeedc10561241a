#include "BusIdle.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

// Called on the main thread: a service that takes longer to return a number counts as absent.
constexpr int LongestWaitMs = 250;

} // namespace

BusIdle BusIdle::mutter()
{
    return {u"org.gnome.Mutter.IdleMonitor"_s, u"/org/gnome/Mutter/IdleMonitor/Core"_s, u"GetIdletime"_s};
}

BusIdle BusIdle::screenSaver()
{
    return {u"org.freedesktop.ScreenSaver"_s, u"/org/freedesktop/ScreenSaver"_s, u"GetSessionIdleTime"_s};
}

BusIdle::BusIdle(QString service, QString path, QString method)
    : m_service(std::move(service)), m_path(std::move(path)), m_method(std::move(method))
{
}

std::optional<std::chrono::milliseconds> BusIdle::idleTime()
{
    auto call = QDBusMessage::createMethodCall(m_service, m_path, m_service, m_method);
    call.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, LongestWaitMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    bool isNumber = false;
    const qulonglong number = reply.arguments().constFirst().toULongLong(&isNumber);
    // One that is too large becomes a negative time, which is rejected.
    return isNumber ? std::optional(std::chrono::milliseconds(static_cast<qint64>(number))) : std::nullopt;
}

} // namespace platform
