// The system's loader of dynamic libraries; a unit for each kind of system.
#pragma once

#include <filesystem>

namespace hosting {

// The caller owns what is loaded. Throws ModuleError, with the system's reason, where `path` cannot
// be loaded into this process.
void* loadLibrary(const std::filesystem::path& path);
void unloadLibrary(void* library);

// The address of an exported function, or null.
void* symbolOf(void* library, const char* name);

// This process's own file.
std::filesystem::path executablePath();

}  // namespace hosting
