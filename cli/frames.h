// Which pictures a run is about.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "cli/FrameRange.h"

// One unit of work: two files, read and written, or compared.
struct Frame {
    std::filesystem::path input;
    std::filesystem::path output;
};

// Pairs every input with its output. A path with a place for the frame number means the frames
// asked for, or else those whose files are there; a file that has such a name literally is that
// file. An output that ends in '/' is a folder and its files are named as the inputs. Throws
// UsageError where the paths do not fit together, FileError where no frame matches.
std::vector<Frame> listFrames(const std::vector<std::filesystem::path>& inputs,
                              const std::filesystem::path& output,
                              const std::optional<FrameRange>& range);
