#pragma once

#include "InfoDictionary.h"
#include "Run.h"

#include <functional>
#include <memory>

namespace platform {

/// What the desktop around this process offers: for each part the first adapter that works here, made on first use.
/// Needs the application object. Main thread only.
///
/// What looks for newer versions needs HTTP and a window, which are no matter of the desktop: `makeUpdateFeed` makes it
/// on first use. Empty: nothing looks.
std::unique_ptr<Environment> systemEnvironment(InfoDictionary info,
                                               std::function<std::unique_ptr<UpdateFeed>()> makeUpdateFeed = {});

} // namespace platform
