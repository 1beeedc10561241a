#pragma once

#include "../SystemIdle.h"

namespace platform {

/// The X server's own count (X11 Screen Saver Extension, version 1.0): true to the millisecond, and at a place where it
/// costs nothing. An X server inside a Wayland session knows only half of the input: do not ask that one.
class X11Idle final : public SystemIdle
{
public:
    /// The program's windows are on an X server that is the whole session.
    static bool available();

    std::optional<std::chrono::milliseconds> idleTime() override;
};

} // namespace platform
