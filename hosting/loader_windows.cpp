#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <string>
#include <system_error>

#include "hosting/Module.h"
#include "hosting/loader.h"

namespace hosting {

namespace fs = std::filesystem;

void* loadLibrary(const fs::path& path) {
    HMODULE const library = LoadLibraryW(path.c_str());
    if (library != nullptr) return library;
    const auto code = static_cast<int>(GetLastError());
    throw ModuleError(path, "cannot be loaded: " + std::system_category().message(code));
}

void unloadLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

void* symbolOf(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

fs::path executablePath() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

}  // namespace hosting
