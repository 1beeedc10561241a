#include "preferences/Signs.h"

#include "skin/Image.h"

#include <QPainter>

namespace preferences {

QPixmap sign(std::string_view name, const QColor& color, qreal devicePixelRatio)
{
    QPixmap pixmap = skin::imageNamed(name).pixmap(devicePixelRatio);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

} // namespace preferences
