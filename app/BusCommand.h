#pragma once

#include "app/StatusText.h"

namespace app {

/// Sends `quillon status`, `quillon toggle` and the like to the running program over the session bus.
struct BusCommand
{
    QString name; ///< as on the command line
    bool json = false;
    bool follow = false;
    StatusText text;

    /// Whether there is a command of that name.
    static bool exists(const QString& name);

    /// Carries the command out and ends this process with the exit status: 0, or 1 when the program does not run,
    /// refuses or does not answer, after a line on standard error. Never starts the program. Follows until the reader
    /// of standard output is gone.
    ///
    /// Needs no display, and creates this process's application object itself.
    [[noreturn]] void run(int argc, char** argv) const;

private:
    int carryOut() const;
};

} // namespace app
