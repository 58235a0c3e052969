#include "render/InstructionSet.h"

#include <atomic>

namespace polar {

void renderAreasPlainly(const Job& job, QzLong firstRow, QzLong rows);

constexpr InstructionSet plainPath{"plain", [] { return true; }, nullptr, renderAreasPlainly,
                                   nullptr};

// The list: a new set is one unit (as render/batch_avx2.cpp) and one line.
#if defined(__x86_64__) && UINTPTR_MAX == UINT64_MAX
extern const InstructionSet avx2, avx512;
#elif defined(__AARCH64EL__) && UINTPTR_MAX == UINT64_MAX
extern const InstructionSet neon;
#endif

namespace {

constexpr const InstructionSet* all[] = {
    &plainPath,
#if defined(__x86_64__) && UINTPTR_MAX == UINT64_MAX
    &avx2,
    &avx512,
#elif defined(__AARCH64EL__) && UINTPTR_MAX == UINT64_MAX
    &neon,
#endif
};

const InstructionSet* askProcessor() {
    const InstructionSet* best = &plainPath;
    for (const InstructionSet* const set : all)
        if (set->isSupported()) best = set;
    return best;
}

}  // namespace

std::span<const InstructionSet* const> instructionSets() { return all; }

const InstructionSet& bestInstructionSet() {
    // Asking takes some ten microseconds under a hypervisor, as much as rendering a small tile.
    static std::atomic<const InstructionSet*> known;
    const InstructionSet* best = known.load(std::memory_order_relaxed);
    if (best == nullptr) {
        best = askProcessor();
        known.store(best, std::memory_order_relaxed);
    }
    return *best;
}

}  // namespace polar
