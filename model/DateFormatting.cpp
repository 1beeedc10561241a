#include "DateFormatting.h"

#include "DateComparisons.h"

#include "platform/Run.h"
#include "store/Utc.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <QHash>

#include <array>
#include <ctime>
#include <mutex>
#include <optional>
#include <utility>

namespace model {

namespace {

// In the order of `DateFormatting::Pattern`.
constexpr const char16_t* Patterns[] = {
    u"EEE, d MMM yyyy HH:mm:ss ZZ",
    u"yyyy-MM-dd'T'HH:mm:ss'Z'",
    u"yyyy-MM-dd",
    u"EEE, d MMM yyyy",
    u"HH:mma",
    u"h:mma",
    u"MMM d, yyyy",
    u"yyyy-MM-dd hh:mma",
    u"yyyy-MM-dd h:mma",
    u"yyyy-MM-dd hmm",
    u"yyyy-MM-dd h:mm",
    u"yyyy-MM-dd H:mma",
    u"yyyy-MM-dd HHmm",
    u"yyyy-MM-dd Hmma",
};

/// How `Datetime` is written, and as a rule read. ICU's own way with zones takes half a megabyte.
constexpr const char16_t* DatetimeInGmt = u"EEE, d MMM yyyy HH:mm:ss '+0000'";

// The formatter works in GMT. A local time is read and written as if it were GMT, and the C library converts
// between it and the moment: so the program has one source of time zone rules, and follows a change of the system's
// zone at once. (ICU has rules of its own, of another age.)

/// The moment of a local clock time; none within the gap of a spring change. Of two in an autumn change the later one,
/// winter time.
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
        // Where the zone skips that time, it returns the same moment with other fields.
        const std::time_t seconds = std::mktime(&fields);
        if (fields.tm_mday == date.day() && fields.tm_hour == time.hour() && fields.tm_min == time.minute())
            return QDateTime::fromSecsSinceEpoch(seconds, store::Utc);
    }
    return {};
}

/// "9:5", "2024-3-05": some releases of ICU read these even with a strict pattern, others do not.
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

} // namespace

class DateFormatting::Formatters
{
    static_assert(std::size(Patterns) == PatternCount);

public:
    QDateTime read(Pattern index, const QString& text)
    {
        if (text.isEmpty())
            return {};
        const std::lock_guard lock(m_mutex);
        if (text.size() > LongestKnown)
            return readAnew(index, text);
        Known& known = m_known[index];
        // A refresh of a large day reads hundreds again and again, of a small one five: by then all have come once more.
        if (++known.reads > 2 * known.lately.size() + LeastReads) {
            known.before = std::exchange(known.lately, {});
            known.reads = 0;
        }
        if (const auto found = known.lately.constFind(text); found != known.lately.cend())
            return *found;
        const auto before = known.before.constFind(text);
        return *known.lately.insert(text, before != known.before.cend() ? *before : readAnew(index, text));
    }

    void releaseMemory()
    {
        const std::lock_guard lock(m_mutex);
        m_known = {};
    }

    QString write(Pattern index, const QDateTime& moment)
    {
        if (!moment.isValid())
            return {};
        const std::lock_guard lock(m_mutex);
        icu::SimpleDateFormat* formatter = get(index == Datetime ? DatetimeInGmt : Patterns[index]);
        if (!formatter)
            return {};
        icu::UnicodeString text;
        formatter->format(static_cast<UDate>(moment.toMSecsSinceEpoch()), text);
        return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
    }

private:
    QDateTime readAnew(Pattern index, const QString& text)
    {
        // A hyphen where a zone follows may be the zone's sign.
        if (index != Datetime && hasLoneDigit(text))
            return {};
        std::optional<QDateTime> moment;
        if (index == Datetime && text.endsWith(u"+0000"))
            moment = parse(get(DatetimeInGmt), text, true);
        if (!moment)
            moment = parse(get(Patterns[index], index == Lenient), text, true);
        if (!moment)
            return {};
        if (index == Lenient) {
            // The hour may overflow, the day may not.
            const std::optional<QDateTime> day = parse(get(Patterns[Daydate]), text, false);
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
        // The formatter accepts trailing text.
        if (position.getErrorIndex() >= 0 || position.getIndex() == 0 ||
            (whole && position.getIndex() != source.length()))
            return std::nullopt;
        return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date), store::Utc);
    }

    /// Null when ICU has no data. One formatter takes each pattern in turn: every one has month names, number formats
    /// and a number parser of its own, thirty kilobytes.
    icu::SimpleDateFormat* get(const char16_t* pattern, bool mayOverflow = false)
    {
        if (!m_formatter) {
            UErrorCode status = U_ZERO_ERROR;
            // For the bare region "US" ICU would use an unknown language and fall back to the person's own, in which no
            // date of the wire could be read.
            auto made =
                std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), icu::Locale::getUS(), status);
            if (U_FAILURE(status))
                return nullptr;
            made->adoptTimeZone(icu::TimeZone::getGMT()->clone());
            made->setLenient(false);
            m_formatter = std::move(made);
            m_pattern = pattern;
        }
        if (std::exchange(m_pattern, pattern) != pattern)
            m_formatter->applyPattern(icu::UnicodeString(pattern));
        m_formatter->setCalendarLenient(mayOverflow);
        return m_formatter.get();
    }

    /// For "yyyy-MM-dd h:mm": 24-hour values are also read in a 12-hour field.
    static constexpr int Lenient = FirstTyped + 2;

    std::mutex m_mutex; ///< a formatter is not thread-safe
    std::unique_ptr<icu::SimpleDateFormat> m_formatter;
    const char16_t* m_pattern = nullptr; ///< that it has
    /// What strings were read as. A refresh brings nearly the same ones as the one before, and parsing one takes some
    /// ten microseconds. Holds in every time zone, as the formatter does.
    struct Known
    {
        QHash<QString, QDateTime> lately, before;
        qsizetype reads = 0; ///< since what was not read meanwhile has been forgotten
    };
    std::array<Known, PatternCount> m_known;
    static constexpr qsizetype LeastReads = 64;
    static constexpr qsizetype LongestKnown = 64; ///< anything longer is not a date, and would waste space
};

DateFormatting::DateFormatting() : m_formatters(std::make_unique<Formatters>()) {}

DateFormatting::~DateFormatting() = default;

DateFormatting& DateFormatting::instance()
{
    return platform::Run::current().shared<DateFormatting>();
}

void DateFormatting::releaseMemory()
{
    m_formatters->releaseMemory();
}

QDateTime DateFormatting::read(Pattern pattern, const QString& text)
{
    return m_formatters->read(pattern, text);
}

QDateTime DateFormatting::readDay(Pattern pattern, const QString& text)
{
    // Not as clock time 0:00, which the day may not have.
    return startOfDay(read(pattern, text).date());
}

QString DateFormatting::write(Pattern pattern, const QDateTime& moment)
{
    return m_formatters->write(pattern, moment);
}

QString DateFormatting::writeLocal(Pattern pattern, const QDateTime& moment)
{
    const QDateTime local = moment.toLocalTime();
    return write(pattern, QDateTime(local.date(), local.time(), store::Utc));
}

QDateTime DateFormatting::dateFromStartedStoppedString(const QString& text)
{
    return fromLocalClock(read(StartedStopped, text));
}

QDateTime DateFormatting::dateFromUnvalidatedStartedStoppedString(const QString& text)
{
    for (int index = FirstTyped; index < PatternCount; ++index) {
        // The first pattern that matches decides. Where the zone skips that time there is no result: a later pattern
        // would take "2:30AM" for half past midnight.
        if (const QDateTime clock = read(static_cast<Pattern>(index), text); clock.isValid())
            return fromLocalClock(clock);
    }
    return {};
}

} // namespace model
