#pragma once

#include "InfoDictionary.h"
#include "Run.h"

#include <functional>
#include <memory>

namespace platform {

/// What the desktop around this process offers: for each part the first adapter that works here, made on first use.
/// Its parts need the application object; the keyring's can be asked before, and answers only when there is one.
/// Main thread only.
///
/// Checking for newer versions needs HTTP and a window, which are not the desktop's concern: `makeUpdateFeed` makes the
/// feed on first use. Empty: no checks.
std::unique_ptr<Environment> systemEnvironment(InfoDictionary info,
                                               std::function<std::unique_ptr<UpdateFeed>()> makeUpdateFeed = {});

} // namespace platform
