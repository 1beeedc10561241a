#include "skin/QuillonTextFieldCell.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"

#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include <cmath>

namespace skin {

QuillonTextFieldCell::QuillonTextFieldCell(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setFont(interfaceFont(11));
}

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

double QuillonTextFieldCell::widthOfLine() const
{
    if (text() != m_measured.text || font() != m_measured.font)
        m_measured = {text(), font(), QFontMetricsF(font()).horizontalAdvance(line())};
    return m_measured.width;
}

bool QuillonTextFieldCell::isElided() const
{
    return widthOfLine() > contentsRect().width();
}

QSize QuillonTextFieldCell::sizeHint() const
{
    const QMargins margins = contentsMargins();
    return {static_cast<int>(std::ceil(widthOfLine())) + margins.left() + margins.right(), minimumSizeHint().height()};
}

QSize QuillonTextFieldCell::minimumSizeHint() const
{
    const QMargins margins = contentsMargins();
    const QFontMetricsF metrics(font());
    return {static_cast<int>(std::ceil(metrics.horizontalAdvance(QChar(0x2026)))),
            static_cast<int>(std::ceil(metrics.height())) + margins.top() + margins.bottom()};
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
    QPainter painter(this);
    painter.setFont(font());
    const QFontMetricsF metrics(font());
    const QString whole = line();
    const QRectF box = contentsRect();
    const QString shown = metrics.elidedText(whole, Qt::ElideRight, box.width());
    const double free = box.width() - metrics.horizontalAdvance(shown);
    const Qt::LayoutDirection reading = whole.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
    painter.setLayoutDirection(reading);
    const Qt::Alignment side = QStyle::visualAlignment(isRightToLeft() ? Qt::RightToLeft : reading, alignment());
    const double x = side & Qt::AlignRight ? free : side & Qt::AlignHCenter ? std::round(free / 2) : 0;
    const double y = std::round((box.height() + metrics.ascent() - metrics.descent()) / 2);
    const QPointF baseline = box.topLeft() + QPointF(x, y);
    if (m_style == BackgroundStyle::Raised) {
        painter.setPen(color(Role::TextRelief));
        painter.drawText(baseline + QPointF(0, 1), shown);
    }
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(baseline, shown);
}

void QuillonTextFieldCell::contextMenuEvent(QContextMenuEvent* event)
{
    event->ignore();
}

} // namespace skin
