#pragma once

#include "timesheet/RLDropHighlight.h"

#include <QWidget>

namespace timesheet {

class RLListView;

/// The parent of a list's cells. Only as large as the visible part of the list, and cells are positioned relative to
/// that part: so a widget's maximum size does not limit the length of a list.
class RLListDocumentView final : public QWidget
{
    Q_OBJECT
public:
    explicit RLListDocumentView(RLListView& listView);

    RLListView& listView() const { return m_listView; }

    void setDropHighlight(RLDropHighlight highlight);
    RLDropHighlight dropHighlight() const { return m_dropHighlight; }

    /// Repaints the document and the visible cells.
    void redisplay();

    /// Draws the drop highlight in this widget's coordinates. Cells cover the document, so each draws its part.
    void drawDropHighlight(QPainter& painter) const;
    /// Draws the mark of the keyboard focus around `row`, or where none is chosen along the sides of all of them, which
    /// scrolling leaves as they are.
    void drawFocusMark(QPainter& painter, const QRect& row) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    RLListView& m_listView;
    RLDropHighlight m_dropHighlight = RLDropHighlight::None;
};

} // namespace timesheet
