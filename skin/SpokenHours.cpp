#include "skin/SpokenHours.h"

#include <QCoreApplication>
#include <QStringList>

#include <cmath>

using namespace Qt::StringLiterals;

namespace skin {

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("SpokenHours", text);
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
    // With a clock behind the service's the minus precedes the minutes: "0:-3".
    if (hours < 0 || minutes < 0)
        words << tr("minus");
    if (hours != 0)
        words << (std::abs(hours) == 1 ? tr("%1 hour") : tr("%1 hours")).arg(std::abs(hours));
    if (minutes != 0 || hours == 0)
        words << (std::abs(minutes) == 1 ? tr("%1 minute") : tr("%1 minutes")).arg(std::abs(minutes));
    return words.join(u' ');
}

} // namespace skin
