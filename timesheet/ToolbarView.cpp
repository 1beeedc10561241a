#include "timesheet/ToolbarView.h"

#include "skin/Parts.h"

#include <QPainter>

namespace timesheet {

void ToolbarView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const skin::Image image = skin::imageNamed("tw-bg-header.png");
    skin::drawThreePartImage(painter, QRectF(0, 0, width(), Height), image, image, image);
}

} // namespace timesheet
