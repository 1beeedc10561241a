#pragma once

#include "platform/TimeSource.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace support {

/// A clock that stands still until it is told to go on. Any thread, but `advance` and timers on the main thread only.
class ManualTimeSource final : public platform::TimeSource
{
public:
    /// Starts at 2013-01-15 09:00:00 UTC.
    ManualTimeSource();
    ~ManualTimeSource() override;

    TimePoint now() const override;
    /// Up since a day before this source was made.
    Uptime uptime() const override;

    /// Notes the wait, lets the clock go on by it and returns at once; timers stay as they are. After `blockSleeps`:
    /// waits until the clock has been advanced that far.
    bool sleepFor(Duration duration, std::stop_token stop) override;
    std::unique_ptr<Timer> repeat(Duration interval, std::function<void()> tick) override;

    /// Puts the clock right, as a person would: neither timers nor sleeps notice.
    void setNow(TimePoint now);

    /// Lets time pass: fires the timers that fall due on the way, in order, each at its own time, and ends sleeps.
    void advance(Duration duration);

    /// The machine sleeps: only the clocks go on. Timers fall due later by as much.
    void suspend(Duration duration);

    void blockSleeps(bool block = true);

    /// All sleeps that were asked for.
    std::vector<Duration> sleeps() const;
    /// How many threads are asleep.
    int sleeping() const;
    int timers() const;
    /// Until the next timer falls due; nothing without one.
    std::optional<Duration> nextTimer() const;

private:
    class ManualTimer;

    mutable std::mutex m_mutex;
    std::condition_variable_any m_passed;
    TimePoint m_now;
    Duration m_elapsed{};
    Duration m_waited{}; ///< in sleeps that returned at once
    Duration m_suspended{};
    std::vector<Duration> m_sleeps;
    std::vector<ManualTimer*> m_timers;
    int m_sleeping = 0;
    bool m_block = false;
};

} // namespace support
