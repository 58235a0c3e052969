#include "tests/TestHost.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

// Proves by a log entry that it was called once, with what, and when.
QzLong service16(VexFilterInstance* instance, QzULong code, QzULong a, QzULong b, QzULong c) {
    require(a + b + c == 0, "Service16 gets zeros");
    auto& lib = TestQzLib::instance();
    lib.calls.push_back({"Service16", instance->Params, code, instance->Params->mode});
    if (lib.throwing.contains(lib.calls.size() - 1)) throw TestQzLib::Fault("Service16");
    return 0;
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t bytes, bool atEnd) : bytes_(bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (bytes + page - 1) / page * page;
    mapped_ = usable + 2 * page;
    map_ = static_cast<unsigned char*>(
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    require(usable == 0 || mprotect(map_ + page, usable, PROT_READ | PROT_WRITE) == 0, "memory");
    begin_ = map_ + page + (atEnd ? usable - bytes : 0);
}

GuardedMemory::~GuardedMemory() { munmap(map_, mapped_); }

TestInstance::TestInstance(QzLong filterIndex, unsigned char fill, VexHandler from)
    : Instance(from, filterIndex, fill) {
    services.Service16 = service16;
    qzlib = TestQzLib();
}
