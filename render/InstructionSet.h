// The ways to compute pixels, and the one list of them.
#pragma once

#include <cstdint>
#include <span>

#include "pixels/QzTypes.h"

namespace polar {

struct Job;

// Instructions that compute several pixels at a time, with the plain path's bits. The plain path
// (render/Plan.cpp, render/Area.cpp) is the reference; of these functions it has renderAreas alone.
struct InstructionSet {
    const char* name;
    // Whether this processor has them and the system saves their registers.
    bool (*isSupported)();
    // Renders rows of the job's region; returns how many pixels were left to Job::renderPixel,
    // because the last bits of the arctangent or of a mean decide them, their neighbours can hardly
    // be seen, or only some of these are inside.
    std::int64_t (*render)(const Job& job, QzLong firstRow, QzLong rows);
    // The same for Sampling::area, which leaves nothing open; of all sets.
    void (*renderAreas)(const Job& job, QzLong firstRow, QzLong rows);
    // 8 approximate arctangents: angles[i] is that of (x[i], y[i]).
    void (*arctangents)(const double* y, const double* x, double* angles);
};

extern const InstructionSet plainPath;

// All that this build has, the plain one first, in the order of preference.
std::span<const InstructionSet* const> instructionSets();

// The last of them that is supported here.
const InstructionSet& bestInstructionSet();

// How far an angle of the batches can be from the true one, in radians (render/arctangent.h and
// wrap_batch.h), and that of the library, in units in the last place of results just below pi: 0.55
// in glibc, below 1 in others. Together: how far the two can be from each other.
constexpr double batchError = 18e-16;
constexpr double libraryError = 2.0;
constexpr double arctangentError = batchError + libraryError * 0x1p-51;

}  // namespace polar
