#pragma once

#include <functional>
#include <memory>

namespace platform {

/// Reports when the machine is about to sleep, and when it wakes. Main thread only.
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

    /// `goingToSleep` is called before every sleep, which waits a few seconds at most for it to return; `woke` after
    /// it. One watch at a time; it ends before the monitor. Null where sleep cannot be detected.
    [[nodiscard]] virtual std::unique_ptr<Watch> watch(std::function<void()> goingToSleep,
                                                       std::function<void()> woke) = 0;
};

} // namespace platform
