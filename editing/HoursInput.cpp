#include "editing/HoursInput.h"

#include <QLineEdit>
#include <QScopedValueRollback>

namespace editing {

namespace {

constexpr qsizetype LongestHours = 9; ///< longer hours make no sense

bool isOneDigitMore(const QString& text, const QString& before)
{
    return text.size() == before.size() + 1 && text.count(u':') == before.count(u':');
}

} // namespace

HoursInput::HoursInput(QLineEdit& field, const QString& whenEmpty)
    : QValidator(&field), m_field(field), m_whenEmpty(whenEmpty), m_before(field.text()), m_text(m_before)
{
    field.setValidator(this);
    connect(&field, &QLineEdit::textChanged, this, &HoursInput::textDidChange);
}

void HoursInput::setText(const QString& text)
{
    const QScopedValueRollback own(m_own, true);
    m_before = m_text = text;
    if (m_field.text() != text)
        m_field.setText(text);
    forgetRefusal();
}

void HoursInput::forgetRefusal()
{
    if (!hasRefused())
        return;
    m_refusal = Refusal::None;
    emit accepted();
}

void HoursInput::endEditing()
{
    QString typed = m_field.text();
    if (m_refusal == Refusal::TypingOn) {
        m_refusal = Refusal::Left;
        // "1:30h" is an hour and a half; the 15 left of "1.5" and the 90 of "90m" were never meant as hours.
        if (!typed.contains(u':'))
            typed = m_before;
    }
    const QString shown =
        typed.isEmpty() ? m_whenEmpty : m_formatter.stringForObjectValue(m_formatter.getObjectValue(typed));
    const QScopedValueRollback own(m_own, true);
    m_before = m_text = shown;
    if (m_field.text() != shown)
        m_field.setText(shown);
}

bool HoursInput::mayBeSent()
{
    if (m_refusal == Refusal::None || m_refusal == Refusal::Told)
        return true;
    endEditing();
    m_refusal = Refusal::Told;
    m_field.setFocus(Qt::OtherFocusReason);
    m_field.selectAll();
    emit refused();
    return false;
}

QValidator::State HoursInput::validate(QString& text, int& /*position*/) const
{
    if (m_own || text == m_text || canTake(text))
        return Acceptable;
    m_refusal = Refusal::TypingOn;
    emit refused();
    return Invalid;
}

bool HoursInput::canTake(const QString& text) const
{
    // The program's own texts may be longer, and may be shortened.
    return m_formatter.isPartialStringValid(text) && (text.size() <= LongestHours || text.size() < m_text.size());
}

void HoursInput::textDidChange(const QString& text)
{
    if (m_own)
        return;
    if (text != m_text && !canTake(text)) {
        // Assistive technology sets text regardless of the validator.
        const QScopedValueRollback own(m_own, true);
        m_field.setText(m_text);
        return;
    }
    const bool typesOn = m_refusal == Refusal::TypingOn && isOneDigitMore(text, m_text);
    m_text = text;
    if (!typesOn)
        forgetRefusal();
}

} // namespace editing
