#pragma once

#include <QRectF>

class QWidget;

namespace platform {

/// Whether the desktop composites the screen, so that windows can be translucent. This may change while the program
/// runs; windows are then repainted. One round trip to the X server. Main thread only.
bool isScreenComposited();

/// Whether windows may draw their own frames; some compositors draw them all. This holds for the whole run. A few round
/// trips to a Wayland compositor. Main thread only.
bool mayDrawFrames();

/// Clips the window to a rounded rectangle where it cannot be translucent: `outline` in its own coordinates, `radius`
/// in points.
void maskRounded(QWidget& window, const QRectF& outline, double radius);

} // namespace platform
