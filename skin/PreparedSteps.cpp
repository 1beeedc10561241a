#include "skin/PreparedSteps.h"

#include <QPainter>
#include <QScopedValueRollback>
#include <QWidget>
#include <QWindow>

#include <cmath>

namespace skin {
namespace {

/// The pixels that the rectangle touches.
QRect pixelsOf(const QRect& points, double scale)
{
    return QRectF(points.x() * scale, points.y() * scale, points.width() * scale, points.height() * scale)
        .toAlignedRect();
}

} // namespace

bool PreparedSteps::show(const QRect& area, double opacity)
{
    if (m_widget.testAttribute(Qt::WA_WState_InPaintEvent))
        return false; // a pulse that begins as its widget is painted must not paint it once more
    QWidget* window = nativeWindow();
    if (!window || !isInSight(area) || !prepareWindow(*window))
        return false;
    const QRect inWindow(m_widget.mapTo(window, area.topLeft()), area.size());
    const double scale = window->devicePixelRatioF();
    const QRect place = pixelsOf(inWindow, scale);
    if (place != m_place || scale != m_scale)
        m_steps.clear();
    m_place = place;
    m_scale = scale;
    if (!m_paint->reaches(place))
        return false;
    auto step = m_steps.find(opacity);
    if (step == m_steps.end()) {
        const QScopedValueRollback painting(m_isPainting, true);
        step = m_steps.emplace(opacity, paint(*window, inWindow)).first;
    }
    m_area = area;
    m_isShown = m_paint->put(m_place.topLeft(), step->second);
    return m_isShown;
}

bool PreparedSteps::painted()
{
    if (m_isPainting)
        return false;
    m_steps.clear();
    giveWay();
    return true;
}

void PreparedSteps::windowIsPainted()
{
    if (!m_isShown)
        return;
    const QWidget* window = nativeWindow();
    if (!window || !isInSight(m_area) ||
        pixelsOf(QRect(m_widget.mapTo(window, m_area.topLeft()), m_area.size()), window->devicePixelRatioF()) !=
            m_place)
        giveWay();
}

void PreparedSteps::giveWay()
{
    m_isShown = false;
    if (m_paint)
        m_paint->giveWay(m_place);
}

QWidget* PreparedSteps::nativeWindow() const
{
    return m_widget.internalWinId() ? &m_widget : m_widget.nativeParentWidget();
}

bool PreparedSteps::isInSight(const QRect& area) const
{
    return QRegion(area).subtracted(m_widget.visibleRegion()).isEmpty();
}

bool PreparedSteps::prepareWindow(QWidget& window)
{
    QWindow* handle = window.windowHandle();
    if (!handle)
        return false;
    if (m_paint && !m_paint->isFor(*handle))
        m_paint.reset();
    if (!m_paint)
        m_paint = platform::makeDirectPaint(*handle, [this] { m_widget.update(); });
    return m_paint != nullptr;
}

QImage PreparedSteps::paint(QWidget& window, const QRect& area) const
{
    QImage image(m_place.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    // Moved by whole pixels, so that everything snaps as it does on the screen.
    painter.translate(-m_place.topLeft());
    painter.scale(m_scale, m_scale);
    // One point more on each side: what is clipped there may end within a pixel.
    const QRect whole = area.adjusted(-1, -1, 1, 1) & window.rect();
    const bool translucent = window.testAttribute(Qt::WA_TranslucentBackground);
    window.render(&painter, whole.topLeft(), whole,
                  translucent ? QWidget::DrawChildren : QWidget::DrawWindowBackground | QWidget::DrawChildren);
    painter.end();
    return image.copy(); // without the four kilobytes with which it was painted
}

} // namespace skin
