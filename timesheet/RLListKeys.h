#pragma once

class QKeyEvent;

namespace timesheet {

class RLListView;

/// Goes to another row of the list, or opens the selected one, if that is what the key is for. False: it is not.
bool walkByKey(RLListView& list, const QKeyEvent& event);

} // namespace timesheet
