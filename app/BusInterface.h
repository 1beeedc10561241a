#pragma once

#include <QLatin1StringView>

/// Names on the session bus that the program and its command line share.
namespace app {

inline constexpr QLatin1StringView QuillonInterface("com.wrenfold.Quillon1");
inline constexpr QLatin1StringView PropertiesInterface("org.freedesktop.DBus.Properties");

} // namespace app
