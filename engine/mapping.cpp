#include "engine/mapping.h"

#include <algorithm>
#include <limits>

#include "host/FilterServices.h"

namespace {

constexpr QzULong entryBytes = sizeof(double);

// Whether the bytes of a table can be said in the host's 32-bit count. Negative counts of entries
// wrap around in it, and the host answers them as it likes: their tables are never filled.
bool fits(QzLong entries) {
    return entries <= static_cast<QzLong>(std::numeric_limits<QzULong>::max() / entryBytes);
}

double* allocateTable(QzLong entries) {
    return static_cast<double*>(fi_AllocMem(static_cast<QzULong>(entries) * entryBytes, 0));
}

}  // namespace

bool PolarToRectangular::allocate() {
    const QzLong entries = frame_.region.width;
    if (!fits(entries)) return false;
    sine_ = allocateTable(entries);
    cosine_ = allocateTable(entries);
    if (sine_ != nullptr && cosine_ != nullptr) return true;
    fi_FreeMem(sine_);
    fi_FreeMem(cosine_);
    return false;
}

void PolarToRectangular::fill() {
    constexpr double radiansPerTurn = 6.283185307179586;
    double turns = frame_.firstColumn;
    for (QzLong i = 0; i < frame_.region.width; ++i, turns += frame_.columnStep) {
        const double angle = turns * radiansPerTurn;
        sine_[i] = std::sin(angle) * 0.5;
        cosine_[i] = std::cos(angle) * 0.5;
    }
}

void PolarToRectangular::release() {
    fi_FreeMem(cosine_);
    fi_FreeMem(sine_);
}

bool RectangularToPolar::allocate() {
    // The region may be wider than the source, though hosts have no reason to ask for that.
    const QzLong entries = std::max(frame_.source.width, frame_.region.width);
    if (!fits(entries)) return false;
    squares_ = allocateTable(entries);
    return squares_ != nullptr;
}

void RectangularToPolar::fill() {
    double u = frame_.firstColumn;
    for (QzLong i = 0; i < frame_.region.width; ++i, u += frame_.columnStep)
        squares_[i] = (0.5 - u) * (0.5 - u);
}

void RectangularToPolar::release() { fi_FreeMem(squares_); }
