#include "skin/Image.h"

#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

// The resource lies in a static library: without this call the linker leaves it out. Needs the global namespace.
static void initArtwork()
{
    Q_INIT_RESOURCE(artwork);
}

namespace skin {

/// Lines of a picture, in points from its left or top edge, that must fall between device pixels at every scale:
/// borders and the straight sides of signs. Ended by the first 0.
using Guides = std::array<qreal, 4>;

/// Where a picture lies in the sheet of its family.
struct Slice
{
    std::string_view name;
    std::string_view family;
    QRectF rect;
    Guides columns{};
    Guides rows{};
};

namespace {

constexpr Guides pillRows{1, 2, 15};

const std::array slices{
    Slice{"m-h-start.png", "status-face", {0, 0, 15, 16}, {1, 5}, pillRows},
    Slice{"m-h-stop.png", "status-face", {20, 0, 15, 16}, {1, 4, 12}, {1, 4, 12, 15}},
    Slice{"m-right-bg-left.png", "status-face", {40, 0, 4, 16}, {1}, pillRows},
    Slice{"m-right-bg-mid.png", "status-face", {48, 0, 4, 16}, {}, pillRows},
    Slice{"m-right-bg-right.png", "status-face", {56, 0, 4, 16}, {3}, pillRows},
    Slice{"m-h-hover.png", "status-face", {64, 0, 15, 16}, {1}, {1, 15}},
    Slice{"m-h-pressed.png", "status-face", {84, 0, 15, 16}, {1}, {1, 15}},
    Slice{"m-offline.png", "status-face", {0, 20, 59, 16}, {1, 58}, pillRows},
    Slice{"m-sign-in.png", "status-face", {64, 20, 59, 16}, {1, 58}, pillRows},
    Slice{"tw-icn-start.png", "row-buttons", {0, 0, 28, 28}},
    Slice{"tw-icn-start-active.png", "row-buttons", {32, 0, 28, 28}},
    Slice{"tw-icn-stop-active.png", "row-buttons", {64, 0, 28, 28}},
    Slice{"quillon.png", "quillon", {0, 0, 128, 128}},
};

/// The parsed sheets. They never change, so they are kept for the life of the process.
QSvgRenderer& sheetOf(std::string_view family)
{
    static std::map<std::string_view, std::unique_ptr<QSvgRenderer>> sheets;
    auto& sheet = sheets[family];
    if (!sheet) {
        initArtwork();
        const QString file = u":/artwork/%1.svg"_s.arg(QLatin1StringView(family.data(), qsizetype(family.size())));
        sheet = std::make_unique<QSvgRenderer>(file);
        Q_ASSERT(sheet->isValid());
        sheet->setAspectRatioMode(Qt::IgnoreAspectRatio);
    }
    return *sheet;
}

struct Band
{
    qreal from, to;
    int fromPixel, toPixel;
};

/// Cuts `length` points, shown on `pixels` pixels, at the guides. Each guide moves to a whole pixel, counted from the
/// nearer end and rounded towards it, so that both borders of a frame get the same width.
std::vector<Band> bands(qreal length, int pixels, const Guides& guides)
{
    const qreal scale = pixels / length;
    std::vector<Band> result;
    Band band{0, length, 0, pixels};
    const auto pixelsFromEnd = [scale](qreal points) { return int(std::ceil(points * scale - 0.5)); };
    for (const qreal guide : guides) {
        if (guide == 0)
            break;
        const int pixel = guide * 2 <= length ? pixelsFromEnd(guide) : pixels - pixelsFromEnd(length - guide);
        if (pixel <= band.fromPixel || pixel >= pixels)
            continue;
        result.push_back({band.from, guide, band.fromPixel, pixel});
        band = {guide, length, pixel, pixels};
    }
    result.push_back(band);
    return result;
}

QPixmap rasterised(const Slice& slice, QSize pixels)
{
    const QString key = u"skin/%1/%2x%3"_s.arg(QLatin1StringView(slice.name.data(), qsizetype(slice.name.size())))
                            .arg(pixels.width())
                            .arg(pixels.height());
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;

    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QSvgRenderer& sheet = sheetOf(slice.family);
        QPainter painter(&image);
        const QSizeF size = slice.rect.size();
        const bool whole =
            std::fmod(pixels.width(), size.width()) == 0 && std::fmod(pixels.height(), size.height()) == 0;
        const Guides none{};
        for (const Band& row : bands(size.height(), pixels.height(), whole ? none : slice.rows)) {
            for (const Band& column : bands(size.width(), pixels.width(), whole ? none : slice.columns)) {
                const QRect target(QPoint(column.fromPixel, row.fromPixel),
                                   QSize(column.toPixel - column.fromPixel, row.toPixel - row.fromPixel));
                painter.setClipRect(target);
                sheet.setViewBox(QRectF(slice.rect.topLeft() + QPointF(column.from, row.from),
                                        QSizeF(column.to - column.from, row.to - row.from)));
                sheet.render(&painter, target);
            }
        }
    }
    pixmap = QPixmap::fromImage(std::move(image));
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

QRectF snappedOnDevice(const QTransform& toDevice, const QRectF& rect)
{
    const QRectF device = toDevice.mapRect(rect);
    const qreal left = std::round(device.left());
    const qreal top = std::round(device.top());
    return {left, top, std::round(device.right()) - left, std::round(device.bottom()) - top};
}

} // namespace

QSizeF Image::size() const
{
    return m_slice ? m_slice->rect.size() : QSizeF();
}

void Image::draw(QPainter& painter, const QRectF& target) const
{
    if (!m_slice)
        return;
    const QRectF device = snappedOnDevice(painter.deviceTransform(), target);
    const QSize pixels = device.size().toSize();
    if (!pixels.isEmpty())
        drawDevicePixmap(painter, target.topLeft(), rasterised(*m_slice, pixels));
}

void Image::drawAtPoint(QPainter& painter, QPointF topLeft) const
{
    draw(painter, QRectF(topLeft, size()));
}

QPixmap Image::pixmap(qreal devicePixelRatio) const
{
    if (!m_slice)
        return {};
    QPixmap pixmap = rasterised(*m_slice, (size() * devicePixelRatio).toSize());
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

Image imageNamed(std::string_view name)
{
    for (const Slice& slice : slices) {
        if (slice.name == name)
            return Image(&slice);
    }
    return {};
}

QRectF snapped(const QPainter& painter, const QRectF& rect)
{
    const QTransform toDevice = painter.deviceTransform();
    return toDevice.inverted().mapRect(snappedOnDevice(toDevice, rect));
}

void drawDevicePixmap(QPainter& painter, QPointF topLeft, const QPixmap& pixmap)
{
    const QTransform toDevice = painter.deviceTransform();
    const QPointF corner = toDevice.map(topLeft);
    const QTransform world = painter.worldTransform();
    const QTransform device = world.inverted() * toDevice;
    painter.setWorldTransform(QTransform::fromTranslate(std::round(corner.x()), std::round(corner.y())) *
                              device.inverted());
    painter.drawPixmap(QPointF(0, 0), pixmap);
    painter.setWorldTransform(world);
}

} // namespace skin
