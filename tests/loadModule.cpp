// The built module, loaded as any host loads it, and the services for parts of it linked in.

#include <dlfcn.h>

#include <stdexcept>

#include "tests/TestHost.h"

void* moduleSymbol(const char* name) {
    static void* const module = dlopen(POLAR_MODULE, RTLD_NOW | RTLD_LOCAL);
    void* const symbol = module != nullptr ? dlsym(module, name) : nullptr;
    if (symbol == nullptr) throw std::runtime_error(dlerror());
    return symbol;
}

void* fi_AllocMem(QzULong size, unsigned int flags) { return AllocMemQz(size, flags); }
void fi_FreeMem(void* block) { FreeMemQz(block); }
