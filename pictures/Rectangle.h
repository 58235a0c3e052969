// Rectangles of pixels, and as users write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "pixels/QzBitmap.h"

namespace pictures {

using Rectangle = QzRectT<QzLong>;

// "WxH+X+Y", with "-X" or "+-X" for what is left of 0, or "WxH" for "WxH+0+0"; in pixels, sizes
// above 0, all of at most 31 bits. Empty for any other text.
std::optional<Rectangle> parseRectangle(std::string_view text);

// "WxH+X+Y".
std::string toText(const Rectangle& rectangle);

// What lies in both; width or height is 0 when nothing does.
Rectangle intersection(const Rectangle& a, const Rectangle& b);

// The smallest rectangle around both, cut to 31 bits of size.
Rectangle boundingBox(const Rectangle& a, const Rectangle& b);

// Whether all of `inner` lies in `outer`.
bool contains(const Rectangle& outer, const Rectangle& inner);

// `inner`, moved and then cut as little as possible to lie in `outer`, which begins at (0, 0).
Rectangle nearestIn(const Rectangle& outer, const Rectangle& inner);

}  // namespace pictures
