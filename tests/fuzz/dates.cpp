#include "Fuzz.h"

#include "../model/ModelRun.h"

#include "model/DateFormatting.h"

#include "localservice/DateText.h"

namespace {

using model::DateFormatting;

/// What was read is written so that it reads as the same.
void roundTrip(const QString& text, QDateTime (DateFormatting::*read)(const QString&),
               QString (DateFormatting::*write)(const QDateTime&))
{
    DateFormatting& dates = DateFormatting::instance();
    const QDateTime date = (dates.*read)(text);
    if (date.isValid() && date.date().year() >= 1900 && date.date().year() < 10'000)
        MUST((dates.*read)((dates.*write)(date)) == date);
}

} // namespace

// Moments, days and clock times: those of answers, those that people type, and the same at the service.
void takeIn(std::string_view text)
{
    static const Zone zone("Europe/Berlin");
    static support::TestRun run;
    DateFormatting& dates = DateFormatting::instance();
    const QString typed = fuzz::string(text);
    roundTrip(typed, &DateFormatting::dateFromDatetime, &DateFormatting::datetimeStringFromDate);
    roundTrip(typed, &DateFormatting::dateFromDaydate, &DateFormatting::daydateStringFromDate);
    roundTrip(typed, &DateFormatting::dateFromLongDaydate, &DateFormatting::longDaydateStringFromDate);
    dates.dateFromRailsDatetime(typed);
    const QString day = QStringLiteral("2024-03-31 "); // without the hour from two to three
    const QDateTime clock = dates.dateFromUnvalidatedStartedStoppedString(day + typed);
    if (clock.isValid()) {
        MUST(dates.daydateStringFromDate(clock) == day.trimmed());
        MUST(dates.dateFromStartedStoppedString(day + dates.hoursMinutesStringFromDate(clock)) == clock);
    }

    if (const auto read = localservice::readDay(text)) {
        MUST(localservice::readDay(localservice::isoDayText(*read)) == read);
        MUST(localservice::readDay(localservice::longDayText(*read)) == read);
    }
    // From 1900 to 9999 in GMT as well.
    const auto moment = localservice::readMoment(text);
    if (moment && *moment > -2'208'988'800 && *moment < 253'402'300'800) {
        const std::string written = localservice::momentText(*moment);
        MUST(localservice::readMoment(written) == moment);
        MUST(dates.dateFromDatetime(fuzz::string(written)).toSecsSinceEpoch() == *moment);
    }
    if (const auto minutes = localservice::readClock(text))
        MUST(*minutes >= 0 && *minutes < 24 * 60 &&
             localservice::readClock(localservice::clockText(*minutes)) == minutes);
}
