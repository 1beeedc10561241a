#include "skin/Geometrics.h"

#include "skin/LineCount.h"

#include <QFontInfo>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace skin {
namespace {

bool breaksLine(QChar c)
{
    switch (c.unicode()) {
    case u'\n':
    case u'\v':
    case u'\f':
    case u'\r':
    case 0x85:
    case QChar::LineSeparator:
    case QChar::ParagraphSeparator:
        return true;
    default:
        return false;
    }
}

/// `paragraph` with break opportunities in words that go on for many lines. For each line the layout looks ahead to the
/// end of the word, which takes seconds for a hundred thousand characters without a space.
QString breakable(const QString& paragraph)
{
    constexpr int longest = 2048;
    constexpr QChar zeroWidthSpace(0x200b);
    constexpr QChar zeroWidthJoiner(0x200d);
    QString result;
    int run = 0;
    for (const QChar c : paragraph) {
        run = c.isSpace() ? 0 : run + 1;
        const bool startsCharacter = !c.isMark() && !c.isLowSurrogate() && c != zeroWidthJoiner &&
                                     (result.isEmpty() || result.back() != zeroWidthJoiner);
        if (run > longest && startsCharacter) {
            result += zeroWidthSpace;
            run = 1;
        }
        result += c;
    }
    return result;
}

} // namespace

double linePitch(const QFont& font)
{
    return std::ceil(QFontInfo(font).pixelSize() * 1.25);
}

QString displayable(const QString& text)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (breaksLine(c)) {
            if (c == u'\r' && i + 1 < text.size() && text.at(i + 1) == u'\n')
                ++i;
            result += u'\n';
        } else if (c.category() == QChar::Other_Control) {
            result += u' ';
        } else if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            result += c;
            result += text.at(++i);
        } else if (c.isSurrogate() || c.isNonCharacter() || c == QChar::ObjectReplacementCharacter) {
            result += QChar(QChar::ReplacementCharacter);
        } else {
            result += c;
        }
    }
    return result;
}

QString toolTipFor(const QString& plainText)
{
    constexpr qsizetype most = 1000;
    // The cut-off part is not examined: it may be megabytes. A line break takes two characters at most.
    QString text = displayable(plainText.left(2 * most + 2));
    if (text.size() > most)
        text = text.first(text.at(most - 1).isHighSurrogate() ? most - 1 : most) + u'…';
    // As plain text it would not wrap, and might be taken for markup.
    text = text.toHtmlEscaped();
    return QStringLiteral("<qt>%1</qt>").arg(text.replace(u'\n', QLatin1StringView("<br>")));
}

void drawLine(QPainter& painter, const QRect& box, Qt::LayoutDirection side, const QString& text)
{
    const Qt::LayoutDirection before = painter.layoutDirection();
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    const Qt::Alignment edge = side == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft;
    painter.drawText(box, int(Qt::AlignVCenter | Qt::AlignAbsolute | edge) | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(text, Qt::ElideMiddle, box.width()));
    painter.setLayoutDirection(before);
}

TextLines::TextLines(const QString& text, const QFont& font, double width) : m_pitch(linePitch(font))
{
    QString shown = displayable(text);
    while (shown.endsWith(u'\n'))
        shown.chop(1);
    if (shown.isEmpty())
        return;

    const QFontMetricsF metrics(font);
    const double baseline = std::round((m_pitch + metrics.ascent() - metrics.descent()) / 2);
    for (const QString& paragraph : shown.split(u'\n')) {
        auto layout = std::make_unique<QTextLayout>(breakable(paragraph), font);
        const bool fromRight = paragraph.isRightToLeft() || QGuiApplication::isRightToLeft();
        QTextOption option(fromRight ? Qt::AlignRight : Qt::AlignLeft);
        option.setTextDirection(paragraph.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
        option.setAlignment(option.alignment() | Qt::AlignAbsolute);
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout->setTextOption(option);
        layout->setCacheEnabled(true);
        layout->beginLayout();
        for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
            line.setLineWidth(std::max(width, 1.0));
            // By the baseline: a character from another font makes its line higher, but must not move it.
            line.setPosition(QPointF(0, count() * m_pitch + baseline - line.ascent()));
            m_usedWidth = std::max(m_usedWidth, line.naturalTextWidth());
            m_lines.push_back({layout.get(), line.lineNumber()});
        }
        layout->endLayout();
        m_paragraphs.push_back(std::move(layout));
    }
}

TextLines::~TextLines() = default;
TextLines::TextLines(TextLines&&) noexcept = default;
TextLines& TextLines::operator=(TextLines&&) noexcept = default;

void TextLines::draw(QPainter& painter, QPointF topLeft, const QRectF& clip) const
{
    int first = 0;
    int end = count();
    if (!clip.isEmpty()) {
        // One more on either side: glyphs may extend beyond their line.
        const auto lineAt = [&](double y) { return static_cast<int>(std::clamp(y / m_pitch, -1.0, count() + 1.0)); };
        first = std::max(0, lineAt(clip.top() - topLeft.y()) - 1);
        end = std::min(end, lineAt(clip.bottom() - topLeft.y()) + 2);
    }
    for (int i = first; i < end; ++i) {
        const Line& line = m_lines[static_cast<size_t>(i)];
        line.paragraph->lineAt(line.index).draw(&painter, topLeft);
    }
}

double heightForWidth(const QString& text, double width, const TextAttributes& attributes)
{
    return heightForWidth(text, width, attributes.font);
}

double heightForWidth(const QString& text, double width, const QFont& font)
{
    if (const auto count = knownLineCount(text, width, font))
        return *count * linePitch(font);
    return TextLines(text, font, width).height();
}

double widthForHeight(const QString& text, double height, const TextAttributes& attributes)
{
    constexpr double unbroken = 1e6;
    const TextLines natural(text, attributes.font, unbroken);
    if (natural.count() == 0)
        return 0;
    const double allowed = std::max(height, natural.height());
    int tooNarrow = 0;
    int wideEnough = static_cast<int>(std::ceil(natural.usedWidth()));
    while (wideEnough - tooNarrow > 1) {
        const int middle = (tooNarrow + wideEnough) / 2;
        if (heightForWidth(text, middle, attributes) <= allowed)
            wideEnough = middle;
        else
            tooNarrow = middle;
    }
    return wideEnough;
}

QSizeF sizeForWidthHeight(const QString& text, double width, double height, const TextAttributes& attributes)
{
    const TextLines lines(text, attributes.font, width);
    return {std::ceil(lines.usedWidth()), std::min(lines.height(), height)};
}

} // namespace skin
