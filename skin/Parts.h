#pragma once

#include "skin/Image.h"

#include <array>
#include <string_view>

namespace skin {

/// Three pictures side by side over `frame`: the ends at their natural width, the middle stretched between them, all as
/// high as the frame. Ends that do not fit share the width. No gaps and no overlaps at any scale of the painter.
void drawThreePartImage(QPainter& painter, const QRectF& frame, const Image& left, const Image& mid,
                        const Image& right);

/// The nine pictures of a stretchable frame, row by row from the upper left.
using NineParts = std::array<Image, 9>;

/// The pictures `prefix`-upper-left.png, `prefix`-upper-mid.png and so on to `prefix`-lower-right.png.
NineParts ninePartsNamed(std::string_view prefix);

/// Draws a frame over `frame`: corners at their natural size, edges and centre stretched between them. No gaps and no
/// overlaps at any scale of the painter.
void drawNinePartImage(QPainter& painter, const QRectF& frame, const NineParts& parts);

} // namespace skin
