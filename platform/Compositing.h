#pragma once

#include <QRectF>

class QWidget;

namespace platform {

/// Whether the desktop composites the screen, so that translucent windows are translucent. It may change while the
/// program runs; the windows are then painted anew. One round trip to the X server. Main thread only.
bool isScreenComposited();

/// Cuts the window to a rectangle with round corners, for where it cannot be translucent: `outline` in its own
/// coordinates, `radius` in points.
void maskRounded(QWidget& window, const QRectF& outline, double radius);

} // namespace platform
