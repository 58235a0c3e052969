// libFuzzer over lives of instances; the module is linked in, so that it is instrumented.

#include "tests/Scene.h"

extern "C" QzLong ENTRYPOINT1(VexFilterInstance* instance, QzULong selector);

void* moduleSymbol(const char*) { return reinterpret_cast<void*>(ENTRYPOINT1); }

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    anyLife({bytes, size}, ENTRYPOINT1);
    return 0;
}
