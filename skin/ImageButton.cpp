#include "skin/ImageButton.h"

#include "skin/Colors.h"

#include <QPainter>

namespace skin {

ImageButton::ImageButton(Image normal, Image alternate, QWidget* parent)
    : FlatButton(normal.size().height() / 2, parent), m_normal(normal), m_alternate(alternate)
{
}

void ImageButton::setImages(Image normal, Image alternate)
{
    m_normal = normal;
    m_alternate = alternate;
    updateGeometry();
    update();
}

void ImageButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(0.4);
    shownImage().drawAtPoint(painter, {0, 0});
    if (isEnabled() && underMouse() && !isDown()) {
        const QRectF area = m_normal.isNull() ? QRectF(rect()) : QRectF(QPointF(0, 0), m_normal.size());
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color(Role::SymbolHover));
        painter.drawEllipse(area.adjusted(1, 1, -1, -1));
    }
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
