#pragma once

namespace platform {

/// Whether the desktop composites the screen, so that translucent windows are translucent. It may change while the
/// program runs; the windows are then painted anew. One round trip to the X server. Main thread only.
bool isScreenComposited();

} // namespace platform
