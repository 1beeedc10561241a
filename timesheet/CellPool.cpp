#include "timesheet/CellPool.h"

#include "timesheet/RLListView.h"
#include "timesheet/RLListViewCell.h"

#include <algorithm>

namespace timesheet {

RLListViewCell* CellPool::visibleCell(int row) const
{
    const auto found = std::ranges::find(m_visible, row, &RLListViewCell::row);
    return found == m_visible.end() ? nullptr : *found;
}

RLListViewCell* CellPool::dequeue(const QString& identifier)
{
    const auto found = std::ranges::find(m_waiting, identifier, &RLListViewCell::reusableIdentifier);
    if (found == m_waiting.end())
        return nullptr;
    RLListViewCell* cell = *found;
    m_waiting.erase(found);
    return cell;
}

void CellPool::enqueue(RLListViewCell& cell)
{
    std::erase(m_visible, &cell);
    m_waiting.push_back(&cell);
    cell.hide();
}

void CellPool::retire(RLListViewCell& cell)
{
    std::erase(m_visible, &cell);
    m_waiting.insert(std::ranges::find_if(m_waiting, &QWidget::isHidden), &cell);
}

void CellPool::hideRetired(const std::function<void(RLListViewCell&)>& beforeHiding)
{
    for (RLListViewCell* cell : m_waiting) {
        if (cell->isHidden())
            continue;
        beforeHiding(*cell);
        cell->hide();
    }
}

void CellPool::forget(RLListViewCell& cell)
{
    std::erase(m_visible, &cell);
    std::erase(m_waiting, &cell);
}

} // namespace timesheet
