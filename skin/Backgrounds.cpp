#include "skin/Backgrounds.h"

#include "skin/Colors.h"
#include "skin/Parts.h"

#include <QEvent>
#include <QPainter>

namespace skin {
void BottomBarView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const Image image = imageNamed("tw-bg-footer.png");
    drawThreePartImage(painter, QRectF(0, 0, width(), BarHeight), image, image, image);
}

void EditTimerBackground::paintEvent(QPaintEvent*)
{
    QPainter(this).fillRect(rect(), color(Role::SheetGround));
}

void QuillonNoEntriesBackgroundView::paintEvent(QPaintEvent*)
{
    QPainter(this).fillRect(rect(), color(Role::Ground));
}

QuillonHoursBackgroundView::QuillonHoursBackgroundView(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_Hover);
}

void QuillonHoursBackgroundView::setActive(bool active)
{
    m_active = active;
    update();
}

bool QuillonHoursBackgroundView::event(QEvent* event)
{
    if (event->type() == QEvent::HoverEnter || event->type() == QEvent::HoverLeave)
        update();
    return QWidget::event(event);
}

void QuillonHoursBackgroundView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawNinePartImage(painter, rect(), ninePartsNamed("tw-tf"));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    // Lighter, closer to the white of an editable field.
    painter.setBrush(color(m_active || underMouse() ? Role::HoursFieldActive : Role::HoursField));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -2), 4, 4);
}

void QuillonDebugBackgroundView::paintEvent(QPaintEvent*)
{
    QPainter(this).fillRect(rect(), QBrush(color(Role::Debug), Qt::BDiagPattern));
}

} // namespace skin
