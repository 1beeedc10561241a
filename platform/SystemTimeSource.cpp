#include "SystemTimeSource.h"

#include <QTimer>

#include <condition_variable>
#include <mutex>
#include <utility>

#include <ctime>

namespace platform {

namespace {

TimeSource::Duration reading(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::duration_cast<TimeSource::Duration>(std::chrono::seconds(time.tv_sec) +
                                                            std::chrono::nanoseconds(time.tv_nsec));
}

class SystemTimer final : public TimeSource::Timer
{
public:
    SystemTimer(TimeSource::Duration interval, const std::function<void()>& tick)
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this, interval, tick] {
            if (m_timer.intervalAsDuration() != interval)
                m_timer.setInterval(interval);
            tick(); // may end this timer
        });
        m_timer.start(SystemTimeSource::firstInterval(interval, reading(CLOCK_MONOTONIC)));
    }

private:
    QTimer m_timer;
};

} // namespace

TimeSource::Duration SystemTimeSource::firstInterval(Duration interval, Duration uptime)
{
    constexpr Duration common = std::chrono::seconds(15);
    return interval % common == Duration(0) ? interval - uptime % common : interval;
}

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
