#pragma once

#include <QColor>
#include <QPixmap>

#include <string_view>

namespace preferences {

/// The one-coloured sign of that name in `color`, in its natural size for a screen of that ratio.
QPixmap sign(std::string_view name, const QColor& color, qreal devicePixelRatio);

} // namespace preferences
