#pragma once

#include "timesheet/CellPool.h"
#include "timesheet/RLListAccessible.h"
#include "timesheet/RowLayout.h"

#include <QAbstractScrollArea>
#include <QStringList>

#include <set>
#include <vector>

namespace skin {
class ThinScroller;
}

namespace timesheet {

class RLListDocumentView;
class RLListViewCell;
class RLListViewDelegate;

/// A scrolling list of rows of different heights, made of cells that are reused.
///
/// Only visible rows have a cell, so a long list costs no more than a screenful. Rows are counted from 0; positions and
/// heights are points in the document, which begins above row 0 and grows downwards. Main thread only.
///
/// Heights are requested once per layout and kept: a delegate whose heights change calls `reloadData` or
/// `reloadRowAtIndex`. A change of the width requests them again by itself.
class RLListView : public QAbstractScrollArea
{
    Q_OBJECT
public:
    using RowRange = timesheet::RowRange;

    explicit RLListView(QWidget* parent = nullptr);
    ~RLListView() override;

    /// Not owned; must outlive the list or be replaced. Without a delegate the list is empty. Setting one does not load
    /// its rows.
    void setDelegate(RLListViewDelegate* delegate);
    RLListViewDelegate* delegate() const { return m_delegate; }

    RLListDocumentView& documentView() const { return *m_documentView; }

    /// Points below each row. 0 by default.
    void setCellSpacing(double points);
    double cellSpacing() const { return m_cellSpacing; }
    /// True by default.
    void setAllowsEmptySelection(bool allows) { m_allowsEmptySelection = allows; }
    bool allowsEmptySelection() const { return m_allowsEmptySelection; }
    /// False by default.
    void setAllowsMultipleSelection(bool allows) { m_allowsMultipleSelection = allows; }
    bool allowsMultipleSelection() const { return m_allowsMultipleSelection; }
    /// Whether rows follow the width while the person is still dragging it. True by default.
    void setUsesLiveResize(bool uses) { m_usesLiveResize = uses; }
    bool usesLiveResize() const { return m_usesLiveResize; }
    /// Texts of the keys that go to the delegate instead of the list.
    void setKeysToForward(const QStringList& keys) { m_keysToForward = keys; }
    const QStringList& keysToForward() const { return m_keysToForward; }

    /// Reloads everything. Keeps the scroll position as far as the new height allows and the keyboard focus in a row's
    /// button if the row still has the same cell; clears the selection without a notification.
    void reloadData();
    /// Updates the layout after a row's height has changed.
    void reloadRowAtIndex(int row);

    int numberOfRows() const { return m_numberOfRows; }

    /// A waiting cell with that identifier, prepared for reuse; null when there is none. It belongs to the caller until
    /// the list lays it out.
    RLListViewCell* dequeueCellWithReusableIdentifier(const QString& identifier);
    /// Hides a cell and keeps it for reuse.
    void enqueueCell(RLListViewCell& cell);

    /// The visible cells, in row order.
    std::vector<RLListViewCell*> visibleCells() const { return m_cells.visible(); }
    std::vector<RLListViewCell*> visibleCellsForRowIndexes(const std::set<int>& rows) const;
    /// Null when the row is not visible.
    RLListViewCell* visibleCellForRow(int row) const { return m_cells.visibleCell(row); }
    RLListViewCell* cellForRowAtIndex(int row) const { return visibleCellForRow(row); }
    RowRange visibleRange() const;

    /// In the document; empty for a missing row.
    QRectF rectOfRow(int row) const;
    /// The last row that begins at that point of the document or above it; -1: none does.
    int rowAt(double y) const;
    /// The first row whose top is visible; 0 without rows.
    int firstWholeRow() const;
    /// The visible part of the document.
    QRectF visibleRect() const;
    /// Height of the document: of all rows, or a little less than the list if they are not higher.
    double documentHeight() const;

    /// The only selected row; -1 when none is selected or several are.
    int selectedRow() const;
    void setSelectedRow(int row) { selectRowIndexes({row}); }
    const std::set<int>& selectedRows() const { return m_selectedRows; }
    void setSelectedRows(const std::set<int>& rows) { selectRowIndexes(rows); }
    /// Missing rows are left out.
    void selectRowIndexes(const std::set<int>& rows, bool byExtendingSelection = false);
    void deselectRowIndexes(std::set<int> rows);
    void deselectRows() { deselectRowIndexes(m_selectedRows); }
    /// No effect unless several rows may be selected.
    void selectAll();
    void deselectAll() { selectRowIndexes({}); }
    /// Whether a menu item for that command should be enabled.
    bool validateSelectAll() const;
    bool validateDeselectAll() const;

    /// A row that extends below the visible part scrolls to the end of the list, any other to the top.
    void scrollToRow(int row);
    /// The same, unless the whole row is in sight.
    void scrollRowToVisible(int row);
    /// Makes the whole row visible, scrolling no further than needed.
    void revealRow(int row);
    /// Points of the document above the visible part; out-of-range values are clamped.
    void setScrollOffset(int points);
    int scrollOffset() const;
    /// Whether the list is higher than its view, so that the scroller shows. It lies over the rows and takes no width.
    bool isScrollerVisible() const;

    /// Sets the visible cells' geometry again.
    void layoutCells();
    /// Requests all heights; follow with `updateCells` and `layoutCells`.
    void cacheCellLayout();
    /// Matches the cells to the visible rows.
    void updateCells();

    /// To be called when the person begins and ends to drag an edge of the window, where that is known.
    void viewWillStartLiveResize();
    void viewDidEndLiveResize();

    void moveUp();
    void moveDown();

    /// Handles the key, wherever in the window it was pressed. False: it did nothing.
    bool handleKey(QKeyEvent& event);
    /// Opens the menu of the row that `currentRow` names, as if by keyboard. False: there is none.
    bool showContextMenuOfCurrentRow();

    /// A press on a cell, and one beside the cells. No event: a press by assistive technology, which counts as one with
    /// a modifier key.
    void handleMouseDown(const QMouseEvent* event, RLListViewCell& inCell);
    void handleMouseDownOutsideCells(const QMouseEvent& event);

    /// The selected row that keys and menus apply to: of several the one selected last; -1 without a selection.
    int currentRow() const;
    /// Whether the keyboard focus is here and should be visible because the person works with the keyboard.
    bool marksFocus() const;

signals:
    /// After every change of the selection.
    void selectionDidChange();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    friend class RLListViewCell; // a cell that is destroyed leaves the list

    bool hasRow(int row) const { return row >= 0 && row < m_numberOfRows; }
    double contentWidth() const;
    QRect frameOfRow(int row) const;
    void updateDocumentSize();
    void rebuildLayout();

    RLListViewCell& addCell(int row);
    void layoutCell(RLListViewCell& cell, int row);
    void frameCells();
    void retireVisibleCells();
    void hideRetiredCells();

    void selectionChanged(const std::set<int>& redisplayed);
    void takeFocusFrom(const RLListViewCell& cell);

    RLListViewDelegate* m_delegate = nullptr;
    RLListDocumentView* m_documentView;
    skin::ThinScroller* m_scroller;

    CellPool m_cells;
    RowRange m_currentRange;

    std::set<int> m_selectedRows;
    int m_lastSelectedRow = -1;
    RLListNotices m_notices;

    int m_numberOfRows = 0;
    RowLayout m_rows;
    double m_cellSpacing = 0;
    double m_widthPriorToResize = 0;
    double m_layoutWidth = -1; ///< the width the heights were computed for
    double m_wheelRemainder = 0;

    bool m_allowsEmptySelection = true;
    bool m_allowsMultipleSelection = false;
    bool m_usesLiveResize = true;
    bool m_inLiveResize = false;
    bool m_showsFocus = false;
    QStringList m_keysToForward;
};

} // namespace timesheet
