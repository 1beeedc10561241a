#pragma once

#include "platform/TimeSource.h"

#include <QObject>

#include <map>
#include <memory>
#include <span>

namespace model {

/// Watches the hours of running timers for all that show them, so that all of them show the next minute at the same
/// moment. One per run; main thread only.
class HoursClock final : public QObject
{
    Q_OBJECT
public:
    static HoursClock& instance();

    /// From now on `who` shows these hours, which grow with the time; none: it shows no such hours. To be called before
    /// they are written anywhere, so that a minute that begins meanwhile is not missed.
    void watch(const QObject& who, std::span<const double> hours);

signals:
    /// Some hours, as `stringInHoursMinutesFormat` writes them, have changed. Those that caused this are no longer
    /// watched.
    void changed();

private:
    void wait();

    std::map<const QObject*, platform::TimeSource::Duration> m_next; ///< the next change for each: uptime
    std::unique_ptr<platform::TimeSource::Timer> m_timer;
};

} // namespace model
