#pragma once

namespace timesheet {

/// Where in a list, or at a row, a dragged item would land.
enum class RLDropHighlight
{
    None = 0,
    OnRow = 1,
    Below = 2,
    Above = 3
};

} // namespace timesheet
