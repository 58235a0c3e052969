#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "hosting/Module.h"
#include "hosting/loader.h"

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

}  // namespace

// Faults but those that it would not survive are left to the system's loader.
void* loadLibrary(const fs::path& path) {
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

void unloadLibrary(void* library) { dlclose(library); }

void* symbolOf(void* library, const char* name) { return dlsym(library, name); }

fs::path executablePath() { return fs::read_symlink("/proc/self/exe"); }

}  // namespace hosting
