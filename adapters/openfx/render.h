// A frame: from the host's images to the library's.
#pragma once

#include "adapters/openfx/HostServices.h"

namespace ofx {

// Renders in a direction, POLAR_UNWRAP or POLAR_WRAP, what the arguments of the action ask for.
// Throws Failure.
void render(const Suites& suites, Effect instance, const Properties& arguments, int direction);

}  // namespace ofx
