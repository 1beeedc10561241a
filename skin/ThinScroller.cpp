#include "skin/ThinScroller.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <cmath>

namespace skin {
namespace {

constexpr int ShortestThumb = 28;
constexpr int Margin = 2;
constexpr int Thin = 6;
constexpr int Wide = 8;

/// All pixels at least partly covered by a rectangle with round ends.
QRegion pill(QSize size)
{
    const int radius = size.width() / 2;
    QRegion region(0, radius, size.width(), size.height() - 2 * radius);
    for (int line = 0; line < radius; ++line) {
        const double above = radius - line - 0.5;
        const int inset = int(radius - std::sqrt(radius * radius - above * above));
        region += QRect(inset, line, size.width() - 2 * inset, 1);
        region += QRect(inset, size.height() - 1 - line, size.width() - 2 * inset, 1);
    }
    return region;
}

QColor mixed(const QColor& of, const QColor& with, double share)
{
    const auto part = [share](int a, int b) { return qRound(a + (b - a) * share); };
    return {part(of.red(), with.red()), part(of.green(), with.green()), part(of.blue(), with.blue())};
}

} // namespace

ThinScroller::ThinScroller(QScrollBar& bar, QWidget& parent) : QWidget(&parent), m_bar(bar)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setCursor(Qt::ArrowCursor);
    hide();
}

void ThinScroller::place(const QRect& track)
{
    m_track = track.adjusted(0, Margin, 0, -Margin);
    place();
}

void ThinScroller::place()
{
    const int range = m_bar.maximum() - m_bar.minimum();
    if (range <= 0 || m_track.height() < ShortestThumb) {
        hide();
        return;
    }
    const int thickness = isNear() ? Wide : Thin;
    const double shown = double(m_bar.pageStep()) / (double(range) + m_bar.pageStep());
    const int length = qBound(ShortestThumb, qRound(m_track.height() * shown), m_track.height());
    const double gone = double(m_bar.value() - m_bar.minimum()) / range;
    const int top = m_track.top() + qRound((m_track.height() - length) * gone);
    const int left = isRightToLeft() ? m_track.left() + Margin : m_track.right() + 1 - Margin - thickness;
    const QRect thumb(left, top, thickness, length);
    if (thumb.size() != size())
        setMask(pill(thumb.size()));
    setGeometry(thumb);
    show();
}

void ThinScroller::paintEvent(QPaintEvent*)
{
    const QColor base = palette().color(QPalette::Base);
    const QColor ink = base.lightnessF() > 0.5 ? Qt::black : Qt::white;
    const QColor color = mixed(base, ink, m_grip ? 0.7 : m_hovered ? 0.6 : 0.45);
    const int end = width() / 2;
    QPainter painter(this);
    painter.fillRect(0, end, width(), height() - 2 * end, color);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    for (const bool lower : {false, true}) {
        const QRect half(0, lower ? height() - end : 0, width(), end);
        painter.setClipRect(half);
        painter.fillRect(half, base); // behind the smooth edge
        painter.drawEllipse(0, lower ? height() - width() : 0, width(), width());
    }
}

void ThinScroller::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_grip = event->position().y();
    update();
}

void ThinScroller::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_grip)
        return;
    const double top = mapToParent(event->position()).y() - *m_grip - m_track.top();
    const double way = m_track.height() - height();
    if (way > 0)
        m_bar.setValue(m_bar.minimum() + qRound(top / way * (m_bar.maximum() - m_bar.minimum())));
}

void ThinScroller::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_grip.reset();
    place();
    update();
}

void ThinScroller::enterEvent(QEnterEvent*)
{
    m_hovered = true;
    place();
    update();
}

void ThinScroller::leaveEvent(QEvent*)
{
    m_hovered = false;
    place();
    update();
}

} // namespace skin
