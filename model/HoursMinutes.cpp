#include "HoursMinutes.h"

#include <QByteArray>

#include <charconv>
#include <cmath>
#include <limits>

namespace model {

namespace {

/// Truncates; beyond the range of int to the nearest one.
int toInt(double number)
{
    if (std::isnan(number))
        return 0;
    if (number >= std::numeric_limits<int>::max())
        return std::numeric_limits<int>::max();
    if (number <= std::numeric_limits<int>::min())
        return std::numeric_limits<int>::min();
    return static_cast<int>(number);
}

/// Beyond the range of float to the nearest one.
float toFloat(double number)
{
    constexpr double most = std::numeric_limits<float>::max();
    return static_cast<float>(std::fmin(std::fmax(number, -most), most));
}

} // namespace

QString stringInHoursMinutesFormat(double hours)
{
    const int h = toInt(hours);
    int m = toInt(std::round(static_cast<float>((hours - h) * 60.0)));
    // No carry: 1.999 hours show as 1:00.
    if (m != 0 && m % 60 == 0)
        m = 0;
    return QString::asprintf("%d:%02d", h, m);
}

float numberFomStringInHoursMinutesFormat(const QString& text)
{
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0)
        return floatValue(text);
    const QStringView rest = QStringView(text).mid(colon + 1);
    const qsizetype end = rest.indexOf(u':');
    const double minutes = floatValue(end < 0 ? rest : rest.left(end));
    return toFloat(static_cast<double>(floatValue(QStringView(text).left(colon))) + minutes / 60.0);
}

double doubleValue(QStringView text)
{
    const QByteArray number = text.trimmed().toLatin1();
    const char* begin = number.constData();
    const char* const end = begin + number.size();
    const bool isPositive = begin != end && *begin == '+';
    const char* digits = begin != end && (isPositive || *begin == '-') ? begin + 1 : begin;
    // Otherwise "inf" and "nan" would be numbers, too.
    if (digits == end || (*digits != '.' && (*digits < '0' || *digits > '9')))
        return 0;
    double value = 0;
    // An exponent without digits is not part of the number; one out of range leaves zero.
    std::from_chars(isPositive ? digits : begin, end, value);
    return value;
}

float floatValue(QStringView text)
{
    return toFloat(doubleValue(text));
}

} // namespace model
