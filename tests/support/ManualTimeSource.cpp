#include "ManualTimeSource.h"

#include <QtGlobal>

#include <algorithm>
#include <utility>

namespace support {

class ManualTimeSource::ManualTimer final : public TimeSource::Timer
{
public:
    ManualTimer(ManualTimeSource& source, Duration interval, std::function<void()> tick)
        : m_source(source), interval(interval), due(source.m_elapsed + interval),
          tick(std::make_shared<std::function<void()>>(std::move(tick)))
    {
        m_source.m_timers.push_back(this);
    }
    ~ManualTimer() override { std::erase(m_source.m_timers, this); }

private:
    ManualTimeSource& m_source;

public:
    const Duration interval;
    Duration due;
    // Shared with the call under way, which may destroy the timer.
    const std::shared_ptr<std::function<void()>> tick;
};

ManualTimeSource::ManualTimeSource()
    : m_now(std::chrono::sys_days(std::chrono::year(2013) / 1 / 15) + std::chrono::hours(9))
{
}

ManualTimeSource::~ManualTimeSource() = default;

ManualTimeSource::TimePoint ManualTimeSource::now() const
{
    const std::lock_guard lock(m_mutex);
    return m_now;
}

ManualTimeSource::Uptime ManualTimeSource::uptime() const
{
    const std::lock_guard lock(m_mutex);
    const Duration awake = std::chrono::hours(24) + m_elapsed + m_waited;
    return {awake + m_suspended, awake};
}

bool ManualTimeSource::sleepFor(Duration duration, std::stop_token stop)
{
    std::unique_lock lock(m_mutex);
    m_sleeps.push_back(duration);
    if (!m_block) {
        m_now += duration;
        m_waited += duration;
        return !stop.stop_requested();
    }
    const Duration due = m_elapsed + duration;
    ++m_sleeping;
    const bool whole = m_passed.wait(lock, stop, [&] { return m_elapsed >= due || !m_block; });
    --m_sleeping;
    return whole;
}

std::unique_ptr<platform::TimeSource::Timer> ManualTimeSource::repeat(Duration interval, std::function<void()> tick)
{
    Q_ASSERT(interval > Duration::zero());
    return std::make_unique<ManualTimer>(*this, interval, std::move(tick));
}

void ManualTimeSource::setNow(TimePoint now)
{
    const std::lock_guard lock(m_mutex);
    m_now = now;
}

void ManualTimeSource::advance(Duration duration)
{
    std::unique_lock lock(m_mutex);
    const Duration end = m_elapsed + duration;
    const auto goTo = [this](Duration elapsed) {
        m_now += elapsed - m_elapsed;
        m_elapsed = elapsed;
        m_passed.notify_all();
    };
    const auto next = [this] { return std::ranges::min_element(m_timers, {}, &ManualTimer::due); };
    for (auto timer = next(); timer != m_timers.end() && (*timer)->due <= end; timer = next()) {
        goTo((*timer)->due);
        (*timer)->due += (*timer)->interval;
        const auto tick = (*timer)->tick;
        lock.unlock();
        (*tick)();
        lock.lock();
    }
    goTo(std::max(end, m_elapsed));
}

void ManualTimeSource::suspend(Duration duration)
{
    const std::lock_guard lock(m_mutex);
    m_now += duration;
    m_suspended += duration;
}

void ManualTimeSource::blockSleeps(bool block)
{
    const std::lock_guard lock(m_mutex);
    m_block = block;
    m_passed.notify_all();
}

std::vector<ManualTimeSource::Duration> ManualTimeSource::sleeps() const
{
    const std::lock_guard lock(m_mutex);
    return m_sleeps;
}

int ManualTimeSource::sleeping() const
{
    const std::lock_guard lock(m_mutex);
    return m_sleeping;
}

int ManualTimeSource::timers() const
{
    return static_cast<int>(m_timers.size());
}

std::optional<ManualTimeSource::Duration> ManualTimeSource::nextTimer() const
{
    const auto next = std::ranges::min_element(m_timers, {}, &ManualTimer::due);
    return next == m_timers.end() ? std::nullopt : std::optional((*next)->due - m_elapsed);
}

} // namespace support
