#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cmath>

#include "tests/platform.h"

GuardedPages::GuardedPages(std::size_t bytes) {
    constexpr std::size_t page = 4096;
    const std::size_t usable = (bytes + page - 1) / page * page;
    map = {VirtualAlloc(nullptr, usable + 2 * page, MEM_RESERVE, PAGE_NOACCESS),
           [](void* address) { VirtualFree(address, 0, MEM_RELEASE); }};
    begin = static_cast<unsigned char*>(map.get()) + page;
    end = begin + usable;
    if (usable > 0) VirtualAlloc(begin, usable, MEM_COMMIT, PAGE_READWRITE);
}

bool isLoaded(const std::string& library) { return GetModuleHandleA(library.c_str()) != nullptr; }

// The C library computes in registers of that precision.
double libraryArctangent(double y, double x) {
    return static_cast<double>(std::atan2(static_cast<long double>(y), x));
}

bool trap(int) { return false; }
int trapped() { return 0; }

// The module's own C++ library does not know exceptions of another one.
const char* const uncaught = "terminate called";

bool isAborted(int status) { return status == 3; }
