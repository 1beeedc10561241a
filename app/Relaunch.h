#pragma once

#include <QStringList>

class QObject;

namespace app {

/// The arguments to start the program with so that it comes back as it is: the present ones, with paths that hold in
/// any folder, and without `--local` when the person has since signed in elsewhere. Any thread.
QStringList startArguments();

/// Ends this process and then starts the program again with those arguments. The helper "relaunch_quillon" does the
/// waiting; where it is missing the program continues unchanged.
void relaunch(QObject* sender);

} // namespace app
