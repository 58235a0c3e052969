// polar_render with any instructions that this processor has, for those who compare them, and on
// anybody's threads.
#pragma once

#include "library/bands.h"
#include "library/polar.h"
#include "render/InstructionSet.h"

namespace polar {

int renderWith(const InstructionSet& instructions, const Threads& threads, const polar_image* input,
               const polar_image* output, const polar_options* options);

// On threads made for the call.
int renderWith(const InstructionSet& instructions, const polar_image* input,
               const polar_image* output, const polar_options* options);

}  // namespace polar
