#pragma once

namespace platform {

/// Tells when the machine is about to sleep, and when it woke. Main thread only.
class SleepMonitor
{
public:
    virtual ~SleepMonitor() = default;
};

} // namespace platform
