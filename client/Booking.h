#pragma once

#include <optional>
#include <string>
#include <vector>

namespace client {

/// Carries out start, stop, continue, add, note, log, projects or recent, with the words behind it, and returns the
/// exit status: 0 done; 1 not done, or nobody knows; 2 the words could not be understood, or mean several things.
/// Nothing: there is no such command.
std::optional<int> runBookingCommand(const std::string& command, const std::vector<std::string>& words);

/// Prints the names that can follow these words on the command line, one on a line, for the shells' completions. Prints
/// nothing when the program does not run. Takes a tenth of a second at most.
void complete(const std::vector<std::string>& words);

} // namespace client
