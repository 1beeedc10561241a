#pragma once

#include "model/QuillonHoursFormatter.h"

#include <QString>
#include <QValidator>

class QLineEdit;

namespace editing {

/// Turns a line edit into a field for hours, which takes digits and colons only and shows "h:mm" when it is left.
///
/// Anything else is rejected as a whole, whether typed, pasted or set by assistive technology. A number without a colon
/// in which a key was rejected, as in "1.5", is not a number of hours: when left like that, the field goes back to what
/// it showed before. Owned by the field.
class HoursInput final : public QValidator
{
    Q_OBJECT
public:
    /// `whenEmpty`: what the field shows when it is left without text.
    HoursInput(QLineEdit& field, const QString& whenEmpty);

    /// For what the program itself shows. Forgets earlier rejections.
    void setText(const QString& text);
    /// The person has left the field.
    void endEditing();
    /// Whether the field's hours may be sent. False once after something was rejected and nothing typed since, as that
    /// may have gone unnoticed: the field then has the focus, and what it would send is selected.
    bool mayBeSent();
    /// Something was rejected, and nothing typed since.
    bool hasRefused() const { return m_refusal != Refusal::None; }
    void forgetRefusal();

    State validate(QString& text, int& position) const override;

signals:
    /// Something was rejected, perhaps again.
    void refused() const;
    /// The rejection no longer matters.
    void accepted();

private:
    enum class Refusal
    {
        None,
        TypingOn, ///< perhaps without having noticed
        Left,
        Told, ///< when the hours were to be sent
    };

    bool canTake(const QString& text) const;
    void textDidChange(const QString& text);

    QLineEdit& m_field;
    const QString m_whenEmpty;
    model::QuillonHoursFormatter m_formatter;
    QString m_before; ///< when the person entered the field
    QString m_text;   ///< the last that could be taken
    mutable Refusal m_refusal = Refusal::None;
    bool m_own = false; ///< this object is setting the text
};

} // namespace editing
