#pragma once

#include "Report.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace localservice {

/// A range of days, both ends included.
struct DayRange
{
    Day from;
    Day to;

    bool operator==(const DayRange&) const = default;
};

int daysIn(const DayRange& range);
/// From Monday to Sunday.
DayRange thisWeek(Day today);
/// "This week", "Last week", "This month", "Last month" and "This year".
std::vector<std::pair<std::string, DayRange>> namedRanges(Day today);
/// Moved by that many whole months (earlier when negative) if the range consists of whole months; otherwise by that
/// many times its own length. Nothing beyond the supported calendar.
std::optional<DayRange> shifted(const DayRange& range, int count);
/// "5 March 2024", "March 2024", "2024", or from when to when.
std::string nameOf(const DayRange& range);

/// What one bar of a chart stands for.
enum class StepLength
{
    Day,
    Week,
    Month,
    Year,
};

struct Step
{
    DayRange range;      ///< within the requested range
    std::string name;    ///< in full
    std::string label;   ///< its label stays where there is little room
    bool marked = false; ///< its label stays where there is little room
    bool quiet = false;  ///< a weekend, or a time that is yet to come
    Amount amount = {};
};

/// Chosen so that a chart has few enough bars.
StepLength stepLengthOf(const DayRange& range, const Report& report);
/// All steps in order, also those without hours; of more than a year only from the first to the last that has any.
std::vector<Step> stepsOf(DayRange range, const Report& report, StepLength length, Day today);

} // namespace localservice
