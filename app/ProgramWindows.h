#pragma once

#include "app/Windows.h"

namespace app {

/// The program's own windows.
WindowMakers programWindows();

} // namespace app
