#pragma once

#include <QColor>
#include <QFont>
#include <QPointF>
#include <QSizeF>
#include <QString>

#include <thread>

class QPainter;

namespace skin {

/// The only source of fonts. `points` are logical pixels, so that sums of heights hold at every resolution setting; the
/// family is the first installed of Inter, Liberation Sans, DejaVu Sans.
QFont interfaceFont(int points, QFont::Weight weight = QFont::Normal);

/// The desktop's font for what looks native, in its size. Where the desktop names no family of its own ("Sans Serif"), the
/// same families as above: what the system takes for that may have no letters of medium weight, or be half as wide again.
QFont widgetFont(QFont ofDesktop);

/// Reads the desktop's font configuration, dozens of files, on a thread of its own while the program connects to its
/// desktop; ends when that is done. Made before the application, and gone before the first use of a font.
class FontPreparation
{
public:
    FontPreparation();
    ~FontPreparation() { m_thread.join(); }
    FontPreparation(const FontPreparation&) = delete;
    FontPreparation& operator=(const FontPreparation&) = delete;

private:
    std::thread m_thread;
};

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
