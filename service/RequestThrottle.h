#pragma once

#include "platform/TimeSource.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>

namespace service {

/// Lets at most 36 requests start in any 15 seconds. Any thread.
class RequestThrottle
{
public:
    explicit RequestThrottle(platform::TimeSource& time) : m_time(time) {}

    /// Waits until the next request may start, and counts it. Callers wait in turn. Returns at once when `stop` is
    /// requested.
    void wait(const std::stop_token& stop);

    /// Drops the oldest starts that no longer count, up to the first that does.
    void trimRequestHistory();
    /// Time until the next request may start, if not at once.
    std::optional<std::chrono::milliseconds> currentThrottleWait();
    void newRequestStarted();

    /// How long the caller that waits now will still wait; zero: none does. Unlike the others it never blocks.
    std::chrono::milliseconds waitInProgress() const;

private:
    platform::TimeSource& m_time;
    /// The uptime at which it may go on; zero: nobody waits.
    std::atomic<platform::TimeSource::Duration> m_waitsUntil{};
    std::recursive_mutex m_mutex;                          ///< held while a caller waits for its turn
    std::deque<platform::TimeSource::TimePoint> m_history; ///< starts, the oldest first
};

} // namespace service
