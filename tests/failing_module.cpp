// A module that answers 0 to the selector named by the environment variable FAILING_SELECTOR, 1 to
// every other, and does nothing else.

#include <cstdlib>

#include "host/VexFilterInstance.h"

extern "C" QzLong ENTRYPOINT1(VexFilterInstance* instance, QzULong selector) {
    instance->ExecuteHandler = ENTRYPOINT1;
    const char* const failing = std::getenv("FAILING_SELECTOR");
    return failing != nullptr && std::strtoul(failing, nullptr, 10) == selector ? 0 : 1;
}
