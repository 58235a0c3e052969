// The plug-in's shell: the exported entry, the dispatchers, the handlers behind them and the
// wrappers over the host's services. All of it runs on the thread of the host that calls.

#include <cstdio>
#include <cstdlib>

#include "engine/VexFilterEngine.h"
#include "engine/createEngine.h"
#include "host/FilterServices.h"
#include "host/Parameters.h"
#include "host/QzLib.h"
#include "host/VexFilterInstance.h"

extern "C" {

void* fi_AllocMem(QzULong size, unsigned int flags) { return AllocMemQz(size, flags); }

void fi_FreeMem(void* block) { FreeMemQz(block); }

QzBitmap* fi_AllocBitmap(QzLong width, QzLong height, QzBitmapType type, char* /*name*/) {
    return AllocBitmapQz(width, height, type, nullptr);
}

void fi_FreeBitmap(QzBitmap* bitmap) { FreeBitmapQz(bitmap); }

}  // extern "C"

namespace {

// Lifecycle handlers: statusDone or statusFailed.

QzLong filter_getinfo(VexFilterInstance* instance) {
    const bool unwraps = instance->FilterIndex == 0;
    instance->InfoWord4 = 2;
    instance->InfoWord16 = 2;
    instance->InfoWord20 = 0;
    instance->InfoId96 = 30004;
    instance->Category = "Distort";
    instance->Name = unwraps ? "Polar to Rectangular..." : "Rectangular to Polar...";
    instance->InfoId92 = unwraps ? 30070 : 30072;
    return statusDone;
}

QzLong filter_setup(VexFilterInstance* instance) {
    instance->SetupValue72 = 1.0;
    auto* const params = new Parameters;
    if (params == nullptr) return statusFailed;
    instance->Params = params;
    params->mode = instance->FilterIndex != 0 ? 1 : 0;
    instance->FilterInfo->Service16(instance, 12, 0, 0, 0);
    return statusDone;
}

QzLong filter_cleanup(VexFilterInstance* instance) {
    // Not a delete expression, which would skip the host's service for a null pointer.
    Parameters::operator delete(instance->Params);
    return statusDone;
}

QzLong filter_prepare(VexFilterInstance& instance) {
    instance.Engine = createEngine(instance.OutputBitmap->bitmapType, instance.Params);
    return instance.Engine != nullptr ? statusDone : statusFailed;
}

QzLong filter_apply(const VexFilterInstance& instance, Parameters* /*params*/) {
    return instance.Engine->Render(instance);
}

QzLong filter_finished(const VexFilterInstance& instance, Parameters* /*params*/) {
    delete instance.Engine;
    return statusDone;
}

// Handlers that answer a fixed value.

QzLong filter_outputsize(VexFilterInstance*) { return statusDone; }
QzLong filter_getinputgbuffers(VexFilterInstance*) { return statusDone; }
QzLong filter_getselectionmode(VexFilterInstance*) { return statusDone; }
QzLong filter_getoutputgbuffers(VexFilterInstance*) { return statusDone; }
QzLong filter_getoutputgbuffers2(VexFilterInstance*) { return statusDone; }

QzLong filter_getinvalidoutgbuffers(VexFilterInstance* instance) {
    *instance->QueryResult = 0x7fff;
    return statusDone;
}

// What the host gets: 1 for success, 0 for failure. An unknown selector is a success to it.
constexpr QzLong unknownSelector = 1;
QzLong hostStatus(QzLong status) { return status == statusDone ? 1 : 0; }

QzLong query(VexFilterInstance* instance) {
    switch (instance->QuerySelector) {
        case 1:
            return hostStatus(filter_getinputgbuffers(instance));
        case 2:
            return hostStatus(filter_getselectionmode(instance));
        case 3:
            return hostStatus(filter_getoutputgbuffers(instance));
        case 4:
            return hostStatus(filter_getoutputgbuffers2(instance));
        case 5:
            return hostStatus(filter_getinvalidoutgbuffers(instance));
        default:
            return unknownSelector;
    }
}

QzLong ExecuteFunc(VexFilterInstance* instance, QzULong selector) {
    switch (selector) {
        case 10:
            return hostStatus(filter_prepare(*instance));
        case 11:
            return hostStatus(filter_apply(*instance, instance->Params));
        case 12:
            return hostStatus(filter_finished(*instance, instance->Params));
        case 13:
            return hostStatus(filter_outputsize(instance));
        case 14:
            return query(instance);
        default:
            return unknownSelector;
    }
}

QzLong InitFunc(VexFilterInstance* instance, QzULong selector) {
    switch (selector) {
        case 1:
            instance->InitWord36 = 1;
            instance->InitWord40 = 2;
            return hostStatus(filter_getinfo(instance));
        case 2:
            // Before setup, so that they are in place even when it fails.
            instance->InitHandler = InitFunc;
            instance->ExecuteHandler = ExecuteFunc;
            return hostStatus(filter_setup(instance));
        case 3:
            return hostStatus(filter_cleanup(instance));
        default:
            return unknownSelector;
    }
}

// Ends the process unless `holds`, in release builds too: a host with another support library would
// free what this one allocated. The line numbers are part of the message that hosts' logs know.
void require(bool holds, unsigned line, const char* expression) {
    if (holds) return;
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", "Source/FILTMAIN", line, expression);
    std::fflush(stderr);
    std::abort();
}

}  // namespace

extern "C" {

// Serves init selectors 1 (info), 2 (setup) and 3 (cleanup) for `instance`, which stays the host's.
QzLong ENTRYPOINT1(VexFilterInstance* filterInstance, QzULong selector) {
    require(filterInstance->FilterInfo->AllocMem == AllocMemQz, 219,
            "filterInstance->FilterInfo->AllocMem == AllocMemQz");
    require(filterInstance->FilterInfo->FreeMem == FreeMemQz, 220,
            "filterInstance->FilterInfo->FreeMem == FreeMemQz");
    require(filterInstance->FilterInfo->AllocBitmap == AllocBitmapQz, 221,
            "filterInstance->FilterInfo->AllocBitmap == AllocBitmapQz");
    return InitFunc(filterInstance, selector);
}

QzLong ExecuteTest() { return 0; }

}  // extern "C"
