#pragma once

#include <QString>

namespace model {

/// Hours as "h:mm". A fraction that rounds up to a full hour shows as 00 minutes of the same hour.
QString stringInHoursMinutesFormat(double hours);

/// Hours from "h:mm" or a decimal number, in single precision; zero from anything else.
float numberFomStringInHoursMinutesFormat(const QString& text);

/// The number at the beginning of the string, after whitespace, else zero. The decimal separator is the full stop.
double doubleValue(QStringView text);
float floatValue(QStringView text);

} // namespace model
