// What distinguishes one file of effects from the other.
#pragma once

namespace adapters {

struct Effect {
    const char* name;
    const char* explanation;
    int direction;  // POLAR_UNWRAP ...
};

extern const Effect effect;

}  // namespace adapters
