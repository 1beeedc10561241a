#pragma once

class QMenu;
class QRect;

namespace platform {

/// Opens `menu` below `item`, or above it where the screen ends, and returns at once.
void popUpBeside(QMenu& menu, const QRect& item);

} // namespace platform
