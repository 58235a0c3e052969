#include "hosting/Module.h"

#include <new>
#include <string>

#include "hosting/loader.h"

namespace hosting {

namespace fs = std::filesystem;

Bitmap makeBitmap(QzLong width, QzLong height, QzBitmapType type) {
    Bitmap bitmap(AllocBitmapQz(width, height, type, nullptr));
    if (bitmap == nullptr) throw std::bad_alloc();
    return bitmap;
}

fs::path Module::installedPath() {
    const auto path =
        executablePath().parent_path() / "../../../Plugins/Torvane/Modules/Effects/Polar.dylib";
    return path.lexically_normal();
}

void Module::Unload::operator()(void* library) const { unloadLibrary(library); }

Module::Module(const fs::path& path)
    : path_(fs::absolute(path)),  // the loader looks for bare names in the system's folders
      library_(loadLibrary(path_)) {
    entry_ = reinterpret_cast<VexHandler>(symbol("ENTRYPOINT1"));
    if (entry_ == nullptr) throw ModuleError(path_, "not a module: it has no entry ENTRYPOINT1");
}

void* Module::symbol(const char* name) const { return symbolOf(library_.get(), name); }

FilterInstance::FilterInstance(const Module& module, Filter filter)
    : module_(module), instance_(module.entry(), static_cast<QzLong>(filter)) {
    call(module_.entry(), 1, "info");
    call(module_.entry(), 2, "setup");
    open_ = true;
}

FilterInstance::~FilterInstance() {
    if (open_) instance_.entry(3);
}

void FilterInstance::close() {
    open_ = false;
    call(module_.entry(), 3, "cleanup");
}

void FilterInstance::render(QzBitmap& input, QzBitmap& output, const Rectangle& source,
                            const Rectangle& region, Sampling sampling) {
    instance_.describe(input, output, source, region, static_cast<QzLong>(sampling));
    const VexHandler handler = record().ExecuteHandler;
    call(handler, 10, "prepare");
    try {
        call(handler, 11, "apply");
    } catch (...) {
        instance_.execute(12);  // every prepare is paired with a finished
        throw;
    }
    call(handler, 12, "finished");
}

void FilterInstance::call(VexHandler handler, QzULong selector, const char* request) {
    const std::string name = std::string(request) + " (selector " + std::to_string(selector) + ")";
    if (handler == nullptr) throw ModuleError(module_.path(), "setup left no handler for " + name);
    const QzLong status = handler(&instance_.record, selector);
    if (status != 1)
        throw ModuleError(module_.path(),
                          name + " failed: status " + std::to_string(status) + ", not 1");
}

}  // namespace hosting
