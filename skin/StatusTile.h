#pragma once

#include "platform/StatusItem.h"

#include <QImage>

namespace skin {

/// The program's face as a square, for bars that take only icons: the button above, the hours below; or the symbol for
/// offline or signed out. It never blinks. `side` is in device pixels; drawn for that size, sharp from 22 on.
QImage statusTile(const platform::StatusItem::Description& description, int side);

} // namespace skin
