#pragma once

#include <QPixmap>
#include <QRectF>
#include <QSizeF>

#include <string_view>

class QPainter;

namespace skin {

struct Slice;

/// One picture of the program, rendered from its vector source at the exact resolution of its destination.
///
/// Cheap to copy. Sizes are points. Main thread only.
class Image
{
public:
    Image() = default;

    bool isNull() const { return m_slice == nullptr; }
    /// Natural size; empty for the null image.
    QSizeF size() const;

    /// Draws the whole picture stretched into `target`, over existing content. Its edges fall on whole device pixels,
    /// so that pictures that share an edge meet without a gap.
    void draw(QPainter& painter, const QRectF& target) const;
    /// The same for a picture that is alike from left to right, however wide: what is kept of it is a few columns.
    void drawWide(QPainter& painter, const QRectF& target) const;
    /// In its natural size.
    void drawAtPoint(QPainter& painter, QPointF topLeft) const;

    /// At its natural size for a screen of that ratio, for icons.
    QPixmap pixmap(qreal devicePixelRatio) const;
    /// The same, all in one colour.
    QPixmap pixmap(qreal devicePixelRatio, const QColor& color) const;
    /// A square of that many pixels, drawn now and kept nowhere.
    QPixmap pixmapOnce(int edge) const;

private:
    friend Image imageNamed(std::string_view name);
    explicit Image(const Slice* slice) : m_slice(slice) {}

    const Slice* m_slice = nullptr;
};

/// The picture with that name, such as "m-h-start.png"; the null image when there is none.
Image imageNamed(std::string_view name);

/// `rect` with its four edges moved to the nearest whole pixels of the device that `painter` draws on.
QRectF snapped(const QPainter& painter, const QRectF& rect);

/// Draws `pixmap`, whose pixels are those of the device, with its corner on the device pixel nearest to `topLeft`.
/// Nothing is resampled, whatever the scale of the painter.
void drawDevicePixmap(QPainter& painter, QPointF topLeft, const QPixmap& pixmap);

} // namespace skin
