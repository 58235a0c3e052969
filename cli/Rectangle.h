// Rectangles as users write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "pixels/QzBitmap.h"

using Rectangle = QzRectT<QzLong>;

// "WxH+X+Y", or "WxH" for "WxH+0+0"; in pixels, sizes above 0, offsets not below 0. Nothing where
// the text is anything else or a number needs more than 32 bits.
std::optional<Rectangle> parseRectangle(std::string_view text);

// "WxH+X+Y".
std::string toText(const Rectangle& rectangle);

// What lies in both; empty, that is of width or height 0, where nothing does.
Rectangle intersection(const Rectangle& a, const Rectangle& b);

// Whether all of `inner` lies in `outer`, which begins at (0, 0).
bool contains(const Rectangle& outer, const Rectangle& inner);

// `inner`, moved and then cut as little as it takes to lie in `outer`, which begins at (0, 0).
Rectangle nearestIn(const Rectangle& outer, const Rectangle& inner);
