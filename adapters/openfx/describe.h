// What hosts are told about the effects.
#pragma once

#include "adapters/openfx/HostServices.h"

namespace ofx {

// The name of an effect and what its icon's file is called after.
struct Identity {
    const char *identifier, *label, *description;
};

void describe(const Suites& suites, Effect descriptor, const Identity& identity);
void describeInContext(const Suites& suites, Effect descriptor);

}  // namespace ofx
