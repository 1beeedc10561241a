#include "DateComparisons.h"

#include "platform/Run.h"
#include "platform/TimeSource.h"
#include "store/Utc.h"

namespace model {

QDateTime now()
{
    const auto sinceEpoch = platform::Run::current().environment().time().now().time_since_epoch();
    return QDateTime::fromMSecsSinceEpoch(std::chrono::floor<std::chrono::milliseconds>(sinceEpoch).count(),
                                          store::Utc);
}

QDate localDay(const QDateTime& date)
{
    return date.toLocalTime().date();
}

QDateTime startOfDay(QDate day)
{
    return day.startOfDay().toUTC();
}

QDateTime dateWithDayPrecision(const QDateTime& date)
{
    return startOfDay(localDay(date));
}

bool sameDayAs(const QDateTime& date, const QDateTime& other)
{
    return date.isValid() && other.isValid() && localDay(date) == localDay(other);
}

QDateTime wallClock(const QDateTime& moment)
{
    const QDateTime local = moment.toLocalTime();
    const bool begins = local.time() == QTime(0, 0) || moment == startOfDay(local.date());
    return {local.date(), begins ? QTime(0, 0) : local.time(), store::Utc};
}

QDateTime momentOf(const QDateTime& wallClock)
{
    if (wallClock.time() == QTime(0, 0))
        return startOfDay(wallClock.date());
    // Times that the clock leaves out in spring have a moment, too, but no UTC of their own.
    const QDateTime local(wallClock.date(), wallClock.time());
    return wallClock.isValid() ? QDateTime::fromMSecsSinceEpoch(local.toMSecsSinceEpoch(), store::Utc) : QDateTime();
}

} // namespace model
