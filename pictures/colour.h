// Colours, and as users write them.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace pictures {

// Red, green and blue; 1.0 is the largest integer.
using Colour = std::array<float, 3>;

// "#rrggbb", "#rgb", "black", "white", a number for grey, or three with commas between them, any
// that are finite. Empty for any other text.
std::optional<Colour> parseColour(const std::string& text);

}  // namespace pictures
