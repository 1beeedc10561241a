#include "timesheet/RLListView.h"

#include "skin/ThinScroller.h"
#include "timesheet/RLListDocumentView.h"
#include "timesheet/RLListKeys.h"
#include "timesheet/RLListViewCell.h"
#include "timesheet/RLListViewDelegate.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>
#include <ranges>

namespace timesheet {
namespace {

/// Points per line of the wheel; one step of a usual wheel is three lines.
constexpr int PointsPerLine = 20;

/// Unlike `qRound` the same for points above and below 0, so that scrolling by whole points moves every edge alike.
int rounded(double points)
{
    return int(std::floor(points + 0.5));
}

} // namespace

RLListView::RLListView(QWidget* parent)
    : QAbstractScrollArea(parent), m_documentView(new RLListDocumentView(*this)),
      m_scroller(new skin::ThinScroller(*verticalScrollBar(), *m_documentView))
{
    installRLListAccessible();
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setSingleStep(PointsPerLine);
    setViewport(m_documentView);
}

RLListView::~RLListView()
{
    // Each leaves the list in its destructor, so they go while the list still exists.
    qDeleteAll(m_documentView->findChildren<RLListViewCell*>());
}

void RLListView::setDelegate(RLListViewDelegate* delegate)
{
    m_delegate = delegate;
    if (!m_delegate)
        reloadData();
}

void RLListView::setCellSpacing(double points)
{
    m_cellSpacing = std::max(0.0, points);
    rebuildLayout();
}

// Loading and layout

void RLListView::reloadData()
{
    retireVisibleCells();
    m_selectedRows.clear();
    m_lastSelectedRow = -1;
    m_numberOfRows = m_delegate ? std::max(0, m_delegate->numberOfRowsInListView(*this)) : 0;
    rebuildLayout();
}

void RLListView::reloadRowAtIndex(int row)
{
    if (!hasRow(row))
        return;
    cacheCellLayout();
    updateCells();
    layoutCells();
}

void RLListView::rebuildLayout()
{
    retireVisibleCells();
    cacheCellLayout();
    updateCells();
    layoutCells();
    hideRetiredCells();
}

void RLListView::cacheCellLayout()
{
    m_layoutWidth = contentWidth();
    m_rows.make(m_numberOfRows, m_cellSpacing, [this](int row) { return m_delegate->heightOfRow(*this, row); });
    updateDocumentSize();
}

double RLListView::documentHeight() const
{
    return m_rows.totalHeight() > height() ? m_rows.totalHeight() : height() - 2;
}

void RLListView::updateDocumentSize()
{
    QScrollBar& bar = *verticalScrollBar();
    const int view = viewport()->height();
    const double hidden = std::ceil(documentHeight()) - view;
    {
        // The callers place the cells themselves, once everything is in order.
        const QSignalBlocker blocker(bar);
        bar.setPageStep(view);
        bar.setRange(0, int(std::clamp(hidden, 0.0, double(std::numeric_limits<int>::max()))));
    }
    m_scroller->place(viewport()->rect());
}

double RLListView::contentWidth() const
{
    return m_inLiveResize && !m_usesLiveResize ? m_widthPriorToResize : viewport()->width();
}

QRectF RLListView::rectOfRow(int row) const
{
    if (!hasRow(row))
        return {};
    return {0, m_rows.top(row), contentWidth(), m_rows.height(row)};
}

QRectF RLListView::visibleRect() const
{
    return {0, double(scrollOffset()), double(viewport()->width()), double(viewport()->height())};
}

QRect RLListView::frameOfRow(int row) const
{
    const QRectF rect = rectOfRow(row).translated(0, -scrollOffset());
    const int top = rounded(rect.top());
    return {0, top, rounded(rect.width()), rounded(rect.bottom()) - top};
}

RowRange RLListView::visibleRange() const
{
    const QRectF visible = visibleRect();
    return m_rows.rowsBetween(visible.top(), visible.bottom());
}

int RLListView::rowAt(double y) const
{
    return m_rows.rowAt(y);
}

// Cells

RLListViewCell* RLListView::dequeueCellWithReusableIdentifier(const QString& identifier)
{
    RLListViewCell* cell = m_cells.dequeue(identifier);
    if (cell)
        cell->prepareForReuse();
    return cell;
}

void RLListView::enqueueCell(RLListViewCell& cell)
{
    m_cells.enqueue(cell);
}

void RLListView::retireVisibleCells()
{
    for (RLListViewCell* cell : visibleCells())
        m_cells.retire(*cell);
    m_currentRange = {};
}

void RLListView::hideRetiredCells()
{
    m_cells.hideRetired([this](const RLListViewCell& cell) { takeFocusFrom(cell); });
}

void RLListView::takeFocusFrom(const RLListViewCell& cell)
{
    const QWidget* focused = QApplication::focusWidget();
    if (focused && cell.isAncestorOf(focused))
        setFocus(Qt::OtherFocusReason);
}

RLListViewCell& RLListView::addCell(int row)
{
    RLListViewCell& cell = m_delegate->cellForRow(*this, row);
    layoutCell(cell, row);
    return cell;
}

void RLListView::layoutCell(RLListViewCell& cell, int row)
{
    if (cell.parentWidget() != m_documentView) {
        cell.setParent(m_documentView);
        cell.lower(); // the scroller lies over the cells
        // The tab key would go through the cells in the order in which they were made.
        for (QWidget* child : cell.findChildren<QWidget*>()) {
            if (child->focusPolicy() & Qt::TabFocus)
                child->setFocusPolicy(Qt::ClickFocus);
        }
    }
    if (cell.row() != row) {
        // Space must not press the button of a row that happens to have scrolled there.
        takeFocusFrom(cell);
        cell.update();
    }
    cell.m_listView = this;
    cell.m_row = row;
    cell.setGeometry(frameOfRow(row));
    cell.show();
    cell.tellName();
}

void RLListView::frameCells()
{
    for (RLListViewCell* cell : m_cells.visible())
        cell->setGeometry(frameOfRow(cell->row()));
}

void RLListView::layoutCells()
{
    frameCells();
    for (RLListViewCell* cell : visibleCells())
        cell->layoutSubviews();
    updateDocumentSize();
}

void RLListView::updateCells()
{
    const RowRange range = visibleRange();
    if (range == m_currentRange)
        return;
    // What leaves goes first: an entering row then reuses the cell of one that left.
    for (RLListViewCell* cell : visibleCells()) {
        if (!range.contains(cell->row()))
            m_cells.retire(*cell);
    }
    const bool overlaps = range.intersects(m_currentRange);
    const RowRange kept = overlaps ? m_currentRange : RowRange{range.first, 0};
    for (int row = kept.first - 1; row >= range.first; --row)
        m_cells.addAbove(addCell(row));
    for (int row = std::max(kept.end(), range.first); row < range.end(); ++row)
        m_cells.addBelow(addCell(row));
    m_currentRange = range;
    hideRetiredCells();
    m_notices.focusMoved(*this);
}

std::vector<RLListViewCell*> RLListView::visibleCellsForRowIndexes(const std::set<int>& rows) const
{
    std::vector<RLListViewCell*> cells;
    std::ranges::copy_if(m_cells.visible(), std::back_inserter(cells),
                         [&](const RLListViewCell* cell) { return rows.contains(cell->row()); });
    return cells;
}

// Scrolling

int RLListView::scrollOffset() const
{
    return verticalScrollBar()->value();
}

void RLListView::setScrollOffset(int points)
{
    verticalScrollBar()->setValue(points);
}

bool RLListView::isScrollerVisible() const
{
    return verticalScrollBar()->maximum() > 0;
}

void RLListView::scrollToRow(int row)
{
    if (!hasRow(row))
        return;
    const QRectF rect = rectOfRow(row);
    setScrollOffset(rect.bottom() > visibleRect().bottom() ? verticalScrollBar()->maximum() : rounded(rect.top()));
}

void RLListView::scrollRowToVisible(int row)
{
    if (hasRow(row) && !visibleRect().contains(rectOfRow(row)))
        scrollToRow(row);
}

bool RLListView::viewportEvent(QEvent* event)
{
    switch (event->type()) {
    case QEvent::Paint:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
        // The document view's own.
        return false;
    default:
        return QAbstractScrollArea::viewportEvent(event);
    }
}

void RLListView::scrollContentsBy(int, int dy)
{
    const bool partly = std::abs(dy) < viewport()->height();
    // Moves the cells together with what they have drawn.
    if (partly)
        viewport()->scroll(0, dy);
    updateCells();
    if (!partly)
        frameCells();
    if (m_documentView->dropHighlight() != RLDropHighlight::None)
        m_documentView->redisplay();
    m_scroller->place(viewport()->rect());
}

void RLListView::wheelEvent(QWheelEvent* event)
{
    if (!isScrollerVisible()) {
        event->ignore();
        return;
    }
    // On platforms that provide them these are points; on X11 they are not.
    const bool points = !event->pixelDelta().isNull() && QGuiApplication::platformName() != u"xcb";
    m_wheelRemainder += points ? event->pixelDelta().y()
                               : event->angleDelta().y() * QApplication::wheelScrollLines() * PointsPerLine /
                                     double(QWheelEvent::DefaultDeltasPerStep);
    const double whole = std::trunc(m_wheelRemainder);
    m_wheelRemainder -= whole;
    setScrollOffset(scrollOffset() - int(whole));
    event->accept();
}

void RLListView::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    if (contentWidth() != m_layoutWidth) {
        rebuildLayout();
        return;
    }
    updateDocumentSize();
    updateCells();
    layoutCells();
}

void RLListView::viewWillStartLiveResize()
{
    m_widthPriorToResize = viewport()->width();
    m_inLiveResize = true;
}

void RLListView::viewDidEndLiveResize()
{
    m_inLiveResize = false;
    if (contentWidth() != m_layoutWidth)
        rebuildLayout();
}

// Selection

int RLListView::selectedRow() const
{
    return m_selectedRows.size() == 1 ? *m_selectedRows.begin() : -1;
}

int RLListView::currentRow() const
{
    if (m_selectedRows.contains(m_lastSelectedRow))
        return m_lastSelectedRow;
    return m_selectedRows.empty() ? -1 : *m_selectedRows.rbegin();
}

void RLListView::selectRowIndexes(const std::set<int>& rows, bool byExtendingSelection)
{
    std::set<int> selected = byExtendingSelection ? m_selectedRows : std::set<int>();
    for (const int row : rows) {
        if (hasRow(row))
            m_lastSelectedRow = *selected.insert(row).first;
    }
    std::set<int> redisplayed = std::exchange(m_selectedRows, std::move(selected));
    redisplayed.insert(m_selectedRows.begin(), m_selectedRows.end());
    selectionChanged(redisplayed);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): they may be those that are selected
void RLListView::deselectRowIndexes(std::set<int> rows)
{
    for (const int row : rows)
        m_selectedRows.erase(row);
    selectionChanged(rows);
}

void RLListView::selectAll()
{
    if (!m_allowsMultipleSelection)
        return;
    const auto rows = std::views::iota(0, m_numberOfRows);
    selectRowIndexes(std::set<int>(rows.begin(), rows.end()));
}

bool RLListView::validateSelectAll() const
{
    return m_allowsMultipleSelection && int(m_selectedRows.size()) < m_numberOfRows;
}

bool RLListView::validateDeselectAll() const
{
    return m_allowsEmptySelection && !m_selectedRows.empty();
}

void RLListView::selectionChanged(const std::set<int>& redisplayed)
{
    const auto cells = visibleCellsForRowIndexes(redisplayed);
    for (RLListViewCell* cell : cells)
        cell->update();
    // Without a selection the whole list is marked.
    if (marksFocus())
        m_documentView->redisplay();
    m_notices.selectionChanged(*this);
    m_notices.focusMoved(*this);
    if (m_delegate)
        m_delegate->selectionDidChange(*this);
    emit selectionDidChange();
}

// Mouse

void RLListView::handleMouseDown(const QMouseEvent* event, RLListViewCell& inCell)
{
    // The delegate's double-click handler may give the cell to another row.
    const int row = inCell.row();
    if (m_delegate && event && event->type() == QEvent::MouseButtonDblClick)
        m_delegate->rowDoubleClicked(*this, row);
    setFocus(event ? Qt::MouseFocusReason : Qt::OtherFocusReason);
    if (!hasRow(row))
        return;

    const bool modified = !event || event->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier);
    const bool selected = m_selectedRows.contains(row);
    const bool only = selectedRow() == row;
    if (!m_allowsMultipleSelection) {
        if (modified && selected && m_allowsEmptySelection)
            deselectRowIndexes({row});
        else
            setSelectedRow(row);
    } else if (modified && !selected) {
        selectRowIndexes({row}, true);
    } else if (modified) {
        if (!only || m_allowsEmptySelection)
            deselectRowIndexes({row});
    } else if (!only) {
        setSelectedRow(row);
    }
}

void RLListView::handleMouseDownOutsideCells(const QMouseEvent& event)
{
    if (m_allowsEmptySelection) {
        deselectRows();
    } else if (m_numberOfRows >= 2) {
        const int row = rowAt(mapFromGlobal(event.globalPosition()).y());
        if (row >= 0)
            setSelectedRow(row);
    }
}

void RLListView::contextMenuEvent(QContextMenuEvent* event)
{
    event->setAccepted(event->reason() == QContextMenuEvent::Keyboard && showContextMenuOfCurrentRow());
}

bool RLListView::showContextMenuOfCurrentRow()
{
    const int row = currentRow();
    if (row < 0)
        return false;
    revealRow(row);
    if (RLListViewCell* cell = visibleCellForRow(row))
        cell->showContextMenu();
    return true;
}

// Keys

void RLListView::keyPressEvent(QKeyEvent* event)
{
    event->setAccepted(handleKey(*event));
}

bool RLListView::handleKey(QKeyEvent& event)
{
    constexpr Qt::KeyboardModifiers commands = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    if (m_delegate && !(event.modifiers() & commands) && m_keysToForward.contains(event.text())) {
        event.accept();
        m_delegate->keyDown(*this, event);
        if (event.isAccepted())
            return true;
    }
    if (event.matches(QKeySequence::SelectAll)) {
        selectAll();
        return true;
    }
    if (event.matches(QKeySequence::Deselect) && validateDeselectAll()) {
        deselectAll();
        return true;
    }
    if (event.key() == Qt::Key_F10 && event.modifiers() == Qt::ShiftModifier)
        return showContextMenuOfCurrentRow();
    if (!walkByKey(*this, event))
        return false;
    if (!m_showsFocus) {
        m_showsFocus = true;
        m_documentView->redisplay();
    }
    return true;
}

void RLListView::moveUp()
{
    if (m_selectedRows.empty() || *m_selectedRows.begin() == 0)
        return;
    const int row = *m_selectedRows.begin() - 1;
    setSelectedRow(row);
    scrollRowToVisible(row);
}

void RLListView::moveDown()
{
    const int row = m_selectedRows.empty() ? firstWholeRow() : *m_selectedRows.rbegin() + 1;
    if (!hasRow(row))
        return;
    setSelectedRow(row);
    scrollRowToVisible(row);
}

int RLListView::firstWholeRow() const
{
    const RowRange range = visibleRange();
    const bool cut = range.count > 1 && rectOfRow(range.first).top() < visibleRect().top();
    return range.first + (cut ? 1 : 0);
}

void RLListView::revealRow(int row)
{
    const QRectF rect = rectOfRow(row);
    const QRectF visible = visibleRect();
    if (rect.top() < visible.top() || rect.height() > visible.height())
        setScrollOffset(rounded(rect.top()));
    else if (rect.bottom() > visible.bottom())
        setScrollOffset(int(std::ceil(rect.bottom() - visible.height())));
}

// Focus

void RLListView::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    const Qt::FocusReason reason = event->reason();
    // Other reasons say nothing about how the person works: no change.
    if (reason == Qt::MouseFocusReason)
        m_showsFocus = false;
    else if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason)
        m_showsFocus = true;
    m_documentView->redisplay();
    m_notices.focusCame();
    m_notices.focusMoved(*this);
}

void RLListView::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    m_documentView->redisplay();
}

bool RLListView::marksFocus() const
{
    return m_showsFocus && hasFocus();
}

bool RLListView::focusNextPrevChild(bool next)
{
    // From a row's button as from the list; only then is it known where the focus goes.
    if (!hasFocus()) {
        setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
        if (!next)
            return true;
    }
    return QAbstractScrollArea::focusNextPrevChild(next);
}

} // namespace timesheet
