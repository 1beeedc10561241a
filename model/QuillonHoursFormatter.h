#pragma once

#include <QString>
#include <QVariant>

namespace model {

/// How the hours fields show and read hours.
class QuillonHoursFormatter
{
public:
    /// "h:mm" of a number; null for anything else.
    QString stringForObjectValue(const QVariant& value) const;
    /// Hours. Accepts any string, never fails.
    float getObjectValue(const QString& forString) const;
    /// May stand in the field while the person types: digits and colons only.
    bool isPartialStringValid(const QString& partial) const;
};

} // namespace model
