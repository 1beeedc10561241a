#pragma once

class QObject;

namespace app {

/// Starts the program again once this process has ended, and ends it. The helper "relaunch_quillon" does the waiting;
/// where it is missing the program goes on as if nothing was asked. False then.
bool relaunch(QObject* sender);

} // namespace app
