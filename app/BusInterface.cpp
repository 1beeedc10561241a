#include "app/BusInterface.h"

#include "platform/SingleInstance.h"

#include <QDBusMessage>

namespace app {

using namespace Qt::StringLiterals;

QDBusMessage callToProgram(const QString& interface, const QString& method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(platform::BusName, platform::BusPath, interface, method);
    // Asking whether the program runs must not start it.
    call.setAutoStartService(false);
    return call;
}

bool meansNotRunning(const QDBusMessage& error)
{
    const QString name = error.errorName();
    return name == "org.freedesktop.DBus.Error.ServiceUnknown"_L1 ||
           name == "org.freedesktop.DBus.Error.NameHasNoOwner"_L1;
}

} // namespace app
