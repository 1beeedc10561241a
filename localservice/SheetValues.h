#pragma once

#include "DateText.h"
#include "Sheet.h"

#include <optional>
#include <string>
#include <string_view>

// Values as people and programs write them into files. Nothing for anything else.

namespace localservice {

/// A date, perhaps with a time of day.
struct When
{
    Day day;
    std::optional<Seconds> clock = {};  ///< since midnight
    std::optional<Seconds> moment = {}; ///< where the zone was given, too
};

/// "2024-03-05", "5.3.2024", "03/05/24", "20240305", "5 Mar 2024"; after it perhaps a time ("09:15", "9:15 PM",
/// "T09:15:30Z", "+01:00"), which becomes this machine's when it has a zone.
std::optional<When> readWhen(std::string_view text, DateOrder order);
/// "9:15", "09:15:30", "9:15 pm": seconds since midnight.
std::optional<Seconds> readClockTime(std::string_view text);
/// "1:30", "1:30:00", "1.5", "1,5", "90m", "1h 30m": seconds.
std::optional<Seconds> readDuration(std::string_view text);
/// "90", "90.5": minutes, as seconds.
std::optional<Seconds> readMinutes(std::string_view text);
/// "yes", "no", "true", "0", "ja", …
std::optional<bool> readYesOrNo(std::string_view text);

struct DateNumbers
{
    int first = 0;
    int second = 0;
    char separator = 0;
};
/// The first two numbers of a date of three.
std::optional<DateNumbers> dateNumbers(std::string_view text);

/// What our own files have: without the apostrophes in front of what a spreadsheet would take for a formula.
std::string withoutApostrophes(const std::string& cell);

} // namespace localservice
