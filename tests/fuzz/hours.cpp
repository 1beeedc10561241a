#include "Fuzz.h"

#include "model/HoursMinutes.h"
#include "model/QuillonHoursFormatter.h"

#include "localservice/DateText.h"
#include "localservice/EntryFields.h"
#include "pages/Page.h"

#include <cmath>

// Hours as people and the wire write them, by the program and by the service.
void takeIn(std::string_view text)
{
    const QString typed = fuzz::string(text);
    const model::QuillonHoursFormatter field;
    const float hours = field.getObjectValue(typed);
    MUST(std::isfinite(hours));
    MUST(!field.isPartialStringValid(typed) || hours >= 0);
    if (std::abs(hours) < 10'000) {
        const QString shown = field.stringForObjectValue(hours);
        MUST(field.stringForObjectValue(field.getObjectValue(shown)) == shown);
    }

    for (const auto read : {localservice::readHours(text), localservice::readTypedHours(text)}) {
        MUST(!read || (*read >= 0 && *read < 3e6));
        if (!read || *read > 1e5)
            continue;
        const auto seconds = static_cast<localservice::Seconds>(std::llround(*read * 3600));
        const auto sent = localservice::readHours(localservice::hoursText(seconds));
        MUST(sent && std::llround(*sent * 3600) == seconds);
        const auto minutes = localservice::hoursMinutes(seconds);
        const auto again = localservice::readTypedHours(minutes);
        MUST(again && localservice::hoursMinutes(std::llround(*again * 3600)) == minutes);
    }
}
