#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace localservice {

/// Returns the present moment. Called from several threads.
using Clock = std::function<std::chrono::system_clock::time_point()>;

using Day = std::chrono::year_month_day;
/// Seconds since 1970, UTC.
using Seconds = std::int64_t;
/// Minutes since midnight, local time.
using Minutes = int;

/// Calendar day and clock time of a moment in the machine's zone.
Day localDay(Seconds moment);
Minutes localMinutes(Seconds moment);
/// The moment of a local clock time on a day.
Seconds momentOf(Day day, Minutes minutes);
/// The IANA name of the machine's zone, "UTC" when unknown.
std::string localZoneName();

/// So many days later, or earlier when negative.
Day plus(Day day, int count);
/// The day of that number (1 = 1 January) in the year, if there is one.
std::optional<Day> dayOfYear(std::int64_t number, std::int64_t year);

std::string dayNumber(Day day);   ///< "5"
std::string monthName(Day day);   ///< "March"
std::string yearNumber(Day day);  ///< "2024"
std::string isoDayText(Day day);  ///< "2024-03-05"
std::string longDayText(Day day); ///< "Tue, 5 Mar 2024"
std::string dayInWords(Day day);  ///< "Tuesday, 5 March 2024", for people
/// "4 – 10 March 2024", "26 February – 3 March 2024", "5 March 2024": what both days have in common is said once.
std::string daysInWords(Day first, Day last);
std::string momentText(Seconds moment);    ///< "Tue, 5 Mar 2024 08:15:00 +0000"
std::string clockText(Minutes minutes);    ///< "9:15am"
std::string hoursMinutes(Seconds seconds); ///< "1:30", to the nearest minute
std::string hoursText(Seconds seconds);    ///< hours with up to four decimals, at least one: "1.5", "0.0833"

/// Reads "Tue, 5 Mar 2024" (the weekday may be missing or wrong) and "2024-03-05".
std::optional<Day> readDay(std::string_view text);
/// Reads the form of momentText, with any offset, and that of HTTP (RFC 9110, section 5.6.7).
std::optional<Seconds> readMoment(std::string_view text);
/// Reads "9:15am", "09:15 AM" and "21:15".
std::optional<Minutes> readClock(std::string_view text);
/// Reads a non-negative decimal number of hours. Absurdly large ones become a million.
std::optional<double> readHours(std::string_view text);

} // namespace localservice
