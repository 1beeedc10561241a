#pragma once

#include <QStringList>

class QObject;

namespace app {

/// What the program is to be started with to come back as it is: as now, with paths that hold in any folder, and
/// without `--local` when the person has signed in elsewhere since. Any thread.
QStringList startArguments();

/// Starts the program again so once this process has ended, and ends it. The helper "relaunch_quillon" does the
/// waiting; where it is missing the program goes on as if nothing was asked.
void relaunch(QObject* sender);

} // namespace app
