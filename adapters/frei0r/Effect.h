// What distinguishes one file of effects from the other.
#pragma once

namespace adapters {

struct Effect {
    const char* name;  // fixed for ever: hosts keep it in projects, and so are the files' names
    const char* explanation;
    int direction;  // POLAR_UNWRAP ...
};

extern const Effect effect;

}  // namespace adapters
