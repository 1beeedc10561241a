#pragma once

#include "../SystemIdle.h"

#include <QString>

namespace platform {

/// Idle time in milliseconds, from a service on the session bus.
class BusIdle final : public SystemIdle
{
public:
    /// GNOME's: `org.gnome.Mutter.IdleMonitor`, of all input devices.
    static BusIdle mutter();
    /// `org.freedesktop.ScreenSaver`. Some implementations count in seconds, or report how long the screen has been
    /// dark: do not trust it blindly.
    static BusIdle screenSaver();

    std::optional<std::chrono::milliseconds> idleTime() override;

private:
    BusIdle(QString service, QString path, QString method);

    QString m_service; ///< also the interface
    QString m_path;
    QString m_method;
};

} // namespace platform
