#pragma once

#include <QDateTime>
#include <QString>

#include <memory>

namespace platform {
class Run;
}

namespace model {

/// Converts every date that goes over the wire or is typed, from and to a string.
///
/// Patterns are Unicode date patterns (UTS 35), strings are English whatever the person's language. Local times follow
/// a change of the system's time zone. Readers take the whole string or nothing: an invalid QDateTime means no match,
/// else it is in UTC. Writers return a null QString for an invalid date. Any thread.
class DateFormatting
{
public:
    static DateFormatting& instance();
    ~DateFormatting();
    DateFormatting(const DateFormatting&) = delete;
    DateFormatting& operator=(const DateFormatting&) = delete;

    /// "Tue, 5 Mar 2024 09:13:00 +0000"
    QDateTime dateFromDatetime(const QString& text) { return read(Datetime, text); }
    /// "2024-03-05T09:13:00Z"
    QDateTime dateFromRailsDatetime(const QString& text) { return read(RailsDatetime, text); }
    /// "2024-03-05": the start of that local day.
    QDateTime dateFromDaydate(const QString& text) { return readDay(Daydate, text); }
    /// "Tue, 5 Mar 2024": the start of that local day.
    QDateTime dateFromLongDaydate(const QString& text) { return readDay(LongDaydate, text); }
    /// "2024-03-05 09:15am", local
    QDateTime dateFromStartedStoppedString(const QString& text);
    /// A day ("2024-03-05"), one space and a clock time as people type it, local: "9:15AM", "9:15", "0915", "17:00", …
    QDateTime dateFromUnvalidatedStartedStoppedString(const QString& text);

    /// "Tue, 5 Mar 2024 09:13:00 +0000", always GMT
    QString datetimeStringFromDate(const QDateTime& date) { return write(Datetime, date); }
    /// "09:13AM", local
    QString localDatetimeStringFromDate(const QDateTime& date) { return writeLocal(LocalDatetime, date); }
    /// "2024-03-05", local
    QString daydateStringFromDate(const QDateTime& date) { return writeLocal(Daydate, date); }
    /// "Tue, 5 Mar 2024", local
    QString longDaydateStringFromDate(const QDateTime& date) { return writeLocal(LongDaydate, date); }
    /// "Mar 5, 2024", local
    QString monthDayYearStringFromDate(const QDateTime& date) { return writeLocal(MonthDayYear, date); }
    /// "9:13AM", local
    QString hoursMinutesStringFromDate(const QDateTime& date) { return writeLocal(HoursMinutes, date); }

    /// Forgets what strings were read as, which makes reading them again quick.
    void releaseMemory();

private:
    friend class platform::Run;
    class Formatters;
    enum Pattern
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

    DateFormatting();

    // In GMT, local clock times as if they were GMT.
    QDateTime read(Pattern pattern, const QString& text);
    QString write(Pattern pattern, const QDateTime& moment);

    QDateTime readDay(Pattern pattern, const QString& text);
    QString writeLocal(Pattern pattern, const QDateTime& moment);

    std::unique_ptr<Formatters> m_formatters;
};

} // namespace model
