// libFuzzer over calls of the library, which is linked in, so that it is instrumented.

#include "tests/Scene.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    anyCall({bytes, size});
    return 0;
}
