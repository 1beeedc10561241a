#pragma once

#include "model/QuillonHoursFormatter.h"

#include <QValidator>

namespace editing {

/// Lets into an hours field what its formatter lets stand there.
class HoursValidator final : public QValidator
{
    Q_OBJECT
public:
    using QValidator::QValidator;

    State validate(QString& text, int& /*position*/) const override
    {
        return m_formatter.isPartialStringValid(text) ? Acceptable : Invalid;
    }

private:
    model::QuillonHoursFormatter m_formatter;
};

} // namespace editing
