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

/// How long nobody has touched the machine, in units of 2^30 nanoseconds that pass for seconds; -1 when that cannot be
/// measured. Dividing by a power of two makes it 7 % short of true seconds: a person is rather asked late than early,
/// and rather keeps a minute too many than loses one.
qint64 SystemIdleTime();

/// Hears of idleness.
class IdleTimerDelegate
{
public:
    virtual ~IdleTimerDelegate() = default;
    /// The person has been away for so many seconds, and perhaps still is. Comes again and again with more, each time
    /// from the event loop.
    virtual void applicationWasIdle(double seconds) = 0;
    /// Before the machine sleeps.
    virtual void saveCurrentRunningTimerForPossibleIdle() = 0;
    /// After a sleep that was too short to count.
    virtual void clearCurrentRunningTimerForPossibleIdle() = 0;
};

/// Watches for the person leaving: looks every 15 seconds, and at sleep and wake. What the preferences say counts at
/// each look. Times are those of a clock that goes on during sleep and that nobody can put forward or back.
///
/// Main thread only.
class IdleTimer final : public QObject
{
    Q_OBJECT
public:
    /// Begins to watch. The interval (seconds) serves as the threshold until the first look.
    explicit IdleTimer(double interval);

    /// Not owned; hears of everything, if set.
    void setDelegate(IdleTimerDelegate* delegate) { m_delegate = delegate; }

    void setupTimer();
    void registerObservers();
    void updateCurrentIdleTime();
    /// Seconds since the person was there last; 0 when no idle time is under way.
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
