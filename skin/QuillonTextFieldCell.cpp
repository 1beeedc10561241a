#include "skin/QuillonTextFieldCell.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextLayout>
#include <QToolTip>

#include <cmath>
#include <limits>

namespace skin {

QuillonTextFieldCell::QuillonTextFieldCell(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setFont(interfaceFont(11));
}

QuillonTextFieldCell::~QuillonTextFieldCell() = default;

void QuillonTextFieldCell::setBackgroundStyle(BackgroundStyle style)
{
    m_style = style;
    update();
}

void QuillonTextFieldCell::setTextColor(const QColor& color)
{
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText, color);
    setPalette(colors);
}

QString QuillonTextFieldCell::line() const
{
    return displayable(text()).replace(u'\n', u' ');
}

Qt::LayoutDirection QuillonTextFieldCell::reading() const
{
    return text().isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
}

QuillonTextFieldCell::Shaped QuillonTextFieldCell::shaped(const QString& line) const
{
    auto layout = std::make_unique<QTextLayout>(line, font());
    QTextOption option;
    option.setTextDirection(reading());
    option.setWrapMode(QTextOption::NoWrap);
    option.setFlags(QTextOption::IncludeTrailingSpaces);
    layout->setTextOption(option);
    layout->setCacheEnabled(true);
    layout->beginLayout();
    QTextLine only = layout->createLine();
    // Without a width it begins at the left, whatever its direction.
    only.setNumColumns(std::numeric_limits<int>::max());
    only.setPosition(QPointF(0, -only.ascent()));
    layout->endLayout();
    return {std::move(layout), only.horizontalAdvance()};
}

const QuillonTextFieldCell::Shaped& QuillonTextFieldCell::shapedLine() const
{
    if (!m_line.layout || text() != m_text || font() != m_font) {
        m_text = text();
        m_font = font();
        m_line = shaped(line());
        m_elided = {};
    }
    return m_line;
}

const QuillonTextFieldCell::Shaped& QuillonTextFieldCell::shapedIn(double space)
{
    if (widthOfLine() <= space)
        return m_line;
    if (!m_elided.layout || m_space != space) {
        m_space = space;
        m_elided = shaped(QFontMetricsF(font()).elidedText(line(), Qt::ElideRight, space));
    }
    return m_elided;
}

bool QuillonTextFieldCell::isElided() const
{
    return widthOfLine() > contentsRect().width();
}

QSize QuillonTextFieldCell::sizeHint() const
{
    const QMargins margins = contentsMargins();
    return {static_cast<int>(std::ceil(widthOfLine())) + margins.left() + margins.right(), heightOfLine()};
}

int QuillonTextFieldCell::heightOfLine() const
{
    const QMargins margins = contentsMargins();
    return static_cast<int>(std::ceil(QFontMetricsF(font()).height())) + margins.top() + margins.bottom();
}

QSize QuillonTextFieldCell::minimumSizeHint() const
{
    return {static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(QChar(0x2026)))), heightOfLine()};
}

bool QuillonTextFieldCell::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && isElided()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), toolTipFor(text()), this);
        return true;
    }
    return QLabel::event(event);
}

void QuillonTextFieldCell::paintEvent(QPaintEvent*)
{
    if (text().isEmpty())
        return;
    const QRectF box = contentsRect();
    const Shaped& shown = shapedIn(box.width());
    const double free = box.width() - shown.width;
    const Qt::Alignment side = QStyle::visualAlignment(isRightToLeft() ? Qt::RightToLeft : reading(), alignment());
    const double x = side & Qt::AlignRight ? free : side & Qt::AlignHCenter ? std::round(free / 2) : 0;
    const QFontMetricsF metrics(font());
    const double y = std::round((box.height() + metrics.ascent() - metrics.descent()) / 2);
    const QPointF baseline = box.topLeft() + QPointF(x, y);
    QPainter painter(this);
    const QTextLine letters = shown.layout->lineAt(0);
    if (m_style == BackgroundStyle::Raised) {
        painter.setPen(color(Role::TextRelief));
        letters.draw(&painter, baseline + QPointF(0, 1));
    }
    painter.setPen(palette().color(QPalette::WindowText));
    letters.draw(&painter, baseline);
}

void QuillonTextFieldCell::contextMenuEvent(QContextMenuEvent* event)
{
    event->ignore();
}

} // namespace skin
