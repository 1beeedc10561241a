#pragma once

#include "../DirectPaint.h"

namespace platform {

/// By a subsurface of the window's surface, on Qt's own connection, that lets all input through. All pictures are in
/// one buffer, of which a viewport (wayland-protocols, stable/viewporter) shows one: a buffer of its own for each would
/// come back from the compositor each time, and whatever comes wakes all of Qt's threads that read. Null: not on
/// Wayland, or without viewports, or Qt draws a frame around the window.
std::unique_ptr<DirectPaint> makeWaylandPaint(QWindow& window, std::function<void()> uncovered);

} // namespace platform
