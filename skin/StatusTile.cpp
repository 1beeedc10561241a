#include "skin/StatusTile.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/Image.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

namespace skin {

namespace {

/// The length in pixels of that many 22nds of the tile.
int part(int side, double of22)
{
    return qMax(1, qRound(side * of22 / 22));
}

QLinearGradient gradient(double top, double bottom, Role from, Role to)
{
    QLinearGradient colors(0, top, 0, bottom);
    colors.setColorAt(0, color(from));
    colors.setColorAt(1, color(to));
    return colors;
}

/// The symbol at the left of the pill with that name, centred in the tile.
void drawSymbol(QPainter& painter, std::string_view name, int side)
{
    constexpr double middle = 9.8; // of the symbol, from the left of the pill
    const Image pill = imageNamed(name);
    const double scale = side / pill.size().height();
    pill.draw(painter, {side / 2.0 - middle * scale, 0, pill.size().width() * scale, static_cast<double>(side)});
}

/// In the middle of a button of that height; `length` is that of the square.
void drawGlyph(QPainter& painter, bool stop, int side, int buttonHeight, int length)
{
    const QPoint corner((side - length) / 2, (buttonHeight - length + 1) / 2);
    const QRectF box(corner, QSizeF(length, length));
    painter.setBrush(color(Role::FaceText));
    if (stop) {
        painter.drawRoundedRect(box, length / 8.0, length / 8.0);
        return;
    }
    QPainterPath triangle;
    const double tall = length * 1.2;
    const double top = box.center().y() - tall / 2;
    triangle.moveTo(box.left() + length * 0.1, top);
    triangle.lineTo(box.right() + length * 0.1, box.center().y());
    triangle.lineTo(box.left() + length * 0.1, top + tall);
    triangle.closeSubpath();
    painter.drawPath(triangle);
}

/// As large as fits: first drawn narrower, then smaller.
void drawHours(QPainter& painter, const QString& hours, const QRectF& field)
{
    constexpr double narrowest = 0.8;
    TextAttributes attributes{interfaceFont(qRound(field.height() * 0.92), QFont::Bold), color(Role::FaceText)};
    while (attributes.sizeOf(hours).width() * narrowest > field.width() && attributes.font.pixelSize() > 5)
        attributes.font.setPixelSize(attributes.font.pixelSize() - 1);
    const QSizeF size = attributes.sizeOf(hours);
    const double squeeze = qMin(1.0, field.width() / size.width());
    painter.save();
    painter.translate(field.center());
    painter.scale(squeeze, 1);
    // Digits have no descenders: centre their height.
    const QFontMetricsF metrics(attributes.font);
    const double baseline = metrics.capHeight() / 2;
    attributes.draw(painter, {-size.width() / 2, baseline - metrics.ascent()}, hours);
    painter.restore();
}

} // namespace

QImage statusTile(const platform::StatusItem::Description& description, int side, bool withHours)
{
    QImage tile(side, side, QImage::Format_ARGB32_Premultiplied);
    tile.fill(Qt::transparent);
    QPainter painter(&tile);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);

    const double radius = side * 4.0 / 22;
    QPainterPath outline;
    outline.addRoundedRect(0, 0, side, side, radius, radius);
    painter.setClipPath(outline);
    if (description.offline || description.loggedOut) {
        drawSymbol(painter, description.offline ? "m-offline.png" : "m-sign-in.png", side);
        return tile;
    }

    const bool running = description.running;
    const int line = part(side, 1);
    const int button = withHours ? part(side, 10) : side;
    painter.fillRect(0, 0, side, button,
                     running ? gradient(0, side, Role::TileRunningEdgeTop, Role::TileRunningEdgeBottom)
                             : gradient(0, side, Role::TileEdgeTop, Role::TileEdgeBottom));
    if (withHours)
        painter.fillRect(0, button, side, side - button,
                         gradient(0, side, Role::TileFieldEdgeTop, Role::TileFieldEdgeBottom));
    QPainterPath inner;
    inner.addRoundedRect(line, line, side - 2 * line, side - 2 * line, radius - line, radius - line);
    painter.setClipPath(inner);
    painter.fillRect(0, 0, side, button,
                     running ? gradient(line, button, Role::TileRunningTop, Role::TileRunningBottom)
                             : gradient(line, button, Role::TileTop, Role::TileBottom));
    if (!withHours) {
        // As even as the side, so that its edges fall between pixels.
        const int length = part(side, 10);
        drawGlyph(painter, running, side, button, length + (side - length) % 2);
        return tile;
    }
    painter.fillRect(0, button, side, side - button, color(Role::FaceField));
    drawGlyph(painter, running, side, button, part(side, 5));
    drawHours(painter, description.hours, QRectF(line, button, side - 2 * line, side - button - line));
    return tile;
}

} // namespace skin
