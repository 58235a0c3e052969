#include "cli/PluginHost.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <new>
#include <string>

#include "cli/Messages.h"

namespace {

// The loader's last message, without the path that it begins with.
std::string loaderMessage(const std::filesystem::path& path) {
    const std::string message = dlerror();
    const std::string prefix = path.string() + ": ";
    return message.starts_with(prefix) ? message.substr(prefix.size()) : message;
}

// Throws where a library's file ends before its segments do: the loader would map what is not
// there, and the process end at its first touch. All else is left to the loader.
void refuseCutShort(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    ElfW(Ehdr) header{};
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    if (!file || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return;
    const std::uintmax_t size = std::filesystem::file_size(path);
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment{};
        file.seekg(static_cast<std::streamoff>(header.e_phoff + i * sizeof segment));
        file.read(reinterpret_cast<char*>(&segment), sizeof segment);
        if (!file || segment.p_offset > size || segment.p_filesz > size - segment.p_offset)
            throw FileError(path, "cannot be loaded: cut short at " + std::to_string(size) +
                                      " bytes; --plugin PATH names another module");
    }
}

// Throws FileError, as the constructor of PluginModule.
void* load(const std::filesystem::path& path) {
    refuseCutShort(path);
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw FileError(path, "cannot be loaded: " + loaderMessage(path) +
                                  "; --plugin PATH names another module");
    return library;
}

}  // namespace

Bitmap makeBitmap(QzLong width, QzLong height, QzBitmapType type) {
    Bitmap bitmap(AllocBitmapQz(width, height, type, nullptr));
    if (bitmap == nullptr) throw std::bad_alloc();
    return bitmap;
}

std::filesystem::path PluginModule::installedPath() {
    const auto executable = std::filesystem::read_symlink("/proc/self/exe");
    const auto path =
        executable.parent_path() / "../../../Plugins/Torvane/Modules/Effects/Polar.dylib";
    return path.lexically_normal();
}

void PluginModule::Unload::operator()(void* library) const { dlclose(library); }

PluginModule::PluginModule(const std::filesystem::path& path)
    : path_(std::filesystem::current_path() /
            path),  // a bare name would be sought in the system's folders
      library_(load(path_)) {
    entry_ = reinterpret_cast<VexHandler>(dlsym(library_.get(), "ENTRYPOINT1"));
    if (entry_ == nullptr) throw FileError(path_, "not a module: it has no entry ENTRYPOINT1");
}

FilterInstance::FilterInstance(const PluginModule& module, Filter filter) : module_(module) {
    services_.Service16 = [](VexFilterInstance*, QzULong, QzULong, QzULong, QzULong) {
        return QzLong{0};
    };
    services_.AllocMem = AllocMemQz;
    services_.FreeMem = FreeMemQz;
    services_.AllocBitmap = AllocBitmapQz;
    record_.FilterIndex = static_cast<QzLong>(filter);
    record_.FilterInfo = &services_;
    call(module_.entry(), 1, "info");
    call(module_.entry(), 2, "setup");
    open_ = true;
}

FilterInstance::~FilterInstance() {
    if (open_) module_.entry()(&record_, 3);
}

void FilterInstance::close() {
    open_ = false;
    call(module_.entry(), 3, "cleanup");
}

void FilterInstance::render(QzBitmap& input, QzBitmap& output, const Rectangle& source,
                            const Rectangle& region, Sampling sampling) {
    record_.InputBitmap = &input;
    record_.OutputBitmap = &output;
    record_.SourceRect = source;
    record_.OutputRegion = region;
    record_.SamplingWord = static_cast<QzLong>(sampling);
    call(record_.ExecuteHandler, 10, "prepare");
    try {
        call(record_.ExecuteHandler, 11, "apply");
    } catch (...) {
        record_.ExecuteHandler(&record_, 12);  // every prepare is paired with a finished
        throw;
    }
    call(record_.ExecuteHandler, 12, "finished");
}

void FilterInstance::call(VexHandler handler, QzULong selector, const char* request) {
    const std::string name = std::string(request) + " (selector " + std::to_string(selector) + ")";
    if (handler == nullptr) throw FileError(module_.path(), "setup left no handler for " + name);
    const QzLong status = handler(&record_, selector);
    if (status != 1)
        throw FileError(module_.path(),
                        name + " failed: status " + std::to_string(status) + ", not 1");
}
