// What users set, the same for both effects.
#pragma once

#include "adapters/Warp.h"
#include "adapters/openfx/HostServices.h"

namespace ofx {

// Adds the parameters to a descriptor.
void defineParameters(const Suites& suites, Effect descriptor);

// What an instance is set to at a time. A default stands for what the host does not tell, and the
// end of its range for a number beyond that.
adapters::Warp warpAt(const Suites& suites, Effect instance, double time);

}  // namespace ofx
