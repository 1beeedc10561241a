#include "timesheet/RowLayout.h"

#include <algorithm>
#include <ranges>

namespace timesheet {

void RowLayout::make(int rows, double spacing, const std::function<double(int)>& heightOfRow)
{
    m_tops.resize(std::size_t(rows));
    m_heights.resize(std::size_t(rows));
    m_totalHeight = 0;
    for (int row = 0; row < rows; ++row) {
        const double height = std::max(0.0, heightOfRow(row));
        m_tops[std::size_t(row)] = m_totalHeight;
        m_heights[std::size_t(row)] = height;
        m_totalHeight += height + spacing;
    }
}

int RowLayout::rowAt(double y) const
{
    return int(std::ranges::upper_bound(m_tops, y) - m_tops.begin()) - 1;
}

RowRange RowLayout::rowsBetween(double top, double bottom) const
{
    const int rows = int(m_tops.size());
    const auto isSeen = [&](int row) { return height(row) > 0 && this->top(row)<bottom&& this->bottom(row)> top; };
    const auto all = std::views::iota(0, rows);
    int first = int(std::ranges::partition_point(all, [&](int row) { return this->bottom(row) <= top; }) - all.begin());
    while (first < rows && this->top(first) < bottom && !isSeen(first))
        ++first;
    int end = first;
    while (end < rows && isSeen(end))
        ++end;
    return end > first ? RowRange{first, end - first} : RowRange{};
}

} // namespace timesheet
