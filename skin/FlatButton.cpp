#include "skin/FlatButton.h"

#include <QKeyEvent>

namespace skin {

FlatButton::FlatButton(double radius, QWidget* parent) : QAbstractButton(parent), m_ring(*this, radius)
{
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
}

void FlatButton::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter)
        QAbstractButton::keyPressEvent(event);
    else if (!event->isAutoRepeat())
        click();
}

} // namespace skin
