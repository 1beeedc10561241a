#include "SystemTimeSource.h"

#include <QTimer>

#include <condition_variable>
#include <mutex>
#include <utility>

#include <ctime>

namespace platform {

namespace {

class SystemTimer final : public TimeSource::Timer
{
public:
    SystemTimer(TimeSource::Duration interval, std::function<void()> tick)
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, std::move(tick));
        m_timer.start(interval);
    }

private:
    QTimer m_timer;
};

TimeSource::Duration reading(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::duration_cast<TimeSource::Duration>(std::chrono::seconds(time.tv_sec) +
                                                            std::chrono::nanoseconds(time.tv_nsec));
}

} // namespace

TimeSource::TimePoint SystemTimeSource::now() const
{
    return Clock::now();
}

TimeSource::Uptime SystemTimeSource::uptime() const
{
    return {reading(CLOCK_BOOTTIME), reading(CLOCK_MONOTONIC)};
}

bool SystemTimeSource::sleepFor(Duration duration, std::stop_token stop)
{
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any condition;
    condition.wait_for(lock, stop, duration, [] { return false; });
    return !stop.stop_requested();
}

std::unique_ptr<TimeSource::Timer> SystemTimeSource::repeat(Duration interval, std::function<void()> tick)
{
    return std::make_unique<SystemTimer>(interval, std::move(tick));
}

} // namespace platform
