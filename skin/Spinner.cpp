#include "skin/Spinner.h"

#include "skin/Appearance.h"

#include <QPainter>
#include <QTimerEvent>
#include <QWindow>

#include <algorithm>

namespace skin {
namespace {

constexpr int Spokes = 12;
constexpr int StepMs = 90;

} // namespace

Spinner::Spinner(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void Spinner::startAnimation()
{
    m_animating = true;
    setAccessibleName(tr("Loading")); // one that stands still has nothing to say
    update();
}

void Spinner::stopAnimation()
{
    m_animating = false;
    m_timer.stop();
    setAccessibleName({});
    update();
}

void Spinner::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId()) {
        QWidget::timerEvent(event);
        return;
    }
    // Minimized or covered: the next paint event resumes.
    const QWindow* window = this->window()->windowHandle();
    if (!window || !window->isExposed() || appearance().still)
        m_timer.stop();
    m_step = (m_step + 1) % Spokes;
    update();
}

void Spinner::paintEvent(QPaintEvent*)
{
    if (!m_animating)
        return;
    if (isVisible() && !m_timer.isActive() && !appearance().still)
        m_timer.start(StepMs, Qt::CoarseTimer, this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const qreal size = std::min(width(), height());
    painter.translate(QRectF(rect()).center());
    painter.scale(size / 16, size / 16);
    QColor shade = palette().color(QPalette::WindowText);
    for (int i = 0; i < Spokes; ++i) {
        // The spoke at `m_step` leads; those behind it fade.
        const int behind = (m_step - i + Spokes) % Spokes;
        shade.setAlphaF(static_cast<float>(std::max(0.15, 1.0 - behind * 0.09)));
        painter.setBrush(shade);
        painter.drawRoundedRect(QRectF(-0.8, -7.5, 1.6, 3.9), 0.8, 0.8);
        painter.rotate(360.0 / Spokes);
    }
}

} // namespace skin
