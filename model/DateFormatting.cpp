#include "DateFormatting.h"

#include "DateComparisons.h"

#include "platform/Run.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <QHash>

#include <array>
#include <ctime>
#include <mutex>
#include <optional>

namespace model {

namespace {

/// The locale of every pattern. ICU takes the bare region for an unknown language and falls back to the person's own,
/// in which no text of the wire could be read: it gets the language of that region.
[[maybe_unused]] constexpr const char* kLocaleIdentifier = "US";

struct Pattern
{
    const char* text;
    /// 24-hour values in a 12-hour field are read, too.
    bool lenientCalendar = false;
};

enum PatternIndex
{
    Datetime,
    RailsDatetime,
    Daydate,
    LongDaydate,
    LocalDatetime,
    HoursMinutes,
    MonthDayYear,
    StartedStopped,
    FirstTyped,
    PatternCount = FirstTyped + 6,
};

constexpr std::array<Pattern, PatternCount> kPatterns = {{
    {"EEE, d MMM yyyy HH:mm:ss ZZ"},
    {"yyyy-MM-dd'T'HH:mm:ss'Z'"},
    {"yyyy-MM-dd"},
    {"EEE, d MMM yyyy"},
    {"HH:mma"},
    {"h:mma"},
    {"MMM d, yyyy"},
    {"yyyy-MM-dd hh:mma"},
    {"yyyy-MM-dd h:mma"},
    {"yyyy-MM-dd hmm"},
    {"yyyy-MM-dd h:mm", true},
    {"yyyy-MM-dd H:mma"},
    {"yyyy-MM-dd HHmm"},
    {"yyyy-MM-dd Hmma"},
}};

// The formatters all work in GMT. A local text is read and written as if it were one of GMT, and the C library turns
// the clock time that it names into the moment and back: so there is one source of time zone rules in the program, and
// a change of the system's zone is followed at once. (ICU brings rules of its own, of another age.)

/// The moment of a local clock time; none within the gap of a spring change. The later one, winter time, of the two in
/// an autumn change.
QDateTime fromLocalClock(const QDateTime& clock)
{
    const QDate date = clock.date();
    const QTime time = clock.time();
    for (const int isDst : {0, 1, -1}) {
        std::tm fields{};
        fields.tm_year = date.year() - 1900;
        fields.tm_mon = date.month() - 1;
        fields.tm_mday = date.day();
        fields.tm_hour = time.hour();
        fields.tm_min = time.minute();
        fields.tm_sec = time.second();
        fields.tm_isdst = isDst;
        // Where the zone does not have such a time then, it gives the same moment under other fields.
        const std::time_t seconds = std::mktime(&fields);
        if (fields.tm_mday == date.day() && fields.tm_hour == time.hour() && fields.tm_min == time.minute())
            return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    }
    return {};
}

/// "9:5", "2024-3-05": some releases of ICU read these in a strict pattern, too, others do not.
bool hasLoneDigit(const QString& text)
{
    const auto digitAt = [&](qsizetype i) { return i < text.size() && text.at(i).isDigit(); };
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != u':' && text.at(i) != u'-')
            continue;
        while (i + 1 < text.size() && text.at(i + 1).isSpace())
            ++i;
        if (digitAt(i + 1) && !digitAt(i + 2))
            return true;
    }
    return false;
}

QDateTime toLocalClock(const QDateTime& date)
{
    const QDateTime local = date.toLocalTime();
    return QDateTime(local.date(), local.time(), Qt::UTC);
}

} // namespace

class DateFormatting::Formatters
{
public:
    QDateTime read(PatternIndex index, const QString& text)
    {
        if (text.isEmpty())
            return {};
        const std::lock_guard lock(m_mutex);
        QHash<QString, QDateTime>& known = m_known[index];
        if (const auto found = known.constFind(text); found != known.cend())
            return *found;
        if (text.size() > kLongestKnown)
            return readAnew(index, text);
        if (known.size() >= kKnownTexts)
            known.clear();
        return *known.insert(text, readAnew(index, text));
    }

    QString write(PatternIndex index, const QDateTime& moment)
    {
        if (!moment.isValid())
            return {};
        const std::lock_guard lock(m_mutex);
        icu::SimpleDateFormat* formatter = get(index);
        if (!formatter)
            return {};
        icu::UnicodeString text;
        formatter->format(static_cast<UDate>(moment.toMSecsSinceEpoch()), text);
        return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
    }

private:
    QDateTime readAnew(PatternIndex index, const QString& text)
    {
        // Where a zone follows, a hyphen may be its sign.
        if (index != Datetime && hasLoneDigit(text))
            return {};
        const std::optional<QDateTime> moment = parse(get(index), text, true);
        if (!moment)
            return {};
        if (kPatterns[index].lenientCalendar) {
            // The hour may run over, the day may not.
            const std::optional<QDateTime> day = parse(get(Daydate), text, false);
            if (!day || day->date() != moment->date())
                return {};
        }
        return *moment;
    }

    static std::optional<QDateTime> parse(icu::SimpleDateFormat* formatter, const QString& text, bool whole)
    {
        if (!formatter)
            return std::nullopt;
        // Aliased, not copied.
        const icu::UnicodeString source(false, reinterpret_cast<const char16_t*>(text.utf16()),
                                        static_cast<std::int32_t>(text.size()));
        icu::ParsePosition position(0);
        const UDate date = formatter->parse(source, position);
        // The formatter takes a text with something behind it for good.
        if (position.getErrorIndex() >= 0 || position.getIndex() == 0 ||
            (whole && position.getIndex() != source.length()))
            return std::nullopt;
        return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date), Qt::UTC);
    }

    /// Null when ICU has no data.
    icu::SimpleDateFormat* get(PatternIndex index)
    {
        std::unique_ptr<icu::SimpleDateFormat>& formatter = m_formatters[index];
        if (!formatter) {
            UErrorCode status = U_ZERO_ERROR;
            auto made = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(kPatterns[index].text),
                                                                icu::Locale::getUS(), status);
            if (U_FAILURE(status))
                return nullptr;
            made->adoptTimeZone(icu::TimeZone::getGMT()->clone());
            made->setLenient(false);
            if (kPatterns[index].lenientCalendar)
                made->setCalendarLenient(true);
            formatter = std::move(made);
        }
        return formatter.get();
    }

    std::mutex m_mutex; ///< a formatter is no use to two threads at once
    std::array<std::unique_ptr<icu::SimpleDateFormat>, PatternCount> m_formatters;
    /// What texts were read as. Each refresh brings nearly those of the one before, and reading one anew takes some
    /// ten microseconds. Holds in every time zone, like the formatters.
    std::array<QHash<QString, QDateTime>, PatternCount> m_known;
    static constexpr qsizetype kKnownTexts = 1000;
    static constexpr qsizetype kLongestKnown = 64; ///< what is longer is no date, and would take room for nothing
};

DateFormatting::DateFormatting() : m_formatters(std::make_unique<Formatters>()) {}

DateFormatting::~DateFormatting() = default;

DateFormatting& DateFormatting::instance()
{
    return platform::Run::current().shared<DateFormatting>();
}

QDateTime DateFormatting::dateFromDatetime(const QString& text)
{
    return m_formatters->read(Datetime, text);
}

QDateTime DateFormatting::dateFromRailsDatetime(const QString& text)
{
    return m_formatters->read(RailsDatetime, text);
}

QDateTime DateFormatting::dateFromDaydate(const QString& text)
{
    // Not as the clock time 0:00, which the day may not have.
    return startOfDay(m_formatters->read(Daydate, text).date());
}

QDateTime DateFormatting::dateFromLongDaydate(const QString& text)
{
    return startOfDay(m_formatters->read(LongDaydate, text).date());
}

QDateTime DateFormatting::dateFromStartedStoppedString(const QString& text)
{
    return fromLocalClock(m_formatters->read(StartedStopped, text));
}

QDateTime DateFormatting::dateFromUnvalidatedStartedStoppedString(const QString& text)
{
    for (int index = FirstTyped; index < PatternCount; ++index) {
        // The first pattern that reads the text says what was meant. Where the zone skips that time there is none: a
        // later pattern would take "2:30AM" for half past midnight.
        if (const QDateTime clock = m_formatters->read(static_cast<PatternIndex>(index), text); clock.isValid())
            return fromLocalClock(clock);
    }
    return {};
}

QString DateFormatting::datetimeStringFromDate(const QDateTime& date)
{
    return m_formatters->write(Datetime, date);
}

QString DateFormatting::localDatetimeStringFromDate(const QDateTime& date)
{
    return m_formatters->write(LocalDatetime, toLocalClock(date));
}

QString DateFormatting::daydateStringFromDate(const QDateTime& date)
{
    return m_formatters->write(Daydate, toLocalClock(date));
}

QString DateFormatting::longDaydateStringFromDate(const QDateTime& date)
{
    return m_formatters->write(LongDaydate, toLocalClock(date));
}

QString DateFormatting::monthDayYearStringFromDate(const QDateTime& date)
{
    return m_formatters->write(MonthDayYear, toLocalClock(date));
}

QString DateFormatting::hoursMinutesStringFromDate(const QDateTime& date)
{
    return m_formatters->write(HoursMinutes, toLocalClock(date));
}

} // namespace model
