#include "cli/listFrames.h"

#include <filesystem>
#include <iostream>

#include "cli/renderPicture.h"
#include "pictures/FileError.h"

namespace cli {

namespace {

// Prints the line of a frame.
void list(const Renderer& renderer, const sequences::FilePair& frame, const FrameSettings& settings,
          const RunSettings& run, const Messages& messages) {
    const auto& [input, output] = frame;
    std::error_code ignored;
    const bool exists = std::filesystem::exists(output, ignored);
    const bool isSkipped =
        exists && run.skipExisting && !std::filesystem::equivalent(input, output, ignored);
    if (!isSkipped) checkFrame(renderer, input, output, settings, messages);
    std::cout << Messages::shown(input.string() + " -> " + output.string())
              << (isSkipped ? " (exists, is skipped)"
                  : exists  ? " (exists, is replaced)"
                            : "")
              << '\n';
}

}  // namespace

bool listFrames(const Renderer& renderer, const std::vector<sequences::FilePair>& frames,
                const FrameSettings& settings, const RunSettings& run, const Messages& messages) {
    bool complete = true;
    for (const auto& frame : frames) {
        try {
            list(renderer, frame, settings, run, messages);
        } catch (const pictures::FileError& error) {
            Messages::print(error.what());
            complete = false;
        }
    }
    return complete;
}

}  // namespace cli
