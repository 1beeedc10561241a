#include "DateText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace localservice {

using namespace std::chrono;

namespace {

// Never through a locale: the wire is English whatever the machine's language.
constexpr std::array<std::string_view, 7> Weekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                   "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> Months{"January",   "February", "March",    "April",
                                                  "May",       "June",     "July",     "August",
                                                  "September", "October",  "November", "December"};

// Calculations with anything larger would overflow a number of seconds.
constexpr double MostHours = 1e6;

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
bool isLetter(char c)
{
    return lower(c) >= 'a' && lower(c) <= 'z';
}
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}
bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

template <typename... Values>
std::string formatted(const char* pattern, Values... values)
{
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

/// What a pattern has found in a string, in order.
struct Scanned
{
    std::array<int, 7> numbers{};
    std::array<std::string, 2> words; ///< in lower case
};

/// In the pattern, "n" is a number of one or two digits, "y" one of up to four, "w" a word, which may be empty, a space
/// any amount of whitespace, and a character after "?" is optional. The whole string must match.
std::optional<Scanned> scan(std::string_view text, std::string_view pattern)
{
    Scanned found;
    auto number = found.numbers.begin();
    auto word = found.words.begin();
    for (auto wanted = pattern.begin(); wanted != pattern.end(); ++wanted) {
        const auto take = [&](auto fits, std::size_t most = std::string_view::npos) {
            const auto end = std::find_if_not(text.begin(), text.begin() + std::min(most, text.size()), fits);
            const auto piece = text.substr(0, static_cast<std::size_t>(end - text.begin()));
            text.remove_prefix(piece.size());
            return piece;
        };
        if (*wanted == ' ') {
            take(isBlank);
        } else if (*wanted == 'w') {
            std::ranges::transform(take(isLetter), std::back_inserter(*word++), lower);
        } else if (*wanted == 'n' || *wanted == 'y') {
            const auto digits = take(isDigit, *wanted == 'n' ? 2 : 4);
            if (std::from_chars(digits.data(), digits.data() + digits.size(), *number++).ec != std::errc{})
                return {};
        } else {
            const bool mayMiss = *wanted == '?';
            const char c = mayMiss ? *++wanted : *wanted;
            if (take([c](char next) { return next == c; }, 1).empty() && !mayMiss)
                return {};
        }
    }
    return text.empty() ? std::optional(found) : std::nullopt;
}

constexpr const char* LongDay = " w?.?, n w y ";

std::optional<Day> valid(int year, int month, int day)
{
    const Day result = std::chrono::year{year} / month / day;
    return result.ok() && year >= 1900 && year <= 9999 ? std::optional(result) : std::nullopt;
}

std::optional<Day> longDayIn(const Scanned& found)
{
    const auto month = std::ranges::find_if(Months, [&](std::string_view name) {
        return std::ranges::equal(name.substr(0, 3), found.words[1], {}, lower);
    });
    return month == Months.end()
               ? std::nullopt
               : valid(found.numbers[1], static_cast<int>(month - Months.begin()) + 1, found.numbers[0]);
}

std::string dayText(Day day, std::size_t letters)
{
    const auto weekday = Weekdays[std::chrono::weekday{sys_days{day}}.c_encoding()];
    return std::string(weekday.substr(0, letters)) + ", " + dayNumber(day) + " " + monthName(day).substr(0, letters) +
           " " + yearNumber(day);
}

std::tm localTime(Seconds moment)
{
    const std::time_t time = moment;
    std::tm parts{};
    ::localtime_r(&time, &parts);
    return parts;
}

} // namespace

Day localDay(Seconds moment)
{
    const auto parts = localTime(moment);
    return year{parts.tm_year + 1900} / (parts.tm_mon + 1) / parts.tm_mday;
}

Minutes localMinutes(Seconds moment)
{
    const auto parts = localTime(moment);
    return parts.tm_hour * 60 + parts.tm_min;
}

Seconds momentOf(Day day, Minutes minutes)
{
    std::tm parts{};
    parts.tm_year = int{day.year()} - 1900;
    parts.tm_mon = static_cast<int>(unsigned{day.month()}) - 1;
    parts.tm_mday = static_cast<int>(unsigned{day.day()});
    parts.tm_hour = minutes / 60;
    parts.tm_min = minutes % 60;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

std::string localZoneName()
{
    constexpr std::string_view folder = "/zoneinfo/";
    if (const char* zone = std::getenv("TZ"); zone && *zone)
        return *zone == ':' ? zone + 1 : zone;
    std::error_code error;
    const std::string target = std::filesystem::canonical("/etc/localtime", error).string();
    const auto at = target.find(folder);
    return at == std::string::npos ? "UTC" : target.substr(at + folder.size());
}

Day plus(Day day, int count)
{
    return std::chrono::sys_days(day) + std::chrono::days(count);
}

std::optional<Day> dayOfYear(std::int64_t number, std::int64_t year)
{
    if (year < 1900 || year > 9999 || number < 1 || number > 366)
        return {};
    const std::chrono::year wanted{static_cast<int>(year)};
    const Day day{sys_days{wanted / January / 1} + days{number - 1}};
    return day.year() == wanted ? std::optional(day) : std::nullopt;
}

std::string dayNumber(Day day)
{
    return std::to_string(unsigned{day.day()});
}

std::string monthName(Day day)
{
    return std::string(Months[unsigned{day.month()} - 1]);
}

std::string yearNumber(Day day)
{
    return std::to_string(int{day.year()});
}

std::string isoDayText(Day day)
{
    return formatted("%04d-%02u-%02u", int{day.year()}, unsigned{day.month()}, unsigned{day.day()});
}

std::string longDayText(Day day)
{
    return dayText(day, 3);
}

std::string dayInWords(Day day)
{
    return dayText(day, std::string::npos);
}

std::string daysInWords(Day first, Day last)
{
    const std::string end = dayNumber(last) + " " + monthName(last) + " " + yearNumber(last);
    if (first == last)
        return end;
    std::string text = dayNumber(first);
    if (first.year() != last.year() || first.month() != last.month())
        text += " " + monthName(first);
    if (first.year() != last.year())
        text += " " + yearNumber(first);
    return text + " – " + end;
}

std::string momentText(Seconds moment)
{
    const sys_seconds time{seconds{moment}};
    const auto day = floor<days>(time);
    const hh_mm_ss clock{time - day};
    return longDayText(day) + formatted(" %02ld:%02ld:%02ld +0000", long{clock.hours().count()},
                                        long{clock.minutes().count()}, long{clock.seconds().count()});
}

std::string clockText(Minutes minutes)
{
    const hours hour{minutes / 60 % 24};
    return formatted("%ld:%02d%s", long{make12(hour).count()}, minutes % 60, is_am(hour) ? "am" : "pm");
}

std::string hoursMinutes(Seconds seconds)
{
    const Seconds minutes = (seconds + 30) / 60;
    return formatted("%ld:%02ld", long{minutes / 60}, long{minutes % 60});
}

std::string hoursText(Seconds seconds)
{
    std::string text = formatted("%.4f", static_cast<double>(seconds) / 3600.0);
    while (text.back() == '0' && text[text.size() - 2] != '.')
        text.pop_back();
    return text;
}

std::optional<Day> readDay(std::string_view text)
{
    if (const auto iso = scan(text, " y-n-n "))
        return valid(iso->numbers[0], iso->numbers[1], iso->numbers[2]);
    const auto words = scan(text, LongDay);
    return words ? longDayIn(*words) : std::nullopt;
}

std::optional<Seconds> readMoment(std::string_view text)
{
    constexpr std::string_view zone = "GMT";
    if (text.ends_with(zone))
        return readMoment(std::string(text.substr(0, text.size() - zone.size())) + "+0000");
    const std::string upToSign = LongDay + std::string("n:n:n ");
    const auto east = scan(text, upToSign + "+n?:n ");
    const auto found = east ? east : scan(text, upToSign + "-n?:n ");
    const auto day = found ? longDayIn(*found) : std::nullopt;
    if (!day)
        return {};
    const auto [dayOfMonth, year, hour, minute, second, offsetHours, offsetMinutes] = found->numbers;
    if (hour > 23 || minute > 59 || second > 60)
        return {};
    const auto offset = (east ? 1 : -1) * (hours{offsetHours} + minutes{offsetMinutes});
    return (sys_days{*day} + hours{hour} + minutes{minute} + seconds{second} - offset).time_since_epoch().count();
}

std::optional<Minutes> readClock(std::string_view text)
{
    const auto found = scan(text, " n:n w ");
    if (!found || found->numbers[1] > 59)
        return {};
    const auto [hour, minute] = std::pair(found->numbers[0], found->numbers[1]);
    const auto& half = found->words[0];
    if (half.empty())
        return hour < 24 ? std::optional(hour * 60 + minute) : std::nullopt;
    if ((half != "am" && half != "pm") || hour < 1 || hour > 12)
        return {};
    return (hour % 12 + (half == "pm" ? 12 : 0)) * 60 + minute;
}

std::optional<double> readHours(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    double hours = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), hours, std::chars_format::fixed);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(hours) || hours < 0)
        return {};
    return std::min(hours, MostHours);
}

} // namespace localservice
