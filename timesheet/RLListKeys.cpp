#include "timesheet/RLListKeys.h"

#include "timesheet/RLListView.h"
#include "timesheet/RLListViewDelegate.h"

#include <QKeyEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace timesheet {
namespace {

void moveToEdge(RLListView& list, int row, int offset)
{
    if (list.numberOfRows() == 0)
        return;
    list.setSelectedRow(row);
    list.setScrollOffset(offset);
}

void moveByPage(RLListView& list, int direction)
{
    if (list.numberOfRows() == 0)
        return;
    const int from = list.currentRow() >= 0 ? list.currentRow() : list.firstWholeRow();
    const double top = list.rectOfRow(from).top();
    const int there = list.rowAt(top + direction * list.visibleRect().height());
    const int row =
        std::clamp(direction > 0 ? std::max(there, from + 1) : std::min(there, from - 1), 0, list.numberOfRows() - 1);
    list.setScrollOffset(list.scrollOffset() + int(std::floor(list.rectOfRow(row).top() - top + 0.5)));
    list.setSelectedRow(row);
    list.revealRow(row);
}

} // namespace

bool walkByKey(RLListView& list, const QKeyEvent& event)
{
    if ((event.modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    switch (event.key()) {
    case Qt::Key_Up:
        list.moveUp();
        return true;
    case Qt::Key_Down:
        list.moveDown();
        return true;
    case Qt::Key_PageUp:
        moveByPage(list, -1);
        return true;
    case Qt::Key_PageDown:
        moveByPage(list, 1);
        return true;
    case Qt::Key_Home:
        moveToEdge(list, 0, 0);
        return true;
    case Qt::Key_End:
        moveToEdge(list, list.numberOfRows() - 1, std::numeric_limits<int>::max());
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // A key that is held down since a sheet closed must not open it again.
        if (list.delegate() && list.selectedRow() >= 0 && !event.isAutoRepeat())
            list.delegate()->rowDoubleClicked(list, list.selectedRow());
        return true;
    default:
        return false;
    }
}

} // namespace timesheet
