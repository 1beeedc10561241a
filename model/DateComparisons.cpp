#include "DateComparisons.h"

#include "platform/Run.h"
#include "platform/TimeSource.h"
#include "store/Utc.h"

namespace model {

QDateTime now()
{
    const auto sinceEpoch = platform::Run::current().environment().time().now().time_since_epoch();
    return QDateTime::fromMSecsSinceEpoch(std::chrono::floor<std::chrono::milliseconds>(sinceEpoch).count(), store::Utc);
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

} // namespace model
