#pragma once

#include "platform/SleepMonitor.h"
#include "platform/TimeSource.h"

#include <QObject>

#include <memory>
#include <optional>

namespace settings {
class QuillonPreferences;
}

namespace app {

/// How long there has been no input, in units of 2^30 nanoseconds that pass for seconds; -1 when that cannot be
/// measured. Dividing by a power of two makes it 7 % short of true seconds: better to ask late than early, and to keep
/// a minute too many than to lose one.
qint64 SystemIdleTime();

/// Receives idle reports.
class IdleTimerDelegate
{
public:
    virtual ~IdleTimerDelegate() = default;
    /// The person has been away for that many seconds, and perhaps still is. Repeats with growing values, each time
    /// from the event loop.
    virtual void applicationWasIdle(double seconds) = 0;
    /// Before the machine sleeps.
    virtual void saveCurrentRunningTimerForPossibleIdle() = 0;
    /// After a sleep that was too short to count.
    virtual void clearCurrentRunningTimerForPossibleIdle() = 0;
};

/// Watches for the person leaving: checks every 15 seconds, and at sleep and wake. The preferences are read at each
/// check. Times are those of a clock that goes on during sleep and cannot be set.
///
/// Main thread only.
class IdleTimer final : public QObject
{
    Q_OBJECT
public:
    /// Starts to watch. The interval (seconds) serves as the threshold until the first check.
    explicit IdleTimer(double interval);

    /// Not owned; receives all reports, if set.
    void setDelegate(IdleTimerDelegate* delegate) { m_delegate = delegate; }

    void setupTimer();
    void registerObservers();
    void updateCurrentIdleTime();
    /// Seconds since the last input; 0 when no idle time is under way.
    double computedIdleTime() const;
    /// Seconds since the machine last went to sleep; 0 when it has not.
    double computedSleepTime() const;
    void resetIdleTime();
    void goingToSleep();
    void wokeFromSleep();

private:
    using Duration = platform::TimeSource::Duration;

    Duration now() const;
    double secondsSince(const std::optional<Duration>& moment) const;
    void readThreshold();
    void tellIdle();

    IdleTimerDelegate* m_delegate = nullptr;
    double m_considerIdleAfterSeconds;
    const settings::QuillonPreferences& m_preferences;
    std::unique_ptr<platform::TimeSource::Timer> m_idleCheckTimer;
    std::unique_ptr<platform::SleepMonitor::Watch> m_sleepWatch;
    std::optional<Duration> m_idleStartedAt; ///< uptime
    std::optional<Duration> m_sleepBeganAt;  ///< uptime
};

} // namespace app
