#pragma once

#include <functional>
#include <memory>

namespace platform {

/// Tells when the machine is about to sleep, and when it woke. Main thread only.
class SleepMonitor
{
public:
    /// Ends the watch when destroyed.
    class Watch
    {
    public:
        virtual ~Watch() = default;
    };

    virtual ~SleepMonitor() = default;

    /// `goingToSleep` is called before every sleep, which waits until it has returned, for a few seconds at most;
    /// `woke` after it. One watch at a time; it ends before the monitor. Null where sleep cannot be known.
    [[nodiscard]] virtual std::unique_ptr<Watch> watch(std::function<void()> goingToSleep,
                                                       std::function<void()> woke) = 0;
};

} // namespace platform
