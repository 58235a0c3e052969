// libFuzzer over lives of the OpenFX effects, which are linked in, so that they are instrumented.

#include "tests/OfxFrame.h"

extern "C" ofx::Plugin* OfxGetPlugin(int index);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const int direction = size > 0 ? bytes[0] % 2 : 0;
    anyOfxLife({bytes, size}, *OfxGetPlugin(direction), direction);
    return 0;
}
