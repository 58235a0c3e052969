// The ways to compute a region's pixels, and the one place that chooses.
#pragma once

#include <cstdint>

#include "engine/mapping.h"
#include "host/VexFilterInstance.h"

// The plain path (engine/Polar.h) is the reference and runs everywhere. The others compute several
// pixels at a time with the instructions they are named after, and give the same bits. In the order
// of preference: a processor that has one has those before it.
enum class RenderPath { plain, avx2, avx512 };

// The best path that this processor has.
RenderPath bestRenderPath();

// How far the arctangent of the batches can be from the true one, in radians (engine/batch.h), and
// that of the library, in units in the last place of results just below pi: 0.55 in glibc, below 1
// in others. Together: how far the two can be from each other.
constexpr double batchError = 9e-16;
constexpr double libraryError = 2.0;
constexpr double arctangentError = batchError + libraryError * 0x1p-51;

// Renders the region in batches of pixels of format `code`. False, and nothing written, where the
// path has no batches or the record does not suit them. Adds to `redone`, where given, how many
// pixels were left to the plain path.
bool renderInBatches(RenderPath path, unsigned code, const VexFilterInstance& instance,
                     const PolarToRectangular& mapping, std::int64_t* redone);
bool renderInBatches(RenderPath path, unsigned code, const VexFilterInstance& instance,
                     const RectangularToPolar& mapping, std::int64_t* redone);

// The arctangents of the batches of a path, which this processor must have and which is not the
// plain one: angles[i] is that of (x[i], y[i]); 8 of each.
void approximateArctangents(RenderPath path, const double* y, const double* x, double* angles);
