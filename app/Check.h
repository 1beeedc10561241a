#pragma once

#include "platform/InfoDictionary.h"

#include <QList>
#include <QString>

#include <optional>

namespace store {
struct Error;
}

namespace app {

/// One thing that the program needs of the desktop: that it is well, or what to do about it.
struct Finding
{
    QString what;
    bool ok = false;
    QString text;
};
using Findings = QList<Finding>;

/// Makes findings something that D-Bus carries, as `a(sbs)`. Once, before the first is sent or received.
void registerFindings();

/// What only the program that runs can tell: its status item, its hot keys, its service, and why it works without its
/// store, if it does. Main thread only.
Findings findingsOfThisRun(bool loggedOut, const std::optional<store::Error>& storeFailure);

/// Looks at everything that the program needs here, prints a page about it and ends this process: with 0 when all is
/// well, else with 1. What the program that runs knows is asked of it. Changes nothing, shows nothing, prints no
/// secret, and takes three seconds at most, whoever hangs.
[[noreturn]] void check(int argc, char** argv, platform::InfoDictionary info);

} // namespace app
