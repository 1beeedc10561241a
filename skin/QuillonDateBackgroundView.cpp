#include "skin/QuillonDateBackgroundView.h"

#include <QMouseEvent>

namespace skin {

QuillonDateBackgroundView::QuillonDateBackgroundView(QWidget* parent) : QWidget(parent)
{
    setCursor(Qt::PointingHandCursor);
}

void QuillonDateBackgroundView::mousePressEvent(QMouseEvent* event)
{
    // Accepted, or the release would go elsewhere.
    event->setAccepted(event->button() == Qt::LeftButton);
}

void QuillonDateBackgroundView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    if (m_delegate)
        m_delegate->quillonDateFieldClicked(*this);
    emit clicked(this);
}

} // namespace skin
