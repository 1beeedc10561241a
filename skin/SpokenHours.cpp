#include "skin/SpokenHours.h"

#include <QStringList>

#include <cmath>

using namespace Qt::StringLiterals;

namespace skin {
namespace {

QString counted(int count, QLatin1StringView one)
{
    return u"%1 %2%3"_s.arg(count).arg(one, count == 1 ? ""_L1 : "s"_L1);
}

} // namespace

QString spokenHours(const QString& text)
{
    const QStringList parts = text.split(u':');
    bool hoursRead = false;
    bool minutesRead = false;
    const int hours = parts.value(0).toInt(&hoursRead);
    const int minutes = parts.value(1).toInt(&minutesRead);
    if (parts.size() != 2 || !hoursRead || !minutesRead)
        return text;
    QStringList words;
    // With a clock behind the service's the sign stands before the minutes: "0:-3".
    if (hours < 0 || minutes < 0)
        words << u"minus"_s;
    if (hours != 0)
        words << counted(std::abs(hours), "hour"_L1);
    if (minutes != 0 || hours == 0)
        words << counted(std::abs(minutes), "minute"_L1);
    return words.join(u' ');
}

} // namespace skin
