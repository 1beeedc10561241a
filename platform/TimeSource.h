#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

namespace platform {

/// The clock, the waits and the repeating timers of one run of the program.
///
/// `now`, `uptime` and `sleepFor` may be called from any thread, the rest from the main thread only. Tests use a manual
/// source, in which minutes pass at once.
class TimeSource
{
public:
    using Clock = std::chrono::system_clock;
    using TimePoint = Clock::time_point;
    using Duration = std::chrono::milliseconds;

    /// Stops the timer when destroyed.
    class Timer
    {
    public:
        virtual ~Timer() = default;
    };

    /// How long the machine has been up. Never goes back, whatever happens to the wall clock.
    struct Uptime
    {
        Duration total; ///< asleep and awake
        Duration awake;
    };

    virtual ~TimeSource() = default;

    /// The wall clock: it may be set forward and back.
    virtual TimePoint now() const = 0;

    virtual Uptime uptime() const = 0;

    /// Blocks the calling thread. False when `stop` ended the wait early.
    virtual bool sleepFor(Duration duration, std::stop_token stop) = 0;

    /// Calls `tick` on the main thread every `interval` until the returned timer is destroyed (also from within
    /// `tick`). The first call comes after one interval.
    [[nodiscard]] virtual std::unique_ptr<Timer> repeat(Duration interval, std::function<void()> tick) = 0;
};

} // namespace platform
