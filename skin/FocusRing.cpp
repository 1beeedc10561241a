#include "skin/FocusRing.h"

#include "skin/Colors.h"
#include "skin/HUDBorderlessWindow.h"

#include <QFocusEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWidget>

#include <algorithm>

namespace skin {
namespace {

constexpr int Reach = 3;

class Glow final : public QWidget
{
public:
    Glow(QWidget* parent, double radius) : QWidget(parent), m_radius(radius)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF control = QRectF(rect()).adjusted(Reach, Reach, -Reach, -Reach);
        const double radius = std::min(m_radius, control.height() / 2);
        // Two bands: a soft one all the way out, a clear one next to the control.
        const bool onHud = qobject_cast<const HUDBorderlessWindow*>(window());
        for (const auto& [width, role] : {std::pair{3.0, onHud ? Role::HudFocusGlow : Role::FocusGlow},
                                          std::pair{2.0, onHud ? Role::HudFocus : Role::Focus}}) {
            QPainterPath band;
            band.addRoundedRect(control.adjusted(-width, -width, width, width), radius + width, radius + width);
            band.addRoundedRect(control.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5, radius - 0.5);
            painter.fillPath(band, color(role));
        }
    }

private:
    double m_radius;
};

} // namespace

FocusRing::FocusRing(QWidget& control, double radius) : m_control(control), m_radius(radius)
{
    control.installEventFilter(this);
}

FocusRing::~FocusRing()
{
    delete m_glow.data();
}

void FocusRing::setShown(bool shown)
{
    m_shown = shown;
    follow();
}

void FocusRing::follow()
{
    QWidget* surroundings = m_control.isWindow() ? nullptr : m_control.parentWidget();
    if (!m_shown || !surroundings || m_control.isHidden()) {
        if (m_glow)
            m_glow->hide();
        return;
    }
    if (!m_glow)
        m_glow = new Glow(surroundings, m_radius);
    else if (m_glow->parentWidget() != surroundings)
        m_glow->setParent(surroundings);
    m_glow->setGeometry(m_control.geometry().adjusted(-Reach, -Reach, Reach, Reach));
    m_glow->raise();
    m_glow->show();
}

bool FocusRing::eventFilter(QObject*, QEvent* event)
{
    switch (event->type()) {
    case QEvent::FocusIn: {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        // When a window or menu gives the focus back, the ring is as it was.
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            m_byKeyboard = reason != Qt::MouseFocusReason;
        setShown(m_byKeyboard);
        break;
    }
    case QEvent::FocusOut:
        setShown(false);
        break;
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::ShowToParent:
    case QEvent::HideToParent:
    case QEvent::ParentChange:
        if (m_shown)
            follow();
        break;
    default:
        break;
    }
    return false;
}

} // namespace skin
