#pragma once

#include <vector>

namespace timesheet {

class RLListView;
class RLListViewCell;

/// Exposes lists and their cells to assistive technology: a list whose children are the visible rows, and rows that can
/// be pressed as with the mouse. May be called any number of times.
void installRLListAccessible();

/// Notifies assistive technology of changes in one list.
class RLListNotices final
{
public:
    /// Of visible rows.
    static void selectionChanged(const std::vector<RLListViewCell*>& cells);
    /// The list has gained the keyboard focus.
    void focusCame() { m_toldRow = -1; }
    /// Another row may have the focus now. Announced once per row: a reload that selects the same row again is not
    /// announced.
    void focusMoved(const RLListView& list);

private:
    int m_toldRow = -1;
};

} // namespace timesheet
