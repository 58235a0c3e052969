// Standard input and output in the places of files.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "cli/Options.h"
#include "pictures/TemporaryFile.h"
#include "sequences/FilePair.h"

namespace cli {

// "-" for an input and "-", "png:-", "tiff:-" or "pnm:-" for an output stand for pipes. Pictures in
// them pass through files in a temporary folder, which goes with the object and on signals.
class Pipes {
  public:
    // Reads a picture from standard input where `pairs` name it, and has `pairs` name files in
    // the folder instead; messages keep calling them by what they stand for. Throws FileError, and
    // UsageError where pipes and files do not fit together.
    Pipes(std::vector<sequences::FilePair>& pairs, const Options& options);

    // Writes the finished output to standard output, if it goes there. Throws FileError.
    void send() const;

  private:
    void connectInput(std::filesystem::path& file);
    void connectOutput(sequences::FilePair& pair, bool dryRun);

    std::filesystem::path inFolder(std::string_view name);

    std::optional<pictures::TemporaryFolder> folder_;
    std::filesystem::path output_;
};

}  // namespace cli
