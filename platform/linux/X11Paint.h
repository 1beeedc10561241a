#pragma once

#include "../DirectPaint.h"

namespace platform {

/// By the core protocol's PutImage, on Qt's own connection. Null: not on an X server, or one that keeps pixels in
/// another form than we do.
std::unique_ptr<DirectPaint> makeX11Paint(QWindow& window, std::function<void()> uncovered);

} // namespace platform
