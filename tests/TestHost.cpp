#include "tests/TestHost.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

// Proves by a log entry that it was called once, with what, and when.
QzLong service16(VexFilterInstance* instance, QzULong code, QzULong a, QzULong b, QzULong c) {
    require(a + b + c == 0, "Service16 gets zeros");
    TestQzLib::instance().log({"Service16", instance->Params, code, instance->Params->mode});
    return 0;
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t bytes, bool atEnd) : bytes_(bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (bytes + page - 1) / page * page;
    const std::size_t mapped = usable + 2 * page;
    map_ = {mmap(nullptr, mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
            [=](void* map) { munmap(map, mapped); }};
    auto* const first = static_cast<unsigned char*>(map_.get()) + page;
    require(usable == 0 || mprotect(first, usable, PROT_READ | PROT_WRITE) == 0, "memory");
    begin_ = first + (atEnd ? usable - bytes : 0);
}

TestInstance::TestInstance(QzLong filterIndex, unsigned char fill, VexHandler from)
    : Instance(from, filterIndex, fill) {
    services.Service16 = service16;
    qzlib = TestQzLib();
}
