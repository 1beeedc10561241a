#include "booking/TypedTime.h"

#include <QRegularExpression>

#include <array>

namespace booking {

using namespace Qt::StringLiterals;

namespace {

constexpr double MostHours = 24;

QRegularExpressionMatch match(const QString& pattern, const QString& text)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text);
}

QString plain(const QString& text)
{
    return text.trimmed().toLower();
}

/// An empty number counts as zero; only ASCII digits are matched above.
double number(const QRegularExpressionMatch& match, const QString& name)
{
    return match.captured(name).replace(u',', u'.').toDouble();
}

} // namespace

std::optional<double> readHours(const QString& text)
{
    const QString typed = plain(text);
    std::optional<double> hours;
    if (const auto clock = match(u"(?<h>[0-9]{0,3}):(?<m>[0-5][0-9])"_s, typed); clock.hasMatch())
        hours = number(clock, u"h"_s) + number(clock, u"m"_s) / 60;
    else if (const auto decimal = match(u"(?<h>[0-9]{1,3}([.,][0-9]{1,4})?|[.,][0-9]{1,4})h?"_s, typed);
             decimal.hasMatch())
        hours = number(decimal, u"h"_s);
    else if (const auto units = match(u"((?<h>[0-9]{1,3})h ?)?(?<m>[0-9]{1,4})(m|min)?"_s, typed); units.hasMatch())
        hours = number(units, u"h"_s) + number(units, u"m"_s) / 60;
    return hours && *hours > 0 && *hours <= MostHours ? hours : std::nullopt;
}

std::optional<QTime> readClock(const QString& text)
{
    const QString typed = plain(text);
    auto read = match(u"(?<h>[0-9]{1,2})(:(?<m>[0-5][0-9]))?( ?(?<half>[ap])\\.?m\\.?)?"_s, typed);
    if (!read.hasMatch())
        read = match(u"(?<h>[0-9]{1,2})(?<m>[0-5][0-9])( ?(?<half>[ap])\\.?m\\.?)?"_s, typed);
    if (!read.hasMatch())
        return std::nullopt;
    int hour = read.captured(u"h"_s).toInt();
    if (const QString half = read.captured(u"half"_s); !half.isEmpty()) {
        if (hour < 1 || hour > 12)
            return std::nullopt;
        hour = hour % 12 + (half == "p"_L1 ? 12 : 0);
    }
    const QTime time(hour, read.captured(u"m"_s).toInt());
    return time.isValid() ? std::optional(time) : std::nullopt;
}

std::optional<QDate> readDay(const QString& text, QDate today)
{
    const QString typed = plain(text);
    if (typed == "today"_L1)
        return today;
    if (typed == "yesterday"_L1)
        return today.addDays(-1);
    if (typed == "tomorrow"_L1)
        return today.addDays(1);
    static constexpr std::array Weekdays{"monday"_L1, "tuesday"_L1,  "wednesday"_L1, "thursday"_L1,
                                         "friday"_L1, "saturday"_L1, "sunday"_L1};
    for (int i = 0; i < 7; ++i) {
        const QLatin1StringView name = Weekdays[static_cast<std::size_t>(i)];
        if (typed != name && typed != name.first(3))
            continue;
        const int back = (today.dayOfWeek() - (i + 1) + 6) % 7 + 1;
        return today.addDays(-back);
    }
    if (!match(u"[0-9]{4}-[0-9]{2}-[0-9]{2}"_s, typed).hasMatch())
        return std::nullopt;
    const QDate day = QDate::fromString(typed, Qt::ISODate);
    return day.isValid() ? std::optional(day) : std::nullopt;
}

std::optional<DayRange> readDays(const QString& text, QDate today)
{
    const QString typed = plain(text);
    if (typed.isEmpty())
        return DayRange{today, today};
    if (typed == "week"_L1)
        return DayRange{today.addDays(1 - today.dayOfWeek()), today};
    const qsizetype dots = typed.indexOf(".."_L1);
    if (dots < 0) {
        const auto day = readDay(typed, today);
        return day ? std::optional(DayRange{*day, *day}) : std::nullopt;
    }
    const auto first = readDay(typed.left(dots), today);
    const QString end = typed.mid(dots + 2);
    const auto last = end.isEmpty() ? std::optional(today) : readDay(end, today);
    return first && last && *first <= *last ? std::optional(DayRange{*first, *last}) : std::nullopt;
}

} // namespace booking
