#include "model/HoursClock.h"

#include "platform/Run.h"

#include <algorithm>
#include <cmath>

namespace model {

using Duration = platform::TimeSource::Duration;

namespace {

/// To the moment at which hours, rounded to minutes, change.
Duration untilNextMinute(double hours)
{
    const double minutes = hours * 60;
    // Minutes are rounded, but hours are not: 1:59:45 shows as 1:00.
    const double next = std::min(std::floor(minutes + 0.5) + 0.5, (std::floor(minutes / 60) + 1) * 60);
    // Past it rather than a hair before.
    return Duration(static_cast<qint64>(std::ceil((next - minutes) * 60'000)) + 1);
}

Duration uptime()
{
    return platform::environment().time().uptime().total;
}

} // namespace

HoursClock& HoursClock::instance()
{
    return platform::Run::current().shared<HoursClock>();
}

void HoursClock::watch(const QObject& who, std::span<const double> hours)
{
    if (hours.empty()) {
        m_next.erase(&who);
    } else {
        Duration first = Duration::max();
        for (const double each : hours)
            first = std::min(first, untilNextMinute(each));
        m_next[&who] = uptime() + first;
    }
    wait();
}

void HoursClock::wait()
{
    m_timer.reset();
    if (m_next.empty())
        return;
    const Duration next = std::ranges::min_element(m_next, {}, [](const auto& each) { return each.second; })->second;
    m_timer = platform::environment().time().repeat(std::max(next - uptime(), Duration(1)), [this] {
        std::erase_if(m_next, [now = uptime()](const auto& each) { return each.second <= now; });
        wait();
        emit changed();
    });
}

} // namespace model
