#pragma once

#include <QColor>
#include <QFont>
#include <QPointF>
#include <QSizeF>
#include <QString>

class QPainter;

namespace skin {

/// The only source of fonts. `points` are logical pixels, so that sums of heights hold at every resolution setting; the
/// family is the first installed of Inter, Liberation Sans, DejaVu Sans.
QFont interfaceFont(int points, QFont::Weight weight = QFont::Normal);

/// The desktop's font for what looks native, in its size. Where the desktop names no family of its own ("Sans Serif"), the
/// same families as above: what the system takes for that may have no letters of medium weight, or be half as wide again.
QFont widgetFont(QFont ofDesktop);

/// The layout of a short string: measured and drawn alike, in points.
struct TextAttributes
{
    QFont font;
    QColor foreground;

    QSizeF sizeOf(const QString& text) const;
    /// Draws one line whose box has its top left corner at `topLeft`.
    void draw(QPainter& painter, QPointF topLeft, const QString& text) const;
};

} // namespace skin
