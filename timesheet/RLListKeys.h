#pragma once

class QKeyEvent;

namespace timesheet {

class RLListView;

/// Moves to another row of the list, or opens the selected one, if the key does that. False: it does not.
bool walkByKey(RLListView& list, const QKeyEvent& event);

} // namespace timesheet
