#pragma once

#include "app/StatusText.h"

namespace app {

/// What `quillon status`, `quillon toggle` and the like ask of the program that runs, over the session bus.
struct BusCommand
{
    QString name; ///< as on the command line
    bool json = false;
    bool follow = false;
    StatusText text;

    /// Whether there is a command of that name.
    static bool exists(const QString& name);

    /// Carries the command out and ends this process with the exit status: 0, or 1 when the program does not run,
    /// would not or does not answer, after a line on standard error. Never starts the program. Follows until what reads
    /// standard output is gone.
    ///
    /// Needs no display, and makes the application object of this process itself.
    [[noreturn]] void run(int argc, char** argv) const;

private:
    int carryOut() const;
};

} // namespace app
