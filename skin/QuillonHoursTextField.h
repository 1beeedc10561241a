#pragma once

#include <QLineEdit>

namespace skin {

class QuillonHoursTextField;

/// Is notified when the hours field gets the keyboard focus.
class HoursTextFieldDelegate
{
public:
    virtual void quillonHoursDidBecomeFirstResponder(QuillonHoursTextField& field) = 0;

protected:
    ~HoursTextFieldDelegate() = default;
};

/// A field for hours that reports when it gets the keyboard focus: first to its delegate, then to all other listeners.
///
/// A window that becomes active again, or a menu that closes, gives the focus back without an announcement.
class QuillonHoursTextField final : public QLineEdit
{
    Q_OBJECT
public:
    using QLineEdit::QLineEdit;

    /// Not owned; null for none.
    void setDelegate(HoursTextFieldDelegate* delegate) { m_delegate = delegate; }

    /// Takes the focus. Reported whether or not it succeeded; returns whether it has the focus now.
    bool becomeFirstResponder();

signals:
    void didBecomeFirstResponder(skin::QuillonHoursTextField* field);

protected:
    void focusInEvent(QFocusEvent* event) override;

private:
    void announce();

    HoursTextFieldDelegate* m_delegate = nullptr;
    bool m_asked = false;
};

} // namespace skin
