#pragma once

#include <QString>

#include <chrono>
#include <optional>

namespace platform {

/// How long there has been no input. Main thread only.
class SystemIdle
{
public:
    virtual ~SystemIdle() = default;

    /// Time since the last key press or pointer move anywhere in the session, including time the machine slept. Nothing
    /// when it cannot be measured, or not now. Usually takes a fraction of a millisecond, half a second at most.
    virtual std::optional<std::chrono::milliseconds> idleTime() = 0;

    /// Which source gave the last answer, in readable form. Empty: there is only one source, or none answered.
    virtual QString source() const { return {}; }
};

} // namespace platform
