// The host interface's engine class.
#pragma once

#include <cstddef>

#include "host/FilterServices.h"
#include "host/VexFilterInstance.h"

// Status of handlers and engines; dispatchers translate it for the host.
constexpr QzLong statusDone = 0;
constexpr QzLong statusFailed = 2;

// Renders one pass of an instance. Lives in the host's memory: creation gives null where that is
// out, and nothing may throw through allocation or release. Used by one thread at a time.
class VexFilterEngine {
  public:
    virtual ~VexFilterEngine() = default;
    virtual QzLong Init(const VexFilterInstance&) { return statusDone; }
    // Writes the instance's output region. May throw what the host's memory service throws.
    virtual QzLong Render(const VexFilterInstance&) { return statusDone; }

    static void* operator new(std::size_t size) noexcept {
        return fi_AllocMem(static_cast<QzULong>(size), 0);
    }
    static void operator delete(void* block) noexcept { fi_FreeMem(block); }
};
