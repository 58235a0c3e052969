// The places of outputs.
#pragma once

#include <filesystem>

namespace cli {

// Makes the folder of `output` and those above it, as far as they are missing. Throws
// pictures::FileError.
void makeFolder(const std::filesystem::path& output);

// Throws pictures::FileError where a file could not be made, or not be replaced without
// `overwrite`; a missing folder is one such place unless it `mayBeMade`.
void checkPlace(const std::filesystem::path& output, bool overwrite, bool mayBeMade);

}  // namespace cli
