#include "QuillonHoursFormatter.h"

#include "HoursMinutes.h"

#include <algorithm>

namespace model {

QString QuillonHoursFormatter::stringForObjectValue(const QVariant& value) const
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
        return stringInHoursMinutesFormat(value.toDouble());
    default:
        return {};
    }
}

float QuillonHoursFormatter::getObjectValue(const QString& forString) const
{
    return numberFomStringInHoursMinutesFormat(forString);
}

bool QuillonHoursFormatter::isPartialStringValid(const QString& partial) const
{
    return std::all_of(partial.begin(), partial.end(), [](QChar character) { return character >= u'0' && character <= u':'; });
}

} // namespace model
