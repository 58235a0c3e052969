// Which files a run works on.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sequences/FrameRange.h"

namespace sequences {

// One unit of work: two files, read and written, or compared.
struct FilePair {
    std::filesystem::path input;
    std::filesystem::path output;
};

// Paths that do not fit together; the text is one line.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What a run works on, and what of it the user may not expect: a file and a line about it.
struct FileList {
    std::vector<FilePair> pairs;
    std::vector<std::pair<std::filesystem::path, std::string>> warnings;
};

// Pairs every input with its output. A path with a place for the frame number stands for the frames
// of `range`, without one for the frames on disk; if a file has literally that name, for that file.
// An output that ends in '/' is a folder, its files are named like the inputs. Throws UsageError
// when the paths do not fit together, pictures::FileError when no frame exists.
FileList listFilePairs(const std::vector<std::filesystem::path>& inputs,
                       const std::filesystem::path& output, const std::optional<FrameRange>& range);

}  // namespace sequences
