// What mappings have in common: positions of a block's pixels, in batches and before they are
// known.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "render/Job.h"
#include "render/Lanes.h"

namespace polar {
namespace {

constexpr int blockColumns = 32;
constexpr int blockRows = 64;
constexpr int chunkRows = 16;

template <class Lanes>
struct Position {
    typename Lanes::Doubles x, y;
    unsigned nearCut;  // wrapping: the lanes whose x may be off by a whole turn
};

struct Interval {
    double low = std::numeric_limits<double>::infinity(), high = -low;
    bool isFinite = true;

    void add(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
        isFinite = isFinite && value - value == 0;
    }
};

// Where the positions of a chunk lie at most; nothing is known of what is not finite.
struct Extent {
    Interval x, y;
};

// What the rows of a block need to know about its columns; the positions of a chunk, for which some
// things are known beforehand; and any positions. A unit for each mapping.
template <Mapping mapping>
struct Columns;
template <class Lanes, Mapping mapping>
class ChunkPositions;
template <class Lanes, Mapping mapping>
class AnyPositions;

}  // namespace
}  // namespace polar
