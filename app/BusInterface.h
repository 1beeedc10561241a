#pragma once

#include <QLatin1StringView>

class QDBusMessage;
class QString;

/// The program on the session bus, as seen from outside and from within.
namespace app {

inline constexpr QLatin1StringView QuillonInterface("com.wrenfold.Quillon1");
inline constexpr QLatin1StringView PropertiesInterface("org.freedesktop.DBus.Properties");

/// A call to the running program. Does not start one.
QDBusMessage callToProgram(const QString& interface, const QString& method);

/// Whether an error means that the program is not running.
bool meansNotRunning(const QDBusMessage& error);

} // namespace app
