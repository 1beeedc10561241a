#pragma once

#include <QString>

#include <string>

namespace bench {

/// How long the main thread is held up while the program fetches the day for the first time and again.
void measureStalls(const std::string& port);

/// Start and stop, from the call on the facade to the merged store, beside the floor.
void measureTimerCommands(const std::string& port);

} // namespace bench
