// What a run would do.
#pragma once

#include <vector>

#include "cli/Messages.h"
#include "cli/Options.h"
#include "cli/Rendering.h"
#include "sequences/FilePair.h"

namespace cli {

// Checks all frames and prints a line for each on standard output: the two files, and what becomes
// of an output that exists. Returns whether all would be rendered; prints one line on standard
// error for each other.
bool listFrames(const Renderer& renderer, const std::vector<sequences::FilePair>& frames,
                const FrameSettings& settings, const RunSettings& run, const Messages& messages);

}  // namespace cli
