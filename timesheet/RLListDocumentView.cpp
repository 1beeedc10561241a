#include "timesheet/RLListDocumentView.h"

#include "skin/Colors.h"
#include "timesheet/RLListView.h"
#include "timesheet/RLListViewCell.h"

#include <QMouseEvent>
#include <QPainter>

namespace timesheet {

RLListDocumentView::RLListDocumentView(RLListView& listView) : QWidget(&listView), m_listView(listView)
{
    // Scrolling moves pixels only in a widget known to be opaque.
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
}

void RLListDocumentView::setDropHighlight(RLDropHighlight highlight)
{
    if (m_dropHighlight == highlight)
        return;
    m_dropHighlight = highlight;
    redisplay();
}

void RLListDocumentView::redisplay()
{
    update();
    // An opaque child's area is not repainted with its parent.
    for (RLListViewCell* cell : m_listView.visibleCells())
        cell->update();
}

void RLListDocumentView::drawDropHighlight(QPainter& painter) const
{
    if (m_dropHighlight == RLDropHighlight::None)
        return;
    const QColor strong = palette().color(QPalette::Highlight);
    QColor frame = strong;
    frame.setAlphaF(0.5);
    painter.setPen(QPen(frame, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    if (m_dropHighlight == RLDropHighlight::OnRow)
        return;
    const int rows = m_listView.numberOfRows();
    const double below = rows > 0 ? m_listView.rectOfRow(rows - 1).bottom() - m_listView.visibleRect().top() : 0;
    painter.fillRect(QRectF(0, below, width(), 2), strong);
}

void RLListDocumentView::drawFocusMark(QPainter& painter, const QRect& row) const
{
    constexpr int thickness = 2;
    QRegion mark(row);
    mark -= m_listView.selectedRows().empty() ? row.adjusted(thickness, 0, -thickness, 0)
                                              : row.adjusted(thickness, thickness, -thickness, -thickness);
    for (const QRect& part : mark)
        painter.fillRect(part, skin::color(skin::Role::Focus));
}

void RLListDocumentView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (m_listView.marksFocus() && m_listView.selectedRows().empty())
        drawFocusMark(painter, rect());
    drawDropHighlight(painter);
}

void RLListDocumentView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_listView.handleMouseDownOutsideCells(*event);
    else
        event->ignore();
}

void RLListDocumentView::mouseDoubleClickEvent(QMouseEvent* event)
{
    mousePressEvent(event);
}

} // namespace timesheet
