#pragma once

#include "platform/InfoDictionary.h"

#include <QList>
#include <QString>

#include <optional>

namespace store {
struct Error;
}

namespace app {

/// Something the program needs from the desktop: whether it works, or what to do about it.
struct Finding
{
    QString what;
    bool ok = false;
    QString text;
};
using Findings = QList<Finding>;

/// Lets D-Bus carry findings, as `a(sbs)`. Once, before the first is sent or received.
void registerFindings();

/// What only the running program knows: its status item, its hot keys, its service, and why it works without its store,
/// if it does. Main thread only.
Findings findingsOfThisRun(bool loggedOut, const std::optional<store::Error>& storeFailure);

/// Checks everything the program needs here, prints a report and ends this process: with 0 when all is well, else with
/// 1. Asks the running program for what only it knows. Changes nothing, shows nothing, prints no secret, and
/// ends when a part gives no answer within five seconds.
[[noreturn]] void check(int argc, char** argv, platform::InfoDictionary info);

} // namespace app
