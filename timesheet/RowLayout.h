#pragma once

#include <functional>
#include <vector>

namespace timesheet {

/// A run of rows.
struct RowRange
{
    int first = 0;
    int count = 0;

    int end() const { return first + count; }
    bool contains(int row) const { return row >= first && row < end(); }
    bool intersects(RowRange other) const { return first < other.end() && other.first < end(); }
    bool operator==(const RowRange&) const = default;
};

/// The vertical positions of a list's rows: points from the upper edge of row 0. The row must exist.
class RowLayout final
{
public:
    /// Requests the height of each row once. Below each are `spacing` points.
    void make(int rows, double spacing, const std::function<double(int)>& heightOfRow);

    double top(int row) const { return m_tops[std::size_t(row)]; }
    double height(int row) const { return m_heights[std::size_t(row)]; }
    double bottom(int row) const { return top(row) + height(row); }
    /// Of all rows, with the space below the last.
    double totalHeight() const { return m_totalHeight; }
    /// The last row that begins at `y` or above it; -1: none does.
    int rowAt(double y) const;
    /// The rows that lie at least partly between the two.
    RowRange rowsBetween(double top, double bottom) const;

private:
    std::vector<double> m_tops;
    std::vector<double> m_heights;
    double m_totalHeight = 0;
};

} // namespace timesheet
