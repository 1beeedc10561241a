#pragma once

#include <QDate>
#include <QDateTime>

namespace model {

/// The present moment by the run's clock, in UTC, to the millisecond. Any thread.
QDateTime now();

/// The local calendar day of a moment; invalid for an invalid one.
QDate localDay(const QDateTime& date);

/// The first moment of a local day, in UTC; later than midnight on a day that has none.
QDateTime startOfDay(QDate day);

/// The first moment of the local day of `date`, in UTC.
QDateTime dateWithDayPrecision(const QDateTime& date);

/// Both are in the same local calendar day.
bool sameDayAs(const QDateTime& date, const QDateTime& other);

/// The local date and time of a moment, written as if in UTC. Days and times of day are stored like this: they are the
/// same in whatever time zone they are read, and `momentOf` finds their moment in the present one.
QDateTime wallClock(const QDateTime& moment);
QDateTime momentOf(const QDateTime& wallClock);

} // namespace model
