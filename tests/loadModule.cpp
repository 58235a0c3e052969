// The built module, loaded as any host loads it, and the services for parts of it linked in.

#include "hosting/Module.h"
#include "tests/TestHost.h"

void* moduleSymbol(const char* name) {
    static const hosting::Module module(POLAR_MODULE);
    void* const symbol = module.symbol(name);
    require(symbol != nullptr, name);
    return symbol;
}

void* fi_AllocMem(QzULong size, unsigned int flags) { return AllocMemQz(size, flags); }
void fi_FreeMem(void* block) { FreeMemQz(block); }
