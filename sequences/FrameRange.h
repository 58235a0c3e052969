// Frame numbers as users write them.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace sequences {

// Frame numbers in the order asked for, each once; 0 to 2147483647.
using FrameRange = std::vector<int>;

constexpr std::size_t maxFrames = 1'000'000;

// "7", "1001-1100", "1001-1100x2" (every second), "5-1" (backwards), or several of these with
// commas between them. Empty for any other text and for more than maxFrames.
std::optional<FrameRange> parseFrameRange(std::string_view text);

}  // namespace sequences
