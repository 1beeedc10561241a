#pragma once

#include "TimeSource.h"

namespace platform {

/// The machine's own clock. Timers may come up to 5 % late or early, so that the machine wakes less often.
class SystemTimeSource final : public TimeSource
{
public:
    TimePoint now() const override;
    Uptime uptime() const override;
    bool sleepFor(Duration duration, std::stop_token stop) override;
    std::unique_ptr<Timer> repeat(Duration interval, std::function<void()> tick) override;

    /// The first of a timer's intervals, cut so that intervals of fifteen seconds and their multiples end together,
    /// whenever they began: the machine wakes once for all of them.
    static Duration firstInterval(Duration interval, Duration uptime);
};

} // namespace platform
