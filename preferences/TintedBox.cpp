#include "preferences/TintedBox.h"

#include <QPainter>

namespace preferences {
namespace {

constexpr double cornerRadius = 8;

} // namespace

void TintedBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double line = 1 / devicePixelRatioF();
    QColor tint = palette().color(QPalette::Highlight);
    tint.setAlpha(70);
    painter.setPen(QPen(tint, line));
    tint.setAlpha(22);
    painter.setBrush(tint);
    painter.drawRoundedRect(QRectF(rect()).adjusted(line / 2, line / 2, -line / 2, -line / 2), cornerRadius,
                            cornerRadius);
}

} // namespace preferences
