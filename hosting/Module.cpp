#include "hosting/Module.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <new>
#include <string>

namespace hosting {

namespace {

namespace fs = std::filesystem;

ModuleError cannotLoad(const fs::path& path, const std::string& reason) {
    return {path, "cannot be loaded: " + reason};
}

// The loader's last message, without the path at its start.
std::string loaderMessage(const fs::path& path) {
    const std::string message = dlerror();
    const std::string prefix = path.string() + ": ";
    return message.starts_with(prefix) ? message.substr(prefix.size()) : message;
}

// The file's ELF header; of another class it is only right as far as e_machine. Zeros unless the
// file is an ELF file.
ElfW(Ehdr) readHeader(std::ifstream& file) {
    ElfW(Ehdr) header{};
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    if (!file || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return {};
    return header;
}

// The loader says of a module for another machine that there is no such file.
void refuseForeign(const fs::path& path, const ElfW(Ehdr) & header) {
    std::ifstream executable("/proc/self/exe", std::ios::binary);
    const ElfW(Ehdr) own = readHeader(executable);
    const auto differs = [&](int at) { return header.e_ident[at] != own.e_ident[at]; };
    if (!differs(EI_CLASS) && !differs(EI_DATA) && header.e_machine == own.e_machine) return;
    throw cannotLoad(path, std::string("built for another processor (") +
                               (header.e_ident[EI_CLASS] == ELFCLASS32 ? "32" : "64") + "-bit, " +
                               (header.e_ident[EI_DATA] == ELFDATA2MSB ? "big" : "little") +
                               "-endian)");
}

// The loader maps segments beyond the end of a file, and the process dies (SIGBUS) at their first
// touch.
void refuseCutShort(const fs::path& path, std::ifstream& file, const ElfW(Ehdr) & header) {
    const std::uintmax_t size = fs::file_size(path);
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment{};
        file.seekg(static_cast<std::streamoff>(header.e_phoff + i * sizeof segment));
        file.read(reinterpret_cast<char*>(&segment), sizeof segment);
        if (!file || segment.p_offset > size || segment.p_filesz > size - segment.p_offset)
            throw cannotLoad(path, "cut short at " + std::to_string(size) + " bytes");
    }
}

// Throws ModuleError, like the constructor of Module. All other faults are left to the loader.
void* load(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const ElfW(Ehdr) header = readHeader(file);
    if (header.e_ident[0] != 0) {
        refuseForeign(path, header);
        refuseCutShort(path, file, header);
    }
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw cannotLoad(path, loaderMessage(path));
    return library;
}

}  // namespace

Bitmap makeBitmap(QzLong width, QzLong height, QzBitmapType type) {
    Bitmap bitmap(AllocBitmapQz(width, height, type, nullptr));
    if (bitmap == nullptr) throw std::bad_alloc();
    return bitmap;
}

fs::path Module::installedPath() {
    const auto executable = fs::read_symlink("/proc/self/exe");
    const auto path =
        executable.parent_path() / "../../../Plugins/Torvane/Modules/Effects/Polar.dylib";
    return path.lexically_normal();
}

void Module::Unload::operator()(void* library) const { dlclose(library); }

Module::Module(const fs::path& path)
    : path_(fs::absolute(path)),  // the loader looks for bare names in the system's folders
      library_(load(path_)) {
    entry_ = reinterpret_cast<VexHandler>(symbol("ENTRYPOINT1"));
    if (entry_ == nullptr) throw ModuleError(path_, "not a module: it has no entry ENTRYPOINT1");
}

void* Module::symbol(const char* name) const { return dlsym(library_.get(), name); }

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
