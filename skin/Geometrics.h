#pragma once

#include "skin/Fonts.h"

#include <QFont>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <memory>
#include <vector>

class QPainter;
class QTextLayout;

namespace skin {

/// From one baseline to the next, in whole points: 14 for a font of 11.
double linePitch(const QFont& font);

/// `text` without anything that breaks a layout: every kind of line break becomes "\n"; other control characters and
/// tabs become spaces; lone surrogates, non-characters and the placeholder for an embedded object become U+FFFD.
QString displayable(const QString& text);

/// `plainText` as a tool tip: shown verbatim, wrapped when long, and cut where it would fill the screen.
QString toolTipFor(const QString& plainText);

/// One line, cut in the middle where it does not fit. It begins at the side where `side` begins, and reads in its own
/// direction: a code before a name stays before it.
void drawLine(QPainter& painter, const QRect& box, Qt::LayoutDirection side, const QString& text);

/// Text of any length, broken into lines of a width: measured and drawn alike, each line `linePitch` points below the
/// one before it, whatever characters it holds. Paragraphs that run from right to left begin at the right. Line breaks
/// at the end open no line.
class TextLines
{
public:
    TextLines(const QString& text, const QFont& font, double width);
    ~TextLines();
    TextLines(TextLines&&) noexcept;
    TextLines& operator=(TextLines&&) noexcept;

    int count() const { return static_cast<int>(m_lines.size()); }
    double height() const { return count() * m_pitch; }
    /// Of the widest line.
    double usedWidth() const { return m_usedWidth; }

    /// With the painter's pen, from `topLeft` on; lines outside `clip` are not drawn. An empty `clip` means no
    /// clipping.
    void draw(QPainter& painter, QPointF topLeft, const QRectF& clip = {}) const;

private:
    struct Line
    {
        const QTextLayout* paragraph;
        int index;
    };

    double m_pitch;
    double m_usedWidth = 0;
    std::vector<std::unique_ptr<QTextLayout>> m_paragraphs;
    std::vector<Line> m_lines;
};

/// The height in points of the text when broken at `width`. 0 for an empty string.
double heightForWidth(const QString& text, double width, const TextAttributes& attributes);
double heightForWidth(const QString& text, double width, const QFont& font);
/// The smallest whole width at which the text needs no more than `height`, but at least that of one line.
double widthForHeight(const QString& text, double height, const TextAttributes& attributes);
/// The space the text takes in a box: the width of its widest line and its height, cut to `height`.
QSizeF sizeForWidthHeight(const QString& text, double width, double height, const TextAttributes& attributes);

} // namespace skin
