#include "tests/TestQzLib.h"

#include <algorithm>
#include <cstdlib>

namespace {

QzBitmap bitmapForAll;

// Logs a call; the block where it succeeds, else null.
template <class Block>
Block* answer(const char* function, Block* block, QzULong size = 0, QzULong flags = 0) {
    auto& lib = TestQzLib::instance();
    const std::size_t number = lib.calls.size();
    const bool fails = lib.failing.contains(number);
    lib.calls.push_back({function, fails ? nullptr : block, size, flags});
    if (lib.throwing.contains(number)) throw TestQzLib::Fault(function);
    return fails ? nullptr : block;
}

}  // namespace

TestQzLib& TestQzLib::instance() {
    static thread_local TestQzLib library;
    return library;
}

// Exactly the bytes asked for, so that address sanitizing sees a write past them; but of requests
// for gigabytes, made for the sake of their count, a part.
void* AllocMemQz(QzULong size, QzULong flags) {
    auto block = std::make_unique_for_overwrite<unsigned char[]>(std::min<QzULong>(size, 1 << 26));
    void* const granted = answer("AllocMemQz", block.get(), size, flags);
    if (granted != nullptr) TestQzLib::instance().held[granted] = std::move(block);
    return granted;
}

void FreeMemQz(void* block) {
    answer("FreeMemQz", block);
    if (block != nullptr && TestQzLib::instance().held.erase(block) == 0) std::abort();
}

QzBitmap* AllocBitmapQz(QzLong width, QzLong height, QzBitmapType type, char* name) {
    bitmapForAll = {{}, width * height, {}, static_cast<unsigned char>(type), {}, name};
    return answer("AllocBitmapQz", &bitmapForAll);
}

void FreeBitmapQz(QzBitmap* bitmap) { answer("FreeBitmapQz", bitmap); }
