#include "SheetValues.h"

#include "EntryFields.h"
#include "Report.h"

#include <array>
#include <charconv>
#include <cmath>

namespace localservice {

namespace {

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

/// Takes digits off the front.
std::optional<int> takeNumber(std::string_view& text, std::size_t mostDigits)
{
    std::size_t digits = 0;
    while (digits < text.size() && digits <= mostDigits && text[digits] >= '0' && text[digits] <= '9')
        ++digits;
    int number = 0;
    if (digits == 0 || digits > mostDigits)
        return {};
    std::from_chars(text.data(), text.data() + digits, number);
    text.remove_prefix(digits);
    return number;
}

bool take(std::string_view& text, char c)
{
    if (!text.starts_with(c))
        return false;
    text.remove_prefix(1);
    return true;
}

std::optional<Day> dayOf(int year, int month, int day)
{
    const Day result{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                     std::chrono::day(static_cast<unsigned>(day))};
    return result.ok() ? std::optional(result) : std::nullopt;
}

struct Numbers
{
    std::array<int, 3> value{};
    bool isFirstLong = false; ///< four digits
    bool isLastLong = false;
    char separator = 0;
};

std::optional<Numbers> takeNumbers(std::string_view& text)
{
    Numbers numbers;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto before = text.size();
        const auto number = takeNumber(text, 4);
        if (!number)
            return {};
        numbers.value[i] = *number;
        numbers.isFirstLong = i == 0 ? before - text.size() == 4 : numbers.isFirstLong;
        numbers.isLastLong = i == 2 && before - text.size() == 4;
        if (i == 2)
            break;
        if (text.empty() || std::string_view("-./").find(text.front()) == std::string_view::npos ||
            (i == 1 && text.front() != numbers.separator))
            return {};
        numbers.separator = text.front();
        text.remove_prefix(1);
        while (text.starts_with(' '))
            text.remove_prefix(1);
    }
    return numbers;
}

std::optional<Day> takeDay(std::string_view& text, DateOrder order)
{
    // "20240305"
    if (text.size() >= 8 && text.substr(0, 8).find_first_not_of("0123456789") == std::string_view::npos) {
        const auto part = [&](std::size_t at, std::size_t size) {
            std::string_view digits = text.substr(at, size);
            return *takeNumber(digits, size);
        };
        const auto day = dayOf(part(0, 4), part(4, 2), part(6, 2));
        text.remove_prefix(8);
        return day;
    }
    auto rest = text;
    if (const auto numbers = takeNumbers(rest)) {
        auto [one, two, three] = numbers->value;
        text = rest;
        if (numbers->isFirstLong)
            return dayOf(one, two, three);
        if (!numbers->isLastLong && order == DateOrder::YearFirst)
            return dayOf(2000 + one, two, three);
        const int year = numbers->isLastLong ? three : three < 70 ? 2000 + three : three < 100 ? 1900 + three : -1;
        return year < 0 ? std::nullopt : order == DateOrder::MonthFirst ? dayOf(year, one, two) : dayOf(year, two, one);
    }
    if (const auto day = readDay(text)) {
        text = {};
        return day;
    }
    return {};
}

std::optional<Seconds> takeClock(std::string_view& text)
{
    Seconds seconds = 0;
    std::optional<int> hour;
    std::optional<int> minute;
    // "081500" after a compact date
    if (const auto compact = takeNumber(text, 6); compact && (text.empty() || text.front() != ':')) {
        hour = *compact / 10000;
        minute = *compact / 100 % 100;
        seconds = *compact % 100;
    } else if (compact && *compact < 100) {
        hour = compact;
        minute = take(text, ':') ? takeNumber(text, 2) : std::nullopt;
    }
    if (!hour || !minute)
        return {};
    if (take(text, ':')) {
        const auto number = takeNumber(text, 2);
        if (!number)
            return {};
        seconds = *number;
        if (take(text, '.') || take(text, ','))
            takeNumber(text, 9);
    }
    while (text.starts_with(' '))
        text.remove_prefix(1);
    int hours = *hour;
    const int minutes = *minute;
    if (text.size() >= 2 && (text[1] | 0x20) == 'm' && ((text[0] | 0x20) == 'a' || (text[0] | 0x20) == 'p')) {
        if (hours < 1 || hours > 12)
            return {};
        hours = hours % 12 + ((text[0] | 0x20) == 'p' ? 12 : 0);
        text.remove_prefix(2);
    }
    if (hours > 23 || minutes > 59 || seconds > 59)
        return {};
    return Seconds{3600} * hours + Seconds{60} * minutes + seconds;
}

/// Seconds east of UTC, where the text goes on with a zone.
std::optional<Seconds> takeZone(std::string_view& text)
{
    if (take(text, 'Z'))
        return 0;
    if (!text.starts_with('+') && !text.starts_with('-'))
        return {};
    const int sign = text.front() == '-' ? -1 : 1;
    auto rest = text.substr(1);
    const auto hours = takeNumber(rest, 2);
    take(rest, ':');
    const auto minutes = takeNumber(rest, 2);
    if (!hours || !minutes || *hours > 14 || *minutes > 59)
        return {};
    text = rest;
    return sign * (Seconds{3600} * *hours + Seconds{60} * *minutes);
}

} // namespace

std::optional<When> readWhen(std::string_view text, DateOrder order)
{
    text = trimmed(text);
    const auto day = takeDay(text, order);
    if (!day)
        return {};
    When when{*day};
    if (text.empty())
        return when;
    if (!take(text, 'T')) {
        const auto blanks = text.find_first_not_of(" ,");
        if (blanks == 0 || blanks == std::string_view::npos)
            return {};
        text.remove_prefix(blanks);
    }
    when.clock = takeClock(text);
    if (!when.clock)
        return {};
    if (const auto zone = takeZone(text)) {
        when.moment =
            std::chrono::sys_seconds(std::chrono::sys_days(*day)).time_since_epoch().count() + *when.clock - *zone;
        when.day = localDay(*when.moment);
        when.clock = Seconds{60} * localMinutes(*when.moment) + (*when.moment % 60 + 60) % 60;
    }
    return trimmed(text).empty() ? std::optional(when) : std::nullopt;
}

std::optional<Seconds> readClockTime(std::string_view text)
{
    text = trimmed(text);
    if (text.find(':') == std::string_view::npos)
        return {};
    const auto clock = takeClock(text);
    return clock && trimmed(text).empty() ? clock : std::nullopt;
}

std::optional<Seconds> readDuration(std::string_view text)
{
    text = trimmed(text);
    // "1:30:00", which people do not type
    if (auto rest = text; const auto hours = takeNumber(rest, 4)) {
        const auto minutes = take(rest, ':') ? takeNumber(rest, 2) : std::nullopt;
        const auto seconds = minutes && take(rest, ':') ? takeNumber(rest, 2) : std::nullopt;
        if (seconds && rest.empty() && *minutes < 60 && *seconds < 60)
            return Seconds{3600} * *hours + Seconds{60} * *minutes + *seconds;
    }
    const auto hours = readTypedHours(text);
    return hours && *hours <= 10000 ? std::optional<Seconds>(std::llround(*hours * 3600)) : std::nullopt;
}

std::optional<Seconds> readMinutes(std::string_view text)
{
    std::string number(trimmed(text));
    if (const auto comma = number.find(','); comma != std::string::npos)
        number[comma] = '.';
    const auto minutes = readHours(number);
    return minutes && *minutes <= 600000 ? std::optional<Seconds>(std::llround(*minutes * 60)) : std::nullopt;
}

std::optional<bool> readYesOrNo(std::string_view text)
{
    std::string word(trimmed(text));
    for (char& c : word)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    if (word == "yes" || word == "true" || word == "1" || word == "y" || word == "ja" || word == "billable")
        return true;
    if (word == "no" || word == "false" || word == "0" || word == "n" || word == "nein" || word == "not billable")
        return false;
    return {};
}

std::optional<DateNumbers> dateNumbers(std::string_view text)
{
    text = trimmed(text);
    const auto numbers = takeNumbers(text);
    if (!numbers)
        return {};
    return DateNumbers{numbers->isFirstLong ? 9999 : numbers->value[0], numbers->value[1], numbers->separator};
}

std::string withoutApostrophes(const std::string& cell)
{
    // Those without which the file would have the same cell.
    std::string text = cell;
    int tries = 100;
    for (auto at = text.find('\''); at != std::string::npos && --tries > 0; at = text.find('\'', at)) {
        std::string without = text;
        without.erase(at, 1);
        std::string again = csvCell(without);
        if (again.starts_with('"')) {
            again = again.substr(1, again.size() - 2);
            for (auto mark = again.find("\"\""); mark != std::string::npos; mark = again.find("\"\"", mark + 1))
                again.erase(mark, 1);
        }
        if (again == cell)
            text = std::move(without);
        else
            ++at;
    }
    return text;
}

} // namespace localservice
