// The plug-in's record of one instance. C++11 and later.
#pragma once

#include <cstddef>

#include "host/FilterServices.h"

// What an instance was set up for. The plug-in owns it from setup to cleanup and keeps it in the
// host's memory. Nothing may throw through its allocation: a failure of the host's memory service
// other than null ends the process.
struct Parameters {
    QzULong mode;  // 0: "Polar to Rectangular...", otherwise "Rectangular to Polar..."

    static void* operator new(std::size_t size) noexcept {
        return fi_AllocMem(static_cast<QzULong>(size), 0);
    }
    static void operator delete(void* block) noexcept { fi_FreeMem(block); }
};

static_assert(sizeof(Parameters) == 4, "one word is asked from the host");
