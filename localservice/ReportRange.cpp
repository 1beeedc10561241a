#include "ReportRange.h"

#include <algorithm>

namespace localservice {

namespace {

using namespace std::chrono;

constexpr int MostDays = 62;
constexpr int LongYear = 400;
constexpr int MostMonthsInDays = 5 * 366;

Day monday(Day day)
{
    return plus(day, 1 - static_cast<int>(weekday(sys_days(day)).iso_encoding()));
}

Day lastOf(year_month month)
{
    return Day{year_month_day_last(month.year(), month_day_last(month.month()))};
}

DayRange whole(year_month month)
{
    return {Day(month / 1), lastOf(month)};
}

year_month monthOf(Day day)
{
    return day.year() / day.month();
}

bool isOfWholeMonths(const DayRange& range)
{
    return range.from.day() == 1d && range.to == lastOf(monthOf(range.to));
}

Day endOfStep(Day first, StepLength length)
{
    switch (length) {
    case StepLength::Day:
        break;
    case StepLength::Week:
        return plus(monday(first), 6);
    case StepLength::Month:
        return lastOf(monthOf(first));
    case StepLength::Year:
        return first.year() / December / 31;
    }
    return first;
}

/// Of more than a year, the part that has hours.
DayRange shown(const DayRange& range, const Report& report)
{
    if (daysIn(range) <= LongYear || report.days.empty())
        return range;
    return {std::max(range.from, report.days.begin()->first), std::min(range.to, report.days.rbegin()->first)};
}

void label(Step& step, StepLength length, int count)
{
    const Day first = step.range.from;
    const bool isMonday = weekday(sys_days(first)) == Monday;
    switch (length) {
    case StepLength::Day:
        step.name = longDayText(first);
        step.label = (count <= 7 ? step.name.substr(0, 3) + " " : "") + dayNumber(first);
        step.marked = count <= 7 || isMonday;
        break;
    case StepLength::Week:
        step.name = nameOf(step.range);
        // The week in which a month begins is marked.
        step.marked = first.day() == 1d || monthOf(first) != monthOf(step.range.to);
        if (count <= 10)
            step.label = dayNumber(first) + " " + monthName(first).substr(0, 3);
        else if (step.marked)
            step.label = monthName(step.range.to).substr(0, 3);
        break;
    case StepLength::Month:
        step.name = nameOf(step.range);
        step.marked = first.month() == January;
        step.label = step.marked ? yearNumber(first) : count <= 24 ? monthName(first).substr(0, 3) : std::string();
        break;
    case StepLength::Year:
        step.name = nameOf(step.range);
        step.label = yearNumber(first);
        step.marked = true;
    }
}

} // namespace

int daysIn(const DayRange& range)
{
    return static_cast<int>((sys_days(range.to) - sys_days(range.from)).count()) + 1;
}

DayRange thisWeek(Day today)
{
    return {monday(today), plus(monday(today), 6)};
}

std::vector<std::pair<std::string, DayRange>> namedRanges(Day today)
{
    const auto week = thisWeek(today);
    const auto month = monthOf(today);
    return {{"This week", week},
            {"Last week", {plus(week.from, -7), plus(week.to, -7)}},
            {"This month", whole(month)},
            {"Last month", whole(month - months(1))},
            {"This year", {today.year() / January / 1, today.year() / December / 31}}};
}

std::optional<DayRange> shifted(const DayRange& range, int count)
{
    DayRange result = range;
    if (isOfWholeMonths(range)) {
        const auto length = (monthOf(range.to) - monthOf(range.from)) + months(1);
        result = {Day((monthOf(range.from) + length * count) / 1), lastOf(monthOf(range.to) + length * count)};
    } else {
        result = {plus(range.from, count * daysIn(range)), plus(range.to, count * daysIn(range))};
    }
    // The years that a date field can send and that can be read back.
    return result.from.year() >= 1900y && result.to.year() <= 9999y ? std::optional(result) : std::nullopt;
}

std::string nameOf(const DayRange& range)
{
    const auto& [from, to] = range;
    if (from == from.year() / January / 1 && to == from.year() / December / 31)
        return yearNumber(from);
    if (range == whole(monthOf(from)))
        return monthName(from) + " " + yearNumber(from);
    return daysInWords(from, to);
}

StepLength stepLengthOf(const DayRange& range, const Report& report)
{
    const int count = daysIn(shown(range, report));
    return count <= MostDays           ? StepLength::Day
           : count <= LongYear         ? StepLength::Week
           : count <= MostMonthsInDays ? StepLength::Month
                                       : StepLength::Year;
}

std::vector<Step> stepsOf(DayRange range, const Report& report, StepLength length, Day today)
{
    range = shown(range, report);
    std::vector<Step> steps;
    for (Day first = range.from; first <= range.to;) {
        const Day last = std::min(endOfStep(first, length), range.to);
        Step step{{first, last}, {}, {}};
        const bool weekend = length == StepLength::Day && weekday(sys_days(first)).iso_encoding() > 5;
        step.quiet = weekend || first > today;
        for (auto day = report.days.lower_bound(first); day != report.days.end() && day->first <= last; ++day)
            step.amount += day->second;
        steps.push_back(std::move(step));
        first = plus(last, 1);
    }
    for (auto& step : steps)
        label(step, length, static_cast<int>(steps.size()));
    return steps;
}

} // namespace localservice
