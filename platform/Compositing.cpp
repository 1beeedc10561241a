#include "Compositing.h"

#include <QBitmap>
#include <QPainter>
#include <QWidget>

namespace platform {

void maskRounded(QWidget& window, const QRectF& outline, double radius)
{
    QBitmap shape(window.size());
    shape.clear();
    QPainter painter(&shape);
    painter.setBrush(Qt::color1);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(outline, radius, radius);
    painter.end();
    window.setMask(shape);
}

} // namespace platform
