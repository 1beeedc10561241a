#pragma once

#include "model/QuillonHoursFormatter.h"

#include <QString>
#include <QValidator>

class QLineEdit;

namespace editing {

/// Makes a field for hours of a line of text: it takes digits and colons only, and shows "h:mm" when it is left.
///
/// What it cannot take it refuses whole, a paste as well as a key or what assistive technology sets. A number without a
/// colon in which a key was refused, as in "1.5", is no number of hours: left like that, the field shows what it had
/// before. Owned by the field.
class HoursInput final : public QValidator
{
    Q_OBJECT
public:
    /// `whenEmpty`: what the field shows when it is left without text.
    HoursInput(QLineEdit& field, const QString& whenEmpty);

    /// For the program's own texts. What was refused before is forgotten.
    void setText(const QString& text);
    /// The person is through with the field.
    void endEditing();
    /// Whether what the field has may be sent. False once when something was refused and nothing typed since, which may
    /// not have been seen yet: the field then has the focus, with what it would send selected.
    bool mayBeSent();
    /// Something was refused, and nothing typed since.
    bool hasRefused() const { return m_refusal != Refusal::None; }
    void forgetRefusal();

    State validate(QString& text, int& position) const override;

signals:
    /// To be said, perhaps once more.
    void refused() const;
    /// That is past.
    void accepted();

private:
    enum class Refusal
    {
        None,
        TypingOn, ///< perhaps without having seen it
        Left,
        Told, ///< when the hours were to be sent
    };

    bool canTake(const QString& text) const;
    void textDidChange(const QString& text);

    QLineEdit& m_field;
    const QString m_whenEmpty;
    model::QuillonHoursFormatter m_formatter;
    QString m_before; ///< when the person came to the field
    QString m_text;   ///< the last that could be taken
    mutable Refusal m_refusal = Refusal::None;
    bool m_own = false; ///< the text is being set by this object
};

} // namespace editing
