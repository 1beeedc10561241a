#pragma once

#include "../SystemIdle.h"

#include <memory>

struct xcb_connection_t;

namespace platform {

/// The X server's own count (X11 Screen Saver Extension, version 1.0): exact to the millisecond, and cheap to read. An
/// X server inside a Wayland session sees only part of the input: do not use that one.
class X11Idle final : public SystemIdle
{
public:
    /// The program's windows are on an X server that is the whole session.
    static bool available();

    std::optional<std::chrono::milliseconds> idleTime() override;

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t* connection) const;
    };
    /// Its own: an answer on the toolkit's wakes a second thread, which wakes this one.
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
};

} // namespace platform
