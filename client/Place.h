#pragma once

#include <string>

namespace client {

/// Where a file of the program is that people do not call: in libexec, or beside this program in a build.
std::string fileOfProgram(const char* name);

} // namespace client
