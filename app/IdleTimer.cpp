#include "app/IdleTimer.h"

#include "platform/Run.h"
#include "platform/SystemIdle.h"
#include "settings/QuillonPreferences.h"

#include <cmath>

namespace app {

using namespace std::chrono_literals;

using platform::environment;

namespace {

constexpr auto CheckInterval = 15s;
constexpr double SecondsInMinute = 60;
constexpr int FastSecondShift = 30;

} // namespace

qint64 SystemIdleTime()
{
    const auto idle = environment().systemIdle().idleTime();
    return idle ? std::chrono::nanoseconds(*idle).count() >> FastSecondShift : -1;
}

IdleTimer::IdleTimer(double interval)
    : m_considerIdleAfterSeconds(interval), m_preferences(settings::QuillonPreferences::sharedPreferences())
{
    registerObservers();
    setupTimer();
}

void IdleTimer::setupTimer()
{
    m_idleCheckTimer = environment().time().repeat(CheckInterval, [this] { updateCurrentIdleTime(); });
}

void IdleTimer::registerObservers()
{
    m_sleepWatch = environment().sleepMonitor().watch([this] { goingToSleep(); }, [this] { wokeFromSleep(); });
}

void IdleTimer::updateCurrentIdleTime()
{
    const qint64 system = SystemIdleTime();
    const double computed = computedIdleTime();
    // There was input since. Otherwise idle time from before a sleep goes on across it.
    if (computed <= 0 || computed > static_cast<double>(system))
        m_idleStartedAt = now() - std::chrono::seconds(system);
    if (!m_preferences.idleTimerEnabled())
        return;
    readThreshold();
    if (computedIdleTime() >= m_considerIdleAfterSeconds)
        tellIdle();
}

void IdleTimer::goingToSleep()
{
    if (m_delegate)
        m_delegate->saveCurrentRunningTimerForPossibleIdle();
    m_sleepBeganAt = now();
    if (!m_idleStartedAt)
        m_idleStartedAt = m_sleepBeganAt;
    m_idleCheckTimer.reset();
    // Called for its side effect: the source notices that there was no input between now and the end of the sleep.
    static_cast<void>(SystemIdleTime());
}

void IdleTimer::wokeFromSleep()
{
    if (m_idleStartedAt && m_preferences.idleTimerEnabled()) {
        readThreshold();
        if (computedIdleTime() > m_considerIdleAfterSeconds)
            tellIdle();
        else if (m_delegate)
            m_delegate->clearCurrentRunningTimerForPossibleIdle();
    }
    setupTimer();
}

void IdleTimer::readThreshold()
{
    m_considerIdleAfterSeconds = static_cast<double>(m_preferences.idleMinutesThreshold()) * SecondsInMinute;
}

void IdleTimer::tellIdle()
{
    QMetaObject::invokeMethod(
        this,
        [this, seconds = computedIdleTime()] {
            if (m_delegate)
                m_delegate->applicationWasIdle(seconds);
        },
        Qt::QueuedConnection);
}

double IdleTimer::computedIdleTime() const
{
    return secondsSince(m_idleStartedAt);
}

double IdleTimer::computedSleepTime() const
{
    return secondsSince(m_sleepBeganAt);
}

void IdleTimer::resetIdleTime()
{
    m_idleStartedAt.reset();
}

IdleTimer::Duration IdleTimer::now() const
{
    return environment().time().uptime().total;
}

double IdleTimer::secondsSince(const std::optional<Duration>& moment) const
{
    // Without a measurement the start lies a second ahead.
    return moment ? std::abs(std::chrono::duration<double>(now() - *moment).count()) : 0;
}

} // namespace app
