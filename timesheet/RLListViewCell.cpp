#include "timesheet/RLListViewCell.h"

#include "timesheet/RLListDocumentView.h"
#include "timesheet/RLListView.h"

#include <QAccessible>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>

#include <utility>

namespace timesheet {

RLListViewCell::RLListViewCell(const QString& reusableIdentifier) : m_reusableIdentifier(reusableIdentifier) {}

RLListViewCell::~RLListViewCell()
{
    if (m_listView)
        m_listView->m_cells.forget(*this);
}

QString RLListViewCell::reusableIdentifier() const
{
    if (!m_reusableIdentifier.isEmpty())
        return m_reusableIdentifier;
    // Known only now: the base class's constructor sees its own class.
    return QString::fromLatin1(metaObject()->className()).section(QStringLiteral("::"), -1);
}

bool RLListViewCell::isSelected() const
{
    return m_listView && m_listView->selectedRows().contains(m_row);
}

void RLListViewCell::setDropHighlight(RLDropHighlight highlight)
{
    if (m_dropHighlight == highlight)
        return;
    m_dropHighlight = highlight;
    update();
}

void RLListViewCell::prepareForReuse()
{
    setDropHighlight(RLDropHighlight::None);
}

QString RLListViewCell::accessibleText() const
{
    return accessibleName();
}

void RLListViewCell::tellName()
{
    if (!QAccessible::isActive())
        return;
    if (const QString name = accessibleText(); std::exchange(m_toldName, name) != name) {
        QAccessibleEvent event(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&event);
    }
}

void RLListViewCell::press()
{
    if (m_listView && isVisible())
        m_listView->handleMouseDown(nullptr, *this);
}

void RLListViewCell::showContextMenu()
{
    const QPoint below(qMin(24, width() / 2), height() - 1);
    // Not as from the keyboard: a cell without a menu would pass that on to the list, which asks the cell.
    QContextMenuEvent menu(QContextMenuEvent::Other, below, mapToGlobal(below));
    QCoreApplication::sendEvent(this, &menu);
}

bool RLListViewCell::event(QEvent* event)
{
    const bool handled = QWidget::event(event);
    if (event->type() == QEvent::Paint && m_listView)
        drawDecorations();
    return handled;
}

void RLListViewCell::drawDecorations()
{
    const RLListDocumentView& document = m_listView->documentView();
    const bool marked = m_listView->marksFocus() && (isSelected() || m_listView->selectedRows().empty());
    if (!marked && m_dropHighlight == RLDropHighlight::None && document.dropHighlight() == RLDropHighlight::None)
        return;
    QPainter painter(this);
    const QColor color = palette().color(QPalette::Highlight);
    switch (m_dropHighlight) {
    case RLDropHighlight::None:
        break;
    case RLDropHighlight::OnRow:
        painter.setPen(QPen(color, 2, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
        painter.drawRect(QRectF(rect()).adjusted(1, 1, -1, -1));
        break;
    case RLDropHighlight::Below:
        painter.fillRect(QRect(0, height() - 2, width(), 2), color);
        break;
    case RLDropHighlight::Above:
        painter.fillRect(QRect(0, 0, width(), 2), color);
        break;
    }
    if (marked)
        document.drawFocusMark(painter, rect());
    painter.translate(-pos());
    document.drawDropHighlight(painter);
}

void RLListViewCell::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && m_listView)
        m_listView->handleMouseDown(event, *this);
    else
        QWidget::mousePressEvent(event);
}

void RLListViewCell::mouseDoubleClickEvent(QMouseEvent* event)
{
    mousePressEvent(event);
}

} // namespace timesheet
