// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/Messages.h"
#include "cli/renderFrames.h"

enum class Command { filter, compare, info };

struct Options {
    Command command = Command::info;
    std::vector<Frame> frames;  // to render or to compare
    FrameSettings frame;
    RunSettings run;
    double tolerance = 0;  // of a comparison; 1.0 is the whole range of a component
    bool dryRun = false;
    std::optional<std::filesystem::path> plugin;  // else where the module is installed
    Verbosity verbosity = Verbosity::normal;
};

// Either the options, or the exit status of a run that ends here: 0 after --help and --version on
// standard output, 2 after a line about wrong usage on standard error.
struct ParsedCommandLine {
    std::optional<Options> options;
    int exitStatus = 0;
};

// Looks on the disk for frames. Throws FileError where there are none.
ParsedCommandLine parseCommandLine(int argc, char** argv);
