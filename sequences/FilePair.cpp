#include "sequences/FilePair.h"

#include <algorithm>
#include <set>

#include "pictures/FileError.h"
#include "sequences/SequenceName.h"

namespace sequences {

namespace {

namespace fs = std::filesystem;

bool isFolderName(const fs::path& path) { return !path.empty() && !path.has_filename(); }

std::optional<SequenceName> sequenceOf(const fs::path& path) {
    std::error_code error;  // a path without access is no file
    return fs::is_regular_file(path, error) ? std::nullopt : SequenceName::parse(path);
}

FrameRange framesOf(const SequenceName& sequence, const fs::path& input,
                    const std::optional<FrameRange>& range) {
    FrameRange frames = range ? *range : sequence.framesOnDisk();
    const auto exists = [&](int frame) {
        std::error_code error;
        return fs::exists(sequence.at(frame), error);
    };
    if (std::none_of(frames.begin(), frames.end(), exists))
        throw pictures::FileError(input,
                                  "no frame matches; the first would be " +
                                      sequence.at(frames.empty() ? 1 : frames.front()).string());
    return frames;
}

void refuseRepeatedOutputs(const std::vector<FilePair>& pairs) {
    std::set<fs::path> known;
    for (const FilePair& pair : pairs)
        if (!known.insert(pair.output).second)
            throw UsageError(pair.output.string() + " would be written twice");
}

}  // namespace

FileList listFilePairs(const std::vector<fs::path>& inputs, const fs::path& output,
                       const std::optional<FrameRange>& range) {
    const bool toFolder = isFolderName(output);
    if (inputs.size() > 1 && !toFolder)
        throw UsageError("several inputs need an output folder; " + output.string() +
                         " does not end in '/'");
    FileList list;
    const auto add = [&](const fs::path& from, const fs::path& to) {
        list.pairs.push_back({from, toFolder ? output / from.filename() : to});
    };
    for (const fs::path& input : inputs) {
        const auto from = sequenceOf(input);
        const auto to = SequenceName::parse(output);
        if (!from) {
            if (range)
                throw UsageError("--frames needs a name like shot.%04d.exr; not " + input.string());
            if (sequenceOf(output))
                throw UsageError(output.string() + " stands for numbered files; " + input.string() +
                                 " is a single one");
            add(input, output);
            continue;
        }
        if (!to && !toFolder)
            throw UsageError(output.string() + " has no place for the frame number, such as %04d");
        const FrameRange frames = framesOf(*from, input, range);
        const std::string holes = range ? "" : holesIn(frames);
        if (!holes.empty()) list.warnings.emplace_back(input, "frames missing on disk: " + holes);
        for (const int frame : frames) add(from->at(frame), to ? to->at(frame) : output);
    }
    refuseRepeatedOutputs(list.pairs);
    return list;
}

}  // namespace sequences
