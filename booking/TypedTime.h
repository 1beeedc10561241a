#pragma once

#include <QDate>
#include <QString>
#include <QTime>

#include <optional>

namespace booking {

// What people type on a command line. English, whatever the locale; case and surrounding white space do not count.
// Empty: it cannot be read. Any thread.

/// Hours: "1:30", "1.5", "1,5", "90m", "1h30", "1h 30m", ":45". More than zero, at most 24.
std::optional<double> readHours(const QString& text);

/// A time of day, on the 24-hour clock or with am or pm: "9:05", "0905", "17", "9am", "9:05 PM".
std::optional<QTime> readClock(const QString& text);

/// A day: "today", "yesterday", "tomorrow", "2026-11-20", or the last one of a name before today: "monday", "mon".
std::optional<QDate> readDay(const QString& text, QDate today);

/// Both days are part of it.
struct DayRange
{
    QDate first;
    QDate last;
};

/// A day as above, or "week" (from Monday to today), or two days with ".." between them; an empty end means today.
std::optional<DayRange> readDays(const QString& text, QDate today);

} // namespace booking
