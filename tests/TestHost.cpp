#include "tests/TestHost.h"

namespace {

// Proves by a log entry that it was called once, with what, and when.
QzLong service16(VexFilterInstance* instance, QzULong code, QzULong a, QzULong b, QzULong c) {
    require(a + b + c == 0, "Service16 gets zeros");
    TestQzLib::instance().log({"Service16", instance->Params, code, instance->Params->mode});
    return 0;
}

}  // namespace

TestInstance::TestInstance(QzLong filterIndex, unsigned char fill, VexHandler from)
    : Instance(from, filterIndex, fill) {
    services.Service16 = service16;
    qzlib = TestQzLib();
}
