#pragma once

#include <utility>
#include <vector>

namespace timesheet {

class RLListView;
class RLListViewCell;

/// Exposes lists and their cells to assistive technology: a list whose children are the visible rows, and rows that can
/// be pressed as with the mouse. May be called any number of times.
void installRLListAccessible();

/// Notifies assistive technology of changes in one list. What a reload leaves as it was is not announced.
class RLListNotices final
{
public:
    /// Other rows may be selected now, or the same numbers stand for others. Of those in sight.
    void selectionChanged(RLListView& list);
    /// The list has gained the keyboard focus.
    void focusCame() { m_toldCurrent = {-1, nullptr}; }
    /// Another row may have the focus now.
    void focusMoved(RLListView& list);

private:
    using Row = std::pair<int, const void*>; ///< and what stands in it

    std::vector<Row> m_toldSelection;
    Row m_toldCurrent{-1, nullptr};
};

} // namespace timesheet
