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

namespace {

// Never through a locale: the wire speaks English whatever the machine speaks.
constexpr std::array<std::string_view, 7> weekdays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 7> wholeWeekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                        "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> wholeMonths{"January",   "February", "March",    "April",
                                                       "May",       "June",     "July",     "August",
                                                       "September", "October",  "November", "December"};

// What is worked out with more would not fit into a number of seconds.
constexpr double mostHours = 1e6;

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}
bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Takes one piece after the other from the front of a text.
class Reader
{
public:
    explicit Reader(std::string_view text) : m_rest(text) { skipBlanks(); }

    void skipBlanks()
    {
        while (!m_rest.empty() && isBlank(m_rest.front()))
            m_rest.remove_prefix(1);
    }

    bool atEnd()
    {
        skipBlanks();
        return m_rest.empty();
    }

    bool take(char wanted)
    {
        if (m_rest.empty() || m_rest.front() != wanted)
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    std::optional<int> number(std::size_t most)
    {
        std::size_t length = 0;
        while (length < most && length < m_rest.size() && isDigit(m_rest[length]))
            ++length;
        int value = 0;
        if (length == 0 || std::from_chars(m_rest.data(), m_rest.data() + length, value).ec != std::errc{})
            return {};
        m_rest.remove_prefix(length);
        return value;
    }

    /// One of two digits behind that sign.
    std::optional<int> numberAfter(char sign) { return take(sign) ? number(2) : std::optional<int>(); }

    std::string word()
    {
        std::string letters;
        while (!m_rest.empty() && lower(m_rest.front()) >= 'a' && lower(m_rest.front()) <= 'z') {
            letters += lower(m_rest.front());
            m_rest.remove_prefix(1);
        }
        return letters;
    }

private:
    std::string_view m_rest;
};

std::optional<Day> valid(int year, int month, int day)
{
    const Day result{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                     std::chrono::day{static_cast<unsigned>(day)}};
    return result.ok() && year >= 1900 && year <= 9999 ? std::optional(result) : std::nullopt;
}

std::optional<Day> readLongDay(Reader& reader)
{
    std::string word = reader.word();
    reader.take('.');
    reader.take(',');
    reader.skipBlanks();
    const auto day = reader.number(2);
    reader.skipBlanks();
    word = reader.word();
    reader.skipBlanks();
    const auto year = reader.number(4);
    if (!day || !year)
        return {};
    for (std::size_t i = 0; i < months.size(); ++i) {
        const auto name = months[i];
        if (word.size() == 3 && word[0] == lower(name[0]) && word[1] == name[1] && word[2] == name[2])
            return valid(*year, static_cast<int>(i) + 1, *day);
    }
    return {};
}

std::tm localTime(Seconds moment)
{
    const std::time_t time = moment;
    std::tm parts{};
    ::localtime_r(&time, &parts);
    return parts;
}

template <typename... Values>
std::string formatted(const char* pattern, Values... values)
{
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

int yearOf(Day day)
{
    return static_cast<int>(day.year());
}
unsigned monthOf(Day day)
{
    return static_cast<unsigned>(day.month());
}
unsigned dayOf(Day day)
{
    return static_cast<unsigned>(day.day());
}

} // namespace

Day localDay(Seconds moment)
{
    const auto parts = localTime(moment);
    return Day{std::chrono::year{parts.tm_year + 1900}, std::chrono::month{static_cast<unsigned>(parts.tm_mon + 1)},
               std::chrono::day{static_cast<unsigned>(parts.tm_mday)}};
}

Minutes localMinutes(Seconds moment)
{
    const auto parts = localTime(moment);
    return parts.tm_hour * 60 + parts.tm_min;
}

Seconds momentOf(Day day, Minutes minutes)
{
    std::tm parts{};
    parts.tm_year = yearOf(day) - 1900;
    parts.tm_mon = static_cast<int>(monthOf(day)) - 1;
    parts.tm_mday = static_cast<int>(dayOf(day));
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

std::optional<Day> dayOfYear(int number, int year)
{
    if (year < 1900 || year > 9999 || number < 1 || number > 366)
        return {};
    using namespace std::chrono;
    const Day day{sys_days{std::chrono::year{year} / January / 1} + days{number - 1}};
    return yearOf(day) == year ? std::optional(day) : std::nullopt;
}

std::string isoDayText(Day day)
{
    return formatted("%04d-%02u-%02u", yearOf(day), monthOf(day), dayOf(day));
}

std::string longDayText(Day day)
{
    const std::chrono::weekday weekday{std::chrono::sys_days{day}};
    return formatted("%s, %u %s %d", weekdays[weekday.c_encoding()].data(), dayOf(day), months[monthOf(day) - 1].data(),
                     yearOf(day));
}

std::string dayInWords(Day day)
{
    const std::chrono::weekday weekday{std::chrono::sys_days{day}};
    return formatted("%s, %u %s %d", wholeWeekdays[weekday.c_encoding()].data(), dayOf(day),
                     wholeMonths[monthOf(day) - 1].data(), yearOf(day));
}

std::string daysInWords(Day first, Day last)
{
    std::string text = formatted("%u", dayOf(first));
    if (yearOf(first) != yearOf(last))
        text += formatted(" %s %d", wholeMonths[monthOf(first) - 1].data(), yearOf(first));
    else if (monthOf(first) != monthOf(last))
        text += formatted(" %s", wholeMonths[monthOf(first) - 1].data());
    return text + formatted(" – %u %s %d", dayOf(last), wholeMonths[monthOf(last) - 1].data(), yearOf(last));
}

std::string momentText(Seconds moment)
{
    const auto days = std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds{std::chrono::seconds{moment}});
    const int rest = static_cast<int>(moment - std::chrono::seconds{days.time_since_epoch()}.count());
    return longDayText(Day{days}) + formatted(" %02d:%02d:%02d +0000", rest / 3600, rest / 60 % 60, rest % 60);
}

std::string clockText(Minutes minutes)
{
    const int hour = minutes / 60 % 24;
    return formatted("%d:%02d%s", hour % 12 == 0 ? 12 : hour % 12, minutes % 60, hour < 12 ? "am" : "pm");
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
    Reader iso(text);
    const auto year = iso.number(4);
    if (year && iso.take('-')) {
        const auto month = iso.number(2);
        const auto day = iso.numberAfter('-');
        return month && day && iso.atEnd() ? valid(*year, *month, *day) : std::nullopt;
    }
    Reader words(text);
    const auto day = readLongDay(words);
    return words.atEnd() ? day : std::nullopt;
}

std::optional<Seconds> readMoment(std::string_view text)
{
    Reader reader(text);
    const auto day = readLongDay(reader);
    reader.skipBlanks();
    const auto hour = reader.number(2);
    const auto minute = reader.numberAfter(':');
    const auto second = reader.numberAfter(':');
    reader.skipBlanks();
    const bool west = reader.take('-');
    const bool east = !west && reader.take('+');
    const auto offsetHours = reader.number(2);
    reader.take(':');
    const auto offsetMinutes = reader.number(2);
    if (!day || !hour || !minute || !second || (!west && !east) || !offsetHours || !offsetMinutes || !reader.atEnd())
        return {};
    if (*hour > 23 || *minute > 59 || *second > 60)
        return {};
    const Seconds days = std::chrono::sys_days{*day}.time_since_epoch().count();
    const Seconds offset = (west ? -1 : 1) * (*offsetHours * 3600 + *offsetMinutes * 60);
    return days * 86400 + *hour * 3600 + *minute * 60 + *second - offset;
}

std::optional<Minutes> readClock(std::string_view text)
{
    Reader reader(text);
    const auto hour = reader.number(2);
    const auto minute = reader.numberAfter(':');
    reader.skipBlanks();
    const auto half = reader.word();
    if (!hour || !minute || *minute > 59 || !reader.atEnd())
        return {};
    if (half.empty())
        return *hour < 24 ? std::optional(*hour * 60 + *minute) : std::nullopt;
    if ((half != "am" && half != "pm") || *hour < 1 || *hour > 12)
        return {};
    return (*hour % 12 + (half == "pm" ? 12 : 0)) * 60 + *minute;
}

std::optional<double> readHours(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    double hours = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), hours, std::chars_format::fixed);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size() || !std::isfinite(hours) || hours < 0)
        return {};
    return std::min(hours, mostHours);
}

} // namespace localservice
