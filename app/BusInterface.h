#pragma once

#include <QLatin1StringView>

class QDBusMessage;
class QString;

/// What the program and its command line share of the session bus.
namespace app {

inline constexpr QLatin1StringView QuillonInterface("com.wrenfold.Quillon1");
inline constexpr QLatin1StringView PropertiesInterface("org.freedesktop.DBus.Properties");

/// A call to the running program. It starts none.
QDBusMessage callToProgram(const QString& interface, const QString& method);

/// Whether an error means that no program runs.
bool meansNotRunning(const QDBusMessage& error);

} // namespace app
