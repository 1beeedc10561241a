#pragma once

#include <QKeyEvent>

namespace timesheet {

class RLListView;
class RLListViewCell;

/// Supplies the rows of a list and handles their events. Main thread only.
///
/// Rows are counted from 0. The heights and the number of rows are requested for each layout (see
/// `RLListView::reloadData`, `RLListView::cacheCellLayout`), a cell when its row becomes visible.
class RLListViewDelegate
{
public:
    virtual int numberOfRowsInListView(RLListView& listView) = 0;

    /// The cell of a row that comes into sight, showing that row: one from
    /// `RLListView::dequeueCellWithReusableIdentifier`, or a new one when there is none. The list owns it from then on.
    virtual RLListViewCell& cellForRow(RLListView& listView, int row) = 0;

    /// In points. Less than 0 counts as 0.
    virtual double heightOfRow(RLListView& listView, int row) = 0;

    /// What stands in a row. As long as that stays where it is, assistive technology does not hear of the row again.
    virtual const void* objectOfRow(RLListView&, int /*row*/) { return nullptr; }

    virtual void selectionDidChange(RLListView&) {}

    /// A double click, or Return on the only selected row.
    virtual void rowDoubleClicked(RLListView&, int /*row*/) {}

    /// A key that is one of `RLListView::keysToForward`. A delegate that ignores the event leaves it to the list.
    virtual void keyDown(RLListView& /*listView*/, QKeyEvent& event) { event.ignore(); }

protected:
    ~RLListViewDelegate() = default;
};

} // namespace timesheet
