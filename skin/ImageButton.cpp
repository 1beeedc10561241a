#include "skin/ImageButton.h"

#include <QFocusEvent>
#include <QPainter>

namespace skin {

ImageButton::ImageButton(Image normal, Image alternate, QWidget* parent)
    : QAbstractButton(parent), m_normal(normal), m_alternate(alternate), m_ring(*this, normal.size().height() / 2)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
}

void ImageButton::setImages(Image normal, Image alternate)
{
    m_normal = normal;
    m_alternate = alternate;
    updateGeometry();
    update();
}

QSize ImageButton::sizeHint() const
{
    return m_normal.size().toSize();
}

bool ImageButton::event(QEvent* event)
{
    if (event->type() == QEvent::HoverEnter || event->type() == QEvent::HoverLeave)
        update();
    return QAbstractButton::event(event);
}

void ImageButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(0.4);
    shownImage().drawAtPoint(painter, {0, 0});
    if (isEnabled() && underMouse() && !isDown()) {
        const QSizeF size = m_normal.size();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(128, 128, 128, 32));
        painter.drawEllipse(QRectF(QPointF(1, 1), size - QSizeF(2, 2)));
    }
}

void ImageButton::focusInEvent(QFocusEvent* event)
{
    QAbstractButton::focusInEvent(event);
    m_ring.setShown(showsFocus(event->reason()));
}

void ImageButton::focusOutEvent(QFocusEvent* event)
{
    QAbstractButton::focusOutEvent(event);
    m_ring.setShown(false);
}

QuillonTimesheetButtonCell::QuillonTimesheetButtonCell(QWidget* parent)
    : ImageButton(imageNamed("tw-icn-start.png"), imageNamed("tw-icn-start-active.png"), parent)
{
    setAccessibleName(tr("Start Timer"));
}

QuillonEditHoursButtonCell::QuillonEditHoursButtonCell(QWidget* parent)
    : ImageButton(imageNamed("tw-edit-hours.png"), imageNamed("tw-edit-hours-active.png"), parent)
{
    setAccessibleName(tr("Edit Hours"));
    setToolTip(tr("Edit Hours"));
}

QuillonAddOneButtonCell::QuillonAddOneButtonCell(QWidget* parent)
    : ImageButton(imageNamed("tw-add-one.png"), imageNamed("tw-add-one-active.png"), parent)
{
    setAccessibleName(tr("Add One"));
    setToolTip(tr("Add One"));
}

} // namespace skin
