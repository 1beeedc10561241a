#pragma once

#include <QLatin1StringView>
#include <QString>

namespace platform {

/// Whether this session is of the desktop with that name, such as "GNOME" (`XDG_CURRENT_DESKTOP`, Desktop Entry
/// Specification).
inline bool isDesktop(QLatin1StringView name)
{
    return qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':').contains(name);
}

} // namespace platform
