// Many frames on many cores.
#pragma once

#include <vector>

#include "cli/Messages.h"
#include "cli/Options.h"
#include "cli/Rendering.h"
#include "sequences/FilePair.h"

namespace cli {

// Renders all frames, side by side; the last ones, when fewer are left than threads, share the
// threads. Pixels do not depend on the number of threads. While a frame is rendered, the system
// reads the next one ahead and writes the last one behind. Starts no more frames after a failure,
// unless told to go on. Returns whether all are there; prints one line for each other.
bool renderFrames(const Renderer& renderer, const std::vector<sequences::FilePair>& frames,
                  const FrameSettings& settings, const RunSettings& run, const Messages& messages);

}  // namespace cli
