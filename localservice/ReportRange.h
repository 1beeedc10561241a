#pragma once

#include "Report.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace localservice {

/// The days from one to another; both count.
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
/// As many whole months later, or earlier with a negative count, where the range is of whole months; else as many
/// times its own length. Nothing where no calendar of ours reaches.
std::optional<DayRange> shifted(const DayRange& range, int count);
/// "5 March 2024", "March 2024", "2024", or from when to when.
std::string nameOf(const DayRange& range);

/// What one bar of a picture stands for.
enum class StepLength
{
    Day,
    Week,
    Month,
    Year,
};

struct Step
{
    DayRange range;      ///< within the one asked for
    std::string name;    ///< in full
    std::string label;   ///< below the bar
    bool marked = false; ///< its label stays where there is little room
    bool quiet = false;  ///< a weekend, or a time that is yet to come
    Amount amount = {};
};

/// So that a picture has few enough bars.
StepLength stepLengthOf(const DayRange& range, const Report& report);
/// All steps in order, also those without hours; of more than a year only from the first to the last that has some.
std::vector<Step> stepsOf(DayRange range, const Report& report, StepLength length, Day today);

} // namespace localservice
