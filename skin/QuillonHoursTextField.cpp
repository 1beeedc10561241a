#include "skin/QuillonHoursTextField.h"

#include <QFocusEvent>

namespace skin {

bool QuillonHoursTextField::becomeFirstResponder()
{
    m_asked = true;
    setFocus(Qt::OtherFocusReason);
    m_asked = false;
    announce();
    return hasFocus();
}

void QuillonHoursTextField::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    const bool givenBack = event->reason() == Qt::ActiveWindowFocusReason || event->reason() == Qt::PopupFocusReason;
    if (!m_asked && !givenBack)
        announce();
}

void QuillonHoursTextField::announce()
{
    if (m_delegate)
        m_delegate->quillonHoursDidBecomeFirstResponder(*this);
    emit didBecomeFirstResponder(this);
}

} // namespace skin
