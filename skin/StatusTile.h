#pragma once

#include "platform/StatusItem.h"

#include <QImage>

namespace skin {

/// The program's face as a square, for bars that take only icons: the button above, the hours below; or the symbol for
/// offline or signed out. Without hours the button fills it. It never blinks. `side` is in device pixels; drawn for
/// that size. Hours can be read from 22 on, the button from 16.
QImage statusTile(const platform::StatusItem::Description& description, int side, bool withHours = true);

} // namespace skin
