#include "RequestThrottle.h"

#include <algorithm>

namespace service {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

constexpr std::size_t MostRequests = 36;
constexpr milliseconds Window = 15s;
constexpr milliseconds Margin = 1s;

} // namespace

void RequestThrottle::wait(const std::stop_token& stop)
{
    const std::lock_guard lock(m_mutex);
    if (const auto wait = currentThrottleWait()) {
        m_waitsUntil = m_time.uptime().total + *wait;
        m_time.sleepFor(*wait, stop);
        m_waitsUntil = milliseconds::zero();
    }
    newRequestStarted();
}

void RequestThrottle::trimRequestHistory()
{
    const std::lock_guard lock(m_mutex);
    const auto now = m_time.now();
    while (!m_history.empty() && std::chrono::abs(m_history.front() - now) > Window)
        m_history.pop_front();
}

std::optional<milliseconds> RequestThrottle::currentThrottleWait()
{
    const std::lock_guard lock(m_mutex);
    trimRequestHistory();
    if (m_history.size() < MostRequests)
        return std::nullopt;
    const auto untilOldestLeaves = std::chrono::abs(m_history.front() - (m_time.now() - Window));
    return std::chrono::ceil<milliseconds>(untilOldestLeaves) + Margin;
}

void RequestThrottle::newRequestStarted()
{
    const std::lock_guard lock(m_mutex);
    m_history.push_back(m_time.now());
}

milliseconds RequestThrottle::waitInProgress() const
{
    const milliseconds until = m_waitsUntil;
    return until == milliseconds::zero() ? until : std::max(until - m_time.uptime().total, milliseconds::zero());
}

} // namespace service
