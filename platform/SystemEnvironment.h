#pragma once

#include "InfoDictionary.h"
#include "Run.h"

#include <memory>

namespace platform {

/// What the desktop around this process offers: for each part the first adapter that works here, made on first use.
/// Needs the application object. Main thread only.
std::unique_ptr<Environment> systemEnvironment(InfoDictionary info);

} // namespace platform
