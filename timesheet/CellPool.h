#pragma once

#include <QString>

#include <functional>
#include <vector>

namespace timesheet {

class RLListViewCell;

/// The cells of a list: the visible ones, in row order, and those waiting for reuse. Owns none of them.
class CellPool final
{
public:
    const std::vector<RLListViewCell*>& visible() const { return m_visible; }
    /// Null when the row is not visible.
    RLListViewCell* visibleCell(int row) const;
    void addAbove(RLListViewCell& cell) { m_visible.insert(m_visible.begin(), &cell); }
    void addBelow(RLListViewCell& cell) { m_visible.push_back(&cell); }

    /// The first waiting cell with that identifier; null: there is none.
    RLListViewCell* dequeue(const QString& identifier);
    /// Hides the cell; it waits for reuse.
    void enqueue(RLListViewCell& cell);
    /// The cell waits for reuse, but stays visible until `hideRetired`. It is reused before hidden ones, so that a row
    /// gets its own cell back, and nothing is hidden only to be shown again.
    void retire(RLListViewCell& cell);
    void hideRetired(const std::function<void(RLListViewCell&)>& beforeHiding);
    /// The cell is being destroyed.
    void forget(RLListViewCell& cell);

private:
    std::vector<RLListViewCell*> m_visible;
    std::vector<RLListViewCell*> m_waiting;
};

} // namespace timesheet
