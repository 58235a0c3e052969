#include "tests/TestQzLib.h"

#include <algorithm>
#include <cstdlib>

#include "tests/ofThisThread.h"

TestQzLib& TestQzLib::instance() { return ofThisThread<TestQzLib>(); }

bool TestQzLib::log(Call call) {
    const std::size_t number = calls.size();
    const bool succeeds = !failing.test(number);
    if (!succeeds) call.block = nullptr;
    calls.push_back(call);
    if (number == throwing) throw std::runtime_error(call.function);
    return succeeds;
}

// Exactly the bytes asked for, so that address sanitizing sees a write past them; but of requests
// for gigabytes, made for the sake of their count, a part.
void* AllocMemQz(QzULong size, QzULong flags) {
    auto block = std::make_unique_for_overwrite<unsigned char[]>(std::min<QzULong>(size, 1 << 26));
    auto& lib = TestQzLib::instance();
    if (!lib.log({"AllocMemQz", block.get(), size, flags})) return nullptr;
    const void* const granted = block.get();
    return (lib.held[granted] = std::move(block)).get();
}

void FreeMemQz(void* block) {
    auto& lib = TestQzLib::instance();
    lib.log({"FreeMemQz", block});
    if (block != nullptr && lib.held.erase(block) == 0) std::abort();
}

QzBitmap* AllocBitmapQz(QzLong width, QzLong height, QzBitmapType type, char* name) {
    static QzBitmap bitmap;
    bitmap = {{}, width * height, {}, static_cast<unsigned char>(type), {}, name};
    return TestQzLib::instance().log({"AllocBitmapQz", &bitmap}) ? &bitmap : nullptr;
}

void FreeBitmapQz(QzBitmap* bitmap) { TestQzLib::instance().log({"FreeBitmapQz", bitmap}); }
