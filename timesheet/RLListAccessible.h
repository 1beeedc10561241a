#pragma once

#include <vector>

namespace timesheet {

class RLListView;
class RLListViewCell;

/// Makes lists and their cells known to assistive technology: a list whose children are the rows in sight, and rows
/// that can be pressed like with the mouse. May be called any number of times.
void installRLListAccessible();

/// Tells assistive technology what happens in one list.
class RLListNotices final
{
public:
    /// Of rows in sight.
    static void selectionChanged(const std::vector<RLListViewCell*>& cells);
    /// The keyboard focus has come to the list.
    void focusCame() { m_toldRow = -1; }
    /// Another row may have it now. Announced once for each row: a reload after which the same row is selected again is
    /// not worth a word.
    void focusMoved(const RLListView& list);

private:
    int m_toldRow = -1;
};

} // namespace timesheet
