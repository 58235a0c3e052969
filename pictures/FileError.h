// The error of work on a picture file.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace pictures {

// A file that cannot be read or written. `reason` is one line: the value found and the range
// accepted.
class FileError : public std::runtime_error {
  public:
    FileError(const std::filesystem::path& file, const std::string& reason)
        : std::runtime_error(file.string() + ": " + reason) {}
};

// A name for a file to write whose extension stands for no format.
class ExtensionError : public FileError {
  public:
    using FileError::FileError;
};

}  // namespace pictures
