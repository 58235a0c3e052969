// Whole lives of instances, made of arbitrary bytes.
#pragma once

#include <span>

#include "host/VexFilterInstance.h"

// Lives through one, of the module with that entry: requests in any order a host may make them,
// records a host may get wrong, a memory service that fails. No access may leave a
// bitmap, every render must give what the sampler gives at each position, and all memory must come
// back. Throws std::logic_error otherwise. Any number of threads may do so at once.
void anyLife(std::span<const unsigned char> bytes, VexHandler entryPoint);
