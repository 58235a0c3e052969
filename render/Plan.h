// A render, made ready: bands of its rows in any order, on any threads, give the bits of the whole.
#pragma once

#include "render/InstructionSet.h"
#include "render/Job.h"

namespace polar {

class Plan {
  public:
    // Fills the tables, `geometry.region.width` doubles in each; images and tables are the
    // caller's, and stay as they are and where they are as long as the plan is used. Both images
    // have the format with that code, a QzBitmapType or, unless areas are sampled, one of
    // OpaqueFormats; where pixels without alpha show nothing, they show `background`. Of a region
    // without pixels nothing is touched, tables included. The result does not depend on the
    // instruction set, which this processor must have.
    Plan(unsigned format, const Geometry& geometry, const Image& input, const Image& output,
         Sampling sampling, const Tables& tables,
         const InstructionSet& instructions = bestInstructionSet(),
         const Background& background = {}) noexcept;

    // Whether rows may be rendered in any order and several at once. Otherwise memory that is read
    // is also written, or rows of the output share memory, and the order shows: then the whole
    // region is to be rendered by one call, which goes from top to bottom and left to right.
    bool rowsIndependent() const { return rowsIndependent_; }

    // Writes every pixel of `rows` rows from `firstRow` of the region on, and no other. Asks for no
    // memory, throws nothing, and rounds to nearest whatever its thread does. Returns how
    // many pixels the instruction set left to the plain path.
    std::int64_t render(QzLong firstRow, QzLong rows) const noexcept;

    // The same, but writes the rows to `band`, whose pixel (0, 0) becomes the first one of
    // `firstRow`; the output named before is not touched, and may be null where nothing else is
    // rendered.
    std::int64_t renderTo(const Image& band, QzLong firstRow, QzLong rows) const noexcept;

  private:
    std::int64_t render(const Job& job, QzLong firstRow, QzLong rows) const noexcept;

    Job job_;
    const InstructionSet* instructions_;
    bool rowsIndependent_ = true;
};

}  // namespace polar
