#include "skin/HUDBorderlessWindow.h"

#include "platform/Compositing.h"
#include "skin/Colors.h"
#include "skin/Popups.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

#include <utility>

namespace skin {
namespace {

constexpr double CornerRadius = 9;

} // namespace

HUDBorderlessWindow::HUDBorderlessWindow(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
}

void HUDBorderlessWindow::setVisible(bool visible)
{
    if (visible)
        lookForCompositor();
    QWidget::setVisible(visible);
}

bool HUDBorderlessWindow::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::Enter:
    case QEvent::WindowActivate:
    case QEvent::Paint:
        // Compositors come and go without notifying windows. Later, as this may be in the middle of painting.
        QMetaObject::invokeMethod(this, &HUDBorderlessWindow::lookForCompositor, Qt::QueuedConnection);
        break;
    case QEvent::Hide:
        closePopupsOf(*this);
        break;
    default:
        break;
    }
    return QWidget::event(event);
}

void HUDBorderlessWindow::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_initialLocation = pos();
    if (!windowHandle() || !windowHandle()->startSystemMove())
        m_grabbedAt = event->globalPosition().toPoint();
}

void HUDBorderlessWindow::mouseMoveEvent(QMouseEvent* event)
{
    if (m_grabbedAt)
        move(m_initialLocation + event->globalPosition().toPoint() - *m_grabbedAt);
}

void HUDBorderlessWindow::mouseReleaseEvent(QMouseEvent*)
{
    m_grabbedAt.reset();
}

void HUDBorderlessWindow::lookForCompositor()
{
    const bool translucent = platform::isScreenComposited();
    if (translucent == std::exchange(m_translucent, translucent))
        return;
    applyMask();
    update();
}

void HUDBorderlessWindow::applyMask()
{
    if (m_translucent) {
        clearMask();
        return;
    }
    platform::maskRounded(*this, rect(), CornerRadius);
}

HUDBorderlessView::HUDBorderlessView(QWidget* parent) : QWidget(parent)
{
    setFixedWidth(static_cast<int>(topImage().size().width()));
}

QSize HUDBorderlessView::minimumSizeHint() const
{
    const QSizeF size = topImage().size();
    return {static_cast<int>(size.width()), static_cast<int>(size.height() + bottomImage().size().height())};
}

void HUDBorderlessView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    // The background shows through translucent pictures only where the panel itself does.
    const auto* panel = qobject_cast<const HUDBorderlessWindow*>(window());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), panel && panel->isTranslucent() ? QColor(Qt::transparent) : color(Role::HudOpaque));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);

    const QSizeF top = topImage().size();
    const QSizeF bottom = bottomImage().size();
    const double bottomEdge = height() - bottom.height();
    bottomImage().draw(painter, QRectF(QPointF(0, bottomEdge), bottom));
    topImage().draw(painter, QRectF(QPointF(0, 0), top));
    midImage().draw(painter, QRectF(QPointF(0, top.height()), QPointF(width(), bottomEdge)));
    if (appearance().scheme < Scheme::ClearLight)
        return;
    // Where depth does not count, a plain line says where the panel ends.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color(Role::HudRim), 2));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), CornerRadius - 1, CornerRadius - 1);
}

} // namespace skin
