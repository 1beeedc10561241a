#pragma once

#include <QPainter>
#include <QWidget>

namespace preferences {

/// Sets its content off from the page by a tint of the desktop's highlight.
class TintedBox final : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        constexpr double cornerRadius = 8;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const double line = 1 / devicePixelRatioF();
        QColor tint = palette().color(QPalette::Highlight);
        tint.setAlpha(70);
        painter.setPen(QPen(tint, line));
        tint.setAlpha(22);
        painter.setBrush(tint);
        const QRectF outline = QRectF(rect()).adjusted(line / 2, line / 2, -line / 2, -line / 2);
        painter.drawRoundedRect(outline, cornerRadius, cornerRadius);
    }
};

} // namespace preferences
