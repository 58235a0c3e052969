// Many frames on many cores.
#pragma once

#include <vector>

#include "cli/frames.h"
#include "cli/renderPicture.h"

struct RunSettings {
    unsigned threads = 0;      // frames at a time; 0: as many as this process has cores
    bool skipMissing = false;  // go on where an input is not there
    bool stats = false;        // a summary at the end
};

// Renders all frames; one thread does all of a frame, so the pixels do not depend on their number.
// While a frame is worked on, the system reads the next one ahead and writes the last one behind.
// Starts no more frames after one that failed. Whether all were rendered; the others have been told
// about, one line each.
bool renderFrames(const PluginModule& module, const std::vector<Frame>& frames,
                  const FrameSettings& settings, const RunSettings& run, const Messages& messages);
