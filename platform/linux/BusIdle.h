#pragma once

#include "../SystemIdle.h"

#include <QString>

namespace platform {

/// Idle time as a service on the session bus tells it when asked, in milliseconds.
class BusIdle final : public SystemIdle
{
public:
    /// GNOME's: `org.gnome.Mutter.IdleMonitor`, of all input devices.
    static BusIdle mutter();
    /// `org.freedesktop.ScreenSaver`. Some programs behind that name count in seconds, or tell how long the screen has
    /// been dark: doubt it.
    static BusIdle screenSaver();

    std::optional<std::chrono::milliseconds> idleTime() override;

private:
    BusIdle(QString service, QString path, QString method);

    QString m_service; ///< also the interface
    QString m_path;
    QString m_method;
};

} // namespace platform
