#pragma once

#include <QString>

#include <chrono>
#include <optional>

namespace platform {

/// How long nobody has touched the machine. Main thread only.
class SystemIdle
{
public:
    virtual ~SystemIdle() = default;

    /// Time since the last key press or pointer move anywhere in the session, the machine's sleep included. Nothing
    /// when it cannot be measured, or not now. Takes a fraction of a millisecond as a rule, half a second at most.
    virtual std::optional<std::chrono::milliseconds> idleTime() = 0;

    /// Who gave the last answer, for people. Empty: there is only one who could, or none did.
    virtual QString source() const { return {}; }
};

} // namespace platform
