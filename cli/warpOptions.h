// The options that say how a picture is warped.
#pragma once

#include <CLI/CLI.hpp>

#include "cli/Warp.h"

namespace cli {

void addWarpOptions(CLI::App& command, WarpSettings& settings);

}  // namespace cli
