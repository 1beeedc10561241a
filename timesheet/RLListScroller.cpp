#include "timesheet/RLListScroller.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

namespace timesheet {
namespace {

constexpr int shortestThumb = 28;
constexpr int margin = 2;

} // namespace

RLListScroller::RLListScroller(QScrollBar& bar, QWidget& parent) : QWidget(&parent), m_bar(bar)
{
    setCursor(Qt::ArrowCursor);
    hide();
}

void RLListScroller::place(const QRect& track)
{
    m_track = track.adjusted(0, margin, 0, -margin);
    const int range = m_bar.maximum() - m_bar.minimum();
    if (range <= 0 || m_track.height() < shortestThumb) {
        hide();
        return;
    }
    const double shown = double(m_bar.pageStep()) / (double(range) + m_bar.pageStep());
    const int length = qBound(shortestThumb, qRound(m_track.height() * shown), m_track.height());
    const double gone = double(m_bar.value() - m_bar.minimum()) / range;
    const int top = m_track.top() + qRound((m_track.height() - length) * gone);
    setGeometry(m_track.right() + 1 - breadth, top, breadth, length);
    show();
}

void RLListScroller::paintEvent(QPaintEvent*)
{
    const bool near = m_grip || underMouse();
    const double thickness = near ? 7 : 5;
    QColor color = palette().color(QPalette::Base).lightnessF() > 0.5 ? Qt::black : Qt::white;
    color.setAlphaF(m_grip ? 0.6 : near ? 0.5 : 0.28);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(breadth - margin - thickness, 0, thickness, height()), thickness / 2, thickness / 2);
}

void RLListScroller::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_grip = event->position().y();
    update();
}

void RLListScroller::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_grip)
        return;
    const double top = mapToParent(event->position()).y() - *m_grip - m_track.top();
    const double way = m_track.height() - height();
    if (way > 0)
        m_bar.setValue(m_bar.minimum() + qRound(top / way * (m_bar.maximum() - m_bar.minimum())));
}

void RLListScroller::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_grip.reset();
    update();
}

void RLListScroller::enterEvent(QEnterEvent*)
{
    update();
}

void RLListScroller::leaveEvent(QEvent*)
{
    update();
}

} // namespace timesheet
