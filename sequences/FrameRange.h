// Frame numbers as users write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sequences {

// Frame numbers in the order asked for, each once; -2147483647 to 2147483647.
using FrameRange = std::vector<int>;

constexpr std::size_t maxFrames = 1'000'000;

// "7", "1001-1100", "1001-1100x2" (every second), "5-1" (backwards), "-5--1" (negative), or several
// of these with commas between them. Empty for any other text and for more than maxFrames.
std::optional<FrameRange> parseFrameRange(std::string_view text);

// Takes a number, perhaps with a minus, off the front of `text`.
std::optional<int> takeFrame(std::string_view& text);

// The frames that `frames`, ascending, lack in their midst, as a user writes ranges, the first ten
// of these; empty when they lack none. Three or more at the same distance are complete.
std::string holesIn(const FrameRange& frames);

}  // namespace sequences
