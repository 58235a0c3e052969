// What an x86 processor can do.
#pragma once

#include <cpuid.h>

#include <cstdint>

namespace polar {

// The compiler's own check would run when the module is loaded. `extensions` are bits of leaf 7,
// EBX; `registers` are those that the system must save, a bit for each kind (XCR0).
inline bool processorHas(unsigned extensions, std::uint32_t registers) {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    constexpr unsigned baseline = bit_FMA | bit_OSXSAVE | bit_AVX;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & baseline) != baseline) return false;
    std::uint32_t low = 0, high = 0;
    asm("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    if ((low & registers) != registers) return false;
    return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx & extensions) == extensions;
}

}  // namespace polar
