#include "skin/Image.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"

#include "platform/Memory.h"
#include "platform/Run.h"
#include "platform/TimeSource.h"

#include <QCoreApplication>
#include <QFile>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// The resource lies in a static library: without this call the linker leaves it out. Needs the global namespace.
static void initArtwork()
{
    Q_INIT_RESOURCE(artwork);
}

namespace skin {

/// Lines of a picture, in points from its left or top edge, that must fall between device pixels at every scale:
/// borders and the straight sides of symbols. Ended by the first 0.
using Guides = std::array<qreal, 4>;

/// A picture's place in the sheet of its family.
struct Slice
{
    /// Empty: lettering, which is set at run time.
    std::string_view family;
    QRectF rect;
    Guides columns{};
    Guides rows{};
};

namespace {

QString titleText()
{
    return QCoreApplication::translate("skin::Image", "Timesheet");
}

QFont titleFont()
{
    return interfaceFont(11, QFont::Bold);
}

/// That of the English word, or what a longer one in the same letters needs.
qreal titleWidth()
{
    constexpr qreal english = 46;
    const QFontMetricsF metrics(titleFont());
    const qreal longer = metrics.horizontalAdvance(titleText()) / metrics.horizontalAdvance(u"Timesheet"_s);
    return std::ceil(english * std::max(1.0, longer));
}

using Slices = std::map<std::string, Slice, std::less<>>;

/// The three pictures of a button: its ends, and what is stretched between them.
void addButton(Slices& slices, const std::string& name, qreal y, qreal height)
{
    const Guides rows{1, 2, height - 2, height - 1};
    slices[name + "-left.png"] = {"buttons", {0, y, 7, height}, {1}, rows};
    slices[name + "-mid.png"] = {"buttons", {12, y, 4, height}, {}, rows};
    slices[name + "-right.png"] = {"buttons", {20, y, 7, height}, {6}, rows};
}

/// The nine pictures of a text field's frame.
void addFrame(Slices& slices, const std::string& name, qreal x)
{
    struct Row
    {
        const char* name;
        qreal y, height;
        Guides guides;
    };
    for (const auto& [row, y, height, rows] :
         {Row{"-upper", 0, 6, {1}}, Row{"-mid", 6, 4}, Row{"-lower", 10, 6, {4, 5}}}) {
        slices[name + row + "-left.png"] = {"text-fields", QRectF(x, y, 6, height), {1}, rows};
        slices[name + row + "-mid.png"] = {"text-fields", QRectF(x + 6, y, 4, height), {}, rows};
        slices[name + row + "-right.png"] = {"text-fields", QRectF(x + 10, y, 6, height), {5}, rows};
    }
}

Slices allSlices()
{
    constexpr Guides pillRows{1, 2, 15};
    Slices slices{
        {"m-h-start.png", {"status-face", {0, 0, 15, 16}, {1, 5}, pillRows}},
        {"m-h-stop.png", {"status-face", {20, 0, 15, 16}, {1, 4, 12}, {1, 4, 12, 15}}},
        {"m-right-bg-left.png", {"status-face", {40, 0, 4, 16}, {1}, pillRows}},
        {"m-right-bg-mid.png", {"status-face", {48, 0, 4, 16}, {}, pillRows}},
        {"m-right-bg-right.png", {"status-face", {56, 0, 4, 16}, {3}, pillRows}},
        {"m-h-hover.png", {"status-face", {64, 0, 15, 16}, {1}, {1, 15}}},
        {"m-h-pressed.png", {"status-face", {84, 0, 15, 16}, {1}, {1, 15}}},
        {"m-offline.png", {"status-face", {0, 20, 59, 16}, {1, 58}, pillRows}},
        {"m-sign-in.png", {"status-face", {64, 20, 59, 16}, {1, 58}, pillRows}},
        {"tw-icn-start.png", {"row-buttons", {0, 0, 28, 28}}},
        {"tw-icn-start-active.png", {"row-buttons", {32, 0, 28, 28}}},
        {"tw-icn-stop-active.png", {"row-buttons", {64, 0, 28, 28}}},
        {"tw-bg-header.png", {"bars", {0, 0, 4, 44}, {}, {1, 43}}},
        {"tw-bg-footer.png", {"bars", {8, 0, 4, 34}, {}, {1, 2}}},
        {"hud-background-1.png", {"hud", {0, 0, 320, 40}, {1, 2, 318, 319}, {1, 2, 28, 29}}},
        {"hud-background-2.png", {"hud", {0, 44, 320, 10}, {1, 2, 318, 319}}},
        {"hud-background-3.png", {"hud", {0, 58, 320, 40}, {1, 2, 318, 319}, {38, 39}}},
        {"tw-empty-day.png", {"empty-day", {0, 0, 64, 64}}},
        {"tw-back.png", {"symbols", {0, 0, 20, 20}}},
        {"tw-back-active.png", {"symbols", {24, 0, 20, 20}}},
        {"tw-forward.png", {"symbols", {48, 0, 20, 20}}},
        {"tw-forward-active.png", {"symbols", {72, 0, 20, 20}}},
        {"tw-today.png", {"symbols", {96, 0, 20, 20}}},
        {"tw-today-active.png", {"symbols", {120, 0, 20, 20}}},
        {"tw-icn-lock.png", {"symbols", {0, 24, 28, 28}}},
        {"tw-offline.png", {"symbols", {32, 24, 20, 20}}},
        {"tw-arrow.png", {"symbols", {56, 24, 16, 16}}},
        {"tw-arrow-active.png", {"symbols", {76, 24, 16, 16}}},
        {"hud-arrow.png", {"symbols", {96, 24, 16, 16}}},
        {"hud-arrow-active.png", {"symbols", {116, 24, 16, 16}}},
        {"tw-checkbox.png", {"symbols", {0, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}}},
        {"tw-checkbox-on.png", {"symbols", {20, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}}},
        {"hud-checkbox.png", {"symbols", {40, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}}},
        {"hud-checkbox-on.png", {"symbols", {60, 56, 16, 16}, {1, 2, 14, 15}, {1, 2, 14, 15}}},
        {"tw-edit-hours.png", {"symbols", {80, 52, 20, 20}}},
        {"tw-edit-hours-active.png", {"symbols", {104, 52, 20, 20}}},
        {"tw-add-one.png", {"symbols", {128, 52, 20, 20}}},
        {"tw-add-one-active.png", {"symbols", {152, 52, 20, 20}}},
        {"quillon.png", {"quillon", {0, 0, 128, 128}}},
        {"prefs-account.png", {"preferences", {0, 0, 24, 24}}},
        {"prefs-general.png", {"preferences", {28, 0, 24, 24}}},
        {"prefs-shortcuts.png", {"preferences", {56, 0, 24, 24}}},
        {"prefs-show.png", {"preferences", {84, 4, 16, 16}}},
        {"prefs-hide.png", {"preferences", {104, 4, 16, 16}}},
        {"prefs-clear.png", {"preferences", {124, 4, 16, 16}}},
    };
    qreal y = 0;
    for (const char* name :
         {"btn-tw-submit", "btn-tw-cancel", "btn-tw-active", "btn-hud-submit", "btn-hud-cancel", "btn-hud-active"}) {
        addButton(slices, name, y, 25);
        y += 28;
    }
    addButton(slices, "btn-big-submit", 168, 35);
    addButton(slices, "btn-big-active", 206, 35);
    addFrame(slices, "tw-tf", 0);
    addFrame(slices, "hud-tf", 20);
    addFrame(slices, "hud-tf-error", 40);
    return slices;
}

/// The sheet of a family of pictures. Only the groups that a picture needs are drawn: the toolkit keeps a table of
/// twelve kilobytes for each gradient that it has used, even for a shape that was clipped away.
class Family
{
public:
    explicit Family(const QByteArray& drawing) : m_sheet(drawing)
    {
        Q_ASSERT(m_sheet.isValid());
        m_sheet.setAspectRatioMode(Qt::IgnoreAspectRatio);
        constexpr QByteArrayView begin = "<g id=\"";
        for (qsizetype at = drawing.indexOf(begin); at >= 0; at = drawing.indexOf(begin, at + 1)) {
            const qsizetype word = at + begin.size();
            const auto id = QString::fromUtf8(drawing.mid(word, drawing.indexOf('"', word) - word));
            m_groups.push_back({id, m_sheet.boundsOnElement(id)});
        }
    }

    /// Draws that part of the sheet.
    void draw(QPainter& painter, const QRectF& part, const QRect& target)
    {
        if (m_groups.empty()) {
            m_sheet.setViewBox(part);
            m_sheet.render(&painter, target);
            return;
        }
        const QTransform place = QTransform::fromTranslate(target.x(), target.y())
                                     .scale(target.width() / part.width(), target.height() / part.height())
                                     .translate(-part.x(), -part.y());
        for (const Group& group : m_groups) {
            if (group.bounds.adjusted(-1, -1, 1, 1).intersects(part))
                m_sheet.render(&painter, group.id, place.mapRect(group.bounds));
        }
    }

private:
    struct Group
    {
        QString id;
        QRectF bounds;
    };
    QSvgRenderer m_sheet;
    std::vector<Group> m_groups;
};

/// The families, each in each look. Pictures are drawn in bursts, when windows come: afterwards what was
/// parsed, and the paths that the toolkit made of it, would be half a megabyte, for a parse of less than a millisecond.
class Families
{
public:
    /// The run's; where nothing runs, they are kept.
    static Families& current()
    {
        static Families outside;
        return platform::Run::exists() ? platform::Run::current().shared<Families>() : outside;
    }

    Family& family(std::string_view name)
    {
        auto& family = m_families[{name, appearance().scheme}];
        if (!family) {
            initArtwork();
            const QString file = u":/artwork/%1.svg"_s.arg(QLatin1StringView(name.data(), qsizetype(name.size())));
            QFile drawing(file);
            const bool isThere = drawing.open(QFile::ReadOnly);
            Q_ASSERT(isThere);
            family = std::make_unique<Family>(isThere ? withColors(drawing.readAll()) : QByteArray());
            if (!m_end && platform::Run::exists())
                m_end = platform::environment().time().repeat(Burst, [this] { drop(); });
        }
        return *family;
    }

private:
    void drop()
    {
        m_families.clear();
        m_end.reset();
        platform::giveMemoryBack();
    }

    static constexpr auto Burst = 2s;

    std::map<std::pair<std::string_view, Scheme>, std::unique_ptr<Family>> m_families;
    std::unique_ptr<platform::TimeSource::Timer> m_end;
};

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

/// Draws `pixmap`, whose rows are those of the device, that many pixels wide, with its corner on the device pixel
/// nearest to `topLeft`.
void drawOnDevice(QPainter& painter, QPointF topLeft, const QPixmap& pixmap, int width)
{
    const QTransform toDevice = painter.deviceTransform();
    const QPointF corner = toDevice.map(topLeft);
    const QTransform world = painter.worldTransform();
    const QTransform device = world.inverted() * toDevice;
    painter.setWorldTransform(QTransform::fromTranslate(std::round(corner.x()), std::round(corner.y())) *
                              device.inverted());
    painter.drawPixmap(QRect(0, 0, width, pixmap.height()), pixmap);
    painter.setWorldTransform(world);
}

/// The title in white, as large as fits the image. Letters this small are aligned to the device's pixels.
void drawTitleText(QImage& image, QSizeF size)
{
    const QString title = titleText();
    QFont font = titleFont();
    const qreal fit = std::min(1.0, size.width() / QFontMetricsF(font).horizontalAdvance(title));
    font.setHintingPreference(QFont::PreferVerticalHinting);
    font.setPixelSize(std::max(1, qRound(font.pixelSize() * fit * image.height() / size.height())));
    const qreal tooWide = QFontMetricsF(font).horizontalAdvance(title) - image.width();
    if (tooWide > 0)
        font.setLetterSpacing(QFont::AbsoluteSpacing, -tooWide / title.size());
    const QFontMetricsF metrics(font);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(color(Role::StripText));
    painter.drawText(QPointF((image.width() - metrics.horizontalAdvance(title)) / 2,
                             std::round((image.height() + metrics.capHeight()) / 2)),
                     title);
}

QImage drawn(const Slice& slice, QSize pixels)
{
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (slice.family.empty()) {
        drawTitleText(image, slice.rect.size());
        return image;
    }
    Family& family = Families::current().family(slice.family);
    QPainter painter(&image);
    const QSizeF size = slice.rect.size();
    const bool whole = std::fmod(pixels.width(), size.width()) == 0 && std::fmod(pixels.height(), size.height()) == 0;
    const Guides none{};
    for (const Band& row : bands(size.height(), pixels.height(), whole ? none : slice.rows)) {
        for (const Band& column : bands(size.width(), pixels.width(), whole ? none : slice.columns)) {
            const QRect target(QPoint(column.fromPixel, row.fromPixel),
                               QSize(column.toPixel - column.fromPixel, row.toPixel - row.fromPixel));
            painter.setClipRect(target);
            family.draw(painter,
                        QRectF(slice.rect.topLeft() + QPointF(column.from, row.from),
                               QSizeF(column.to - column.from, row.to - row.from)),
                        target);
        }
    }
    return image;
}

QPixmap rasterised(const Slice& slice, QSize pixels)
{
    const QString key = u"skin/%1/%2/%3x%4"_s.arg(quintptr(&slice))
                            .arg(int(appearance().scheme))
                            .arg(pixels.width())
                            .arg(pixels.height());
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = QPixmap::fromImage(drawn(slice, pixels));
        QPixmapCache::insert(key, pixmap);
    }
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

void Image::drawWide(QPainter& painter, const QRectF& target) const
{
    if (!m_slice)
        return;
    const QSize pixels = snappedOnDevice(painter.deviceTransform(), target).size().toSize();
    if (pixels.isEmpty())
        return;
    const QSizeF natural = size();
    const int columns = std::max(1, qRound(natural.width() * pixels.height() / natural.height()));
    drawOnDevice(painter, target.topLeft(), rasterised(*m_slice, {columns, pixels.height()}), pixels.width());
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

QPixmap Image::pixmapOnce(int edge) const
{
    return m_slice ? QPixmap::fromImage(drawn(*m_slice, QSize(edge, edge))) : QPixmap();
}

QPixmap Image::pixmap(qreal devicePixelRatio, const QColor& color) const
{
    QPixmap pixmap = this->pixmap(devicePixelRatio);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

Image imageNamed(std::string_view name)
{
    // Its letters have a font of their own, which only the timesheet needs.
    if (name == "black-title-text.png") {
        static const Slice title{{}, {0, 0, titleWidth(), 23}};
        return Image(&title);
    }
    static const Slices slices = allSlices();
    const auto found = slices.find(name);
    return found != slices.end() ? Image(&found->second) : Image();
}

QRectF snapped(const QPainter& painter, const QRectF& rect)
{
    const QTransform toDevice = painter.deviceTransform();
    return toDevice.inverted().mapRect(snappedOnDevice(toDevice, rect));
}

void drawDevicePixmap(QPainter& painter, QPointF topLeft, const QPixmap& pixmap)
{
    drawOnDevice(painter, topLeft, pixmap, pixmap.width());
}

} // namespace skin
