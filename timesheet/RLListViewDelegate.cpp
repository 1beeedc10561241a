#include "timesheet/RLListViewDelegate.h"

#include <QKeyEvent>

namespace timesheet {

void RLListViewDelegate::keyDown(RLListView&, QKeyEvent& event)
{
    event.ignore();
}

} // namespace timesheet
