#pragma once

#include "../SystemIdle.h"
#include "../TimeSource.h"

#include <memory>

namespace platform {

/// The compositor's idle notifications, over a connection of its own: those of wayland-protocols
/// (staging/ext-idle-notify), else the older ones of plasma-wayland-protocols (idle.xml), which sway 1.7 has alone.
///
/// From version 2 of the former on only input counts. Before, a program that keeps the screen on, as for a film, keeps
/// the person present too. Idle time of less than five seconds is reported as none. Nothing is measured in the first
/// moments of the connection, nor with a compositor that lacks these notifications.
class WaylandIdle final : public SystemIdle
{
public:
    explicit WaylandIdle(const TimeSource& time);
    ~WaylandIdle() override;

    /// The session is a Wayland session.
    static bool available();

    std::optional<std::chrono::milliseconds> idleTime() override;

private:
    class Connection;

    const TimeSource& m_time;
    std::unique_ptr<Connection> m_connection;
};

} // namespace platform
