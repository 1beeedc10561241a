#include "skin/Image.h"

#include "skin/Fonts.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
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
    /// Empty: lettering, which is set at run time.
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
    Slice{"btn-tw-submit-left.png", "buttons", {0, 0, 7, 25}, {1}, {1, 2, 23, 24}},
    Slice{"btn-tw-submit-mid.png", "buttons", {12, 0, 4, 25}, {}, {1, 2, 23, 24}},
    Slice{"btn-tw-submit-right.png", "buttons", {20, 0, 7, 25}, {6}, {1, 2, 23, 24}},
    Slice{"btn-tw-cancel-left.png", "buttons", {0, 28, 7, 25}, {1}, {1, 2, 23, 24}},
    Slice{"btn-tw-cancel-mid.png", "buttons", {12, 28, 4, 25}, {}, {1, 2, 23, 24}},
    Slice{"btn-tw-cancel-right.png", "buttons", {20, 28, 7, 25}, {6}, {1, 2, 23, 24}},
    Slice{"btn-tw-active-left.png", "buttons", {0, 56, 7, 25}, {1}, {1, 2, 23, 24}},
    Slice{"btn-tw-active-mid.png", "buttons", {12, 56, 4, 25}, {}, {1, 2, 23, 24}},
    Slice{"btn-tw-active-right.png", "buttons", {20, 56, 7, 25}, {6}, {1, 2, 23, 24}},
    Slice{"btn-hud-submit-left.png", "buttons", {0, 84, 7, 25}, {1}, {1, 2, 23, 24}},
    Slice{"btn-hud-submit-mid.png", "buttons", {12, 84, 4, 25}, {}, {1, 2, 23, 24}},
    Slice{"btn-hud-submit-right.png", "buttons", {20, 84, 7, 25}, {6}, {1, 2, 23, 24}},
    Slice{"btn-hud-cancel-left.png", "buttons", {0, 112, 7, 25}, {1}, {1, 2, 23, 24}},
    Slice{"btn-hud-cancel-mid.png", "buttons", {12, 112, 4, 25}, {}, {1, 2, 23, 24}},
    Slice{"btn-hud-cancel-right.png", "buttons", {20, 112, 7, 25}, {6}, {1, 2, 23, 24}},
    Slice{"btn-hud-active-left.png", "buttons", {0, 140, 7, 25}, {1}, {1, 2, 23, 24}},
    Slice{"btn-hud-active-mid.png", "buttons", {12, 140, 4, 25}, {}, {1, 2, 23, 24}},
    Slice{"btn-hud-active-right.png", "buttons", {20, 140, 7, 25}, {6}, {1, 2, 23, 24}},
    Slice{"btn-big-submit-left.png", "buttons", {0, 168, 7, 35}, {1}, {1, 2, 33, 34}},
    Slice{"btn-big-submit-mid.png", "buttons", {12, 168, 4, 35}, {}, {1, 2, 33, 34}},
    Slice{"btn-big-submit-right.png", "buttons", {20, 168, 7, 35}, {6}, {1, 2, 33, 34}},
    Slice{"btn-big-active-left.png", "buttons", {0, 206, 7, 35}, {1}, {1, 2, 33, 34}},
    Slice{"btn-big-active-mid.png", "buttons", {12, 206, 4, 35}, {}, {1, 2, 33, 34}},
    Slice{"btn-big-active-right.png", "buttons", {20, 206, 7, 35}, {6}, {1, 2, 33, 34}},
    Slice{"tw-tf-upper-left.png", "text-fields", {0, 0, 6, 6}, {1}, {1}},
    Slice{"tw-tf-upper-mid.png", "text-fields", {6, 0, 4, 6}, {}, {1}},
    Slice{"tw-tf-upper-right.png", "text-fields", {10, 0, 6, 6}, {5}, {1}},
    Slice{"tw-tf-mid-left.png", "text-fields", {0, 6, 6, 4}, {1}},
    Slice{"tw-tf-mid-mid.png", "text-fields", {6, 6, 4, 4}},
    Slice{"tw-tf-mid-right.png", "text-fields", {10, 6, 6, 4}, {5}},
    Slice{"tw-tf-lower-left.png", "text-fields", {0, 10, 6, 6}, {1}, {4, 5}},
    Slice{"tw-tf-lower-mid.png", "text-fields", {6, 10, 4, 6}, {}, {4, 5}},
    Slice{"tw-tf-lower-right.png", "text-fields", {10, 10, 6, 6}, {5}, {4, 5}},
    Slice{"hud-tf-upper-left.png", "text-fields", {20, 0, 6, 6}, {1}, {1}},
    Slice{"hud-tf-upper-mid.png", "text-fields", {26, 0, 4, 6}, {}, {1}},
    Slice{"hud-tf-upper-right.png", "text-fields", {30, 0, 6, 6}, {5}, {1}},
    Slice{"hud-tf-mid-left.png", "text-fields", {20, 6, 6, 4}, {1}},
    Slice{"hud-tf-mid-mid.png", "text-fields", {26, 6, 4, 4}},
    Slice{"hud-tf-mid-right.png", "text-fields", {30, 6, 6, 4}, {5}},
    Slice{"hud-tf-lower-left.png", "text-fields", {20, 10, 6, 6}, {1}, {4, 5}},
    Slice{"hud-tf-lower-mid.png", "text-fields", {26, 10, 4, 6}, {}, {4, 5}},
    Slice{"hud-tf-lower-right.png", "text-fields", {30, 10, 6, 6}, {5}, {4, 5}},
    Slice{"hud-tf-error-upper-left.png", "text-fields", {40, 0, 6, 6}, {1}, {1}},
    Slice{"hud-tf-error-upper-mid.png", "text-fields", {46, 0, 4, 6}, {}, {1}},
    Slice{"hud-tf-error-upper-right.png", "text-fields", {50, 0, 6, 6}, {5}, {1}},
    Slice{"hud-tf-error-mid-left.png", "text-fields", {40, 6, 6, 4}, {1}},
    Slice{"hud-tf-error-mid-mid.png", "text-fields", {46, 6, 4, 4}},
    Slice{"hud-tf-error-mid-right.png", "text-fields", {50, 6, 6, 4}, {5}},
    Slice{"hud-tf-error-lower-left.png", "text-fields", {40, 10, 6, 6}, {1}, {4, 5}},
    Slice{"hud-tf-error-lower-mid.png", "text-fields", {46, 10, 4, 6}, {}, {4, 5}},
    Slice{"hud-tf-error-lower-right.png", "text-fields", {50, 10, 6, 6}, {5}, {4, 5}},
    Slice{"tw-bg-header.png", "bars", {0, 0, 4, 44}, {}, {1, 43}},
    Slice{"tw-bg-footer.png", "bars", {8, 0, 4, 34}, {}, {1, 2}},
    Slice{"hud-background-1.png", "hud", {0, 0, 320, 40}, {1, 2, 318, 319}, {1, 2, 28, 29}},
    Slice{"hud-background-2.png", "hud", {0, 44, 320, 10}, {1, 2, 318, 319}},
    Slice{"hud-background-3.png", "hud", {0, 58, 320, 40}, {1, 2, 318, 319}, {38, 39}},
    Slice{"tw-empty-day.png", "empty-day", {0, 0, 64, 64}},
    Slice{"tw-back.png", "signs", {0, 0, 20, 20}},
    Slice{"tw-back-active.png", "signs", {24, 0, 20, 20}},
    Slice{"tw-forward.png", "signs", {48, 0, 20, 20}},
    Slice{"tw-forward-active.png", "signs", {72, 0, 20, 20}},
    Slice{"tw-today.png", "signs", {96, 0, 20, 20}},
    Slice{"tw-today-active.png", "signs", {120, 0, 20, 20}},
    Slice{"tw-icn-lock.png", "signs", {0, 24, 28, 28}},
    Slice{"tw-offline.png", "signs", {32, 24, 20, 20}},
    Slice{"tw-arrow.png", "signs", {56, 24, 16, 16}},
    Slice{"tw-arrow-active.png", "signs", {76, 24, 16, 16}},
    Slice{"hud-arrow.png", "signs", {96, 24, 16, 16}},
    Slice{"hud-arrow-active.png", "signs", {116, 24, 16, 16}},
    Slice{"tw-checkbox.png", "signs", {0, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}},
    Slice{"tw-checkbox-on.png", "signs", {20, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}},
    Slice{"hud-checkbox.png", "signs", {40, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}},
    Slice{"hud-checkbox-on.png", "signs", {60, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}},
    Slice{"tw-edit-hours.png", "signs", {80, 52, 20, 20}},
    Slice{"tw-edit-hours-active.png", "signs", {104, 52, 20, 20}},
    Slice{"tw-add-one.png", "signs", {128, 52, 20, 20}},
    Slice{"tw-add-one-active.png", "signs", {152, 52, 20, 20}},
    Slice{"black-title-text.png", {}, {0, 0, 46, 23}},
    Slice{"quillon.png", "quillon", {0, 0, 128, 128}},
    Slice{"prefs-account.png", "preferences", {0, 0, 24, 24}},
    Slice{"prefs-general.png", "preferences", {28, 0, 24, 24}},
    Slice{"prefs-shortcuts.png", "preferences", {56, 0, 24, 24}},
    Slice{"prefs-show.png", "preferences", {84, 4, 16, 16}},
    Slice{"prefs-hide.png", "preferences", {104, 4, 16, 16}},
    Slice{"prefs-clear.png", "preferences", {124, 4, 16, 16}},
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
    // Scales come in quarters. How the frame itself was rounded must not add to the rounding of its lines.
    const qreal quarters = std::round(4 * pixels / length);
    const qreal scale = quarters > 0 ? quarters / 4 : pixels / length;
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

/// "Timesheet" in white, as large as fits the `size` in points that the image shows. Letters this small are set on the
/// pixels of the device.
void drawTitleText(QImage& image, QSizeF size)
{
    const QString title = u"Timesheet"_s;
    constexpr int points = 11;
    QFont font = interfaceFont(points, QFont::DemiBold);
    const qreal fit = std::min(1.0, size.width() / QFontMetricsF(font).horizontalAdvance(title));
    font.setHintingPreference(QFont::PreferVerticalHinting);
    font.setPixelSize(std::max(1, qRound(points * fit * image.height() / size.height())));
    const qreal tooWide = QFontMetricsF(font).horizontalAdvance(title) - image.width();
    if (tooWide > 0)
        font.setLetterSpacing(QFont::AbsoluteSpacing, -tooWide / title.size());
    const QFontMetricsF metrics(font);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QPointF((image.width() - metrics.horizontalAdvance(title)) / 2,
                             std::round((image.height() + metrics.capHeight()) / 2)),
                     title);
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
    if (slice.family.empty()) {
        drawTitleText(image, slice.rect.size());
    } else {
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
