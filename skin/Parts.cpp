#include "skin/Parts.h"

#include <QPainter>

#include <cmath>
#include <string>

namespace skin {
namespace {

/// The length nearest to `points` that is a whole number of device pixels. This way equal ends look equal, and no joint
/// lies half-way between two pixels, where each side would round differently.
qreal wholePixels(const QPainter& painter, qreal points)
{
    const qreal scale = painter.deviceTransform().mapRect(QRectF(0, 0, 1, 1)).width();
    return std::round(points * scale) / scale;
}

/// Where the three parts of a length begin and end.
std::array<qreal, 4> cuts(const QPainter& painter, qreal from, qreal length, qreal first, qreal last)
{
    if (first + last <= length) {
        first = wholePixels(painter, first);
        last = wholePixels(painter, last);
    } else {
        first = wholePixels(painter, length * first / (first + last));
        last = length - first;
    }
    return {from, from + first, from + length - last, from + length};
}

QRectF between(const std::array<qreal, 4>& x, const std::array<qreal, 4>& y, size_t column, size_t row)
{
    return {QPointF(x[column], y[row]), QPointF(x[column + 1], y[row + 1])};
}

} // namespace

void drawThreePartImage(QPainter& painter, const QRectF& frame, const Image& left, const Image& mid, const Image& right)
{
    // Snapped first, so that both ends have the same width wherever the frame lies.
    const QRectF whole = snapped(painter, frame);
    const auto x = cuts(painter, whole.left(), whole.width(), left.size().width(), right.size().width());
    const std::array<qreal, 4> y{whole.top(), whole.bottom()};
    left.draw(painter, between(x, y, 0, 0));
    mid.drawWide(painter, between(x, y, 1, 0));
    right.draw(painter, between(x, y, 2, 0));
}

NineParts ninePartsNamed(std::string_view prefix)
{
    NineParts parts;
    size_t index = 0;
    for (const char* row : {"-upper-", "-mid-", "-lower-"}) {
        for (const char* column : {"left.png", "mid.png", "right.png"})
            parts[index++] = imageNamed(std::string(prefix) + row + column);
    }
    return parts;
}

void drawNinePartImage(QPainter& painter, const QRectF& frame, const NineParts& parts)
{
    const QRectF whole = snapped(painter, frame);
    const auto x = cuts(painter, whole.left(), whole.width(), parts[0].size().width(), parts[8].size().width());
    const auto y = cuts(painter, whole.top(), whole.height(), parts[0].size().height(), parts[8].size().height());
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column)
            parts[row * 3 + column].draw(painter, between(x, y, column, row));
    }
}

} // namespace skin
