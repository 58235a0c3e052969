// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/Messages.h"
#include "cli/Warp.h"
#include "hosting/Module.h"
#include "pictures/FileSettings.h"
#include "pictures/Rectangle.h"
#include "sequences/FrameRange.h"

namespace cli {

enum class Command { filter, compare, info };

// The files that the user names.
struct Paths {
    std::vector<std::filesystem::path> inputs;
    std::filesystem::path output;
    std::optional<sequences::FrameRange> frames;  // of names with a place for the frame number
};

// How to render a frame.
struct FrameSettings {
    hosting::Filter filter = hosting::Filter::polarToRectangular;
    WarpSettings warp;
    Sampling sampling = Sampling::bilinear;
    std::optional<QzBitmapType> format;         // else the one that holds the file's values
    std::optional<pictures::Rectangle> source;  // what is cropped from the picture; else all of it
    std::optional<pictures::Rectangle> region;  // the part of the result to write; likewise
    std::string layer;                          // part, layer or channel of the file; empty: all
    pictures::FileSettings file;                // of the output
    bool overwrite = false;    // whether the output may replace its own input, or a read-only file
    bool makeFolders = false;  // those of the output that are missing
};

// How to go through the frames.
struct RunSettings {
    unsigned threads = 0;       // that work at the same time; 0: one for each core
    bool keepGoing = false;     // go on after a failure
    bool skipMissing = false;   // go on when an input is missing
    bool skipExisting = false;  // leave outputs that exist as they are
    bool stats = false;         // a summary at the end
};

struct Options {
    Command command = Command::info;
    Paths paths;
    FrameSettings frame;
    RunSettings run;
    double tolerance = 0;  // of a comparison; 1.0 is the whole range of a component
    bool dryRun = false;
    std::optional<std::filesystem::path> plugin;  // to render; of info, else the installed module
    Verbosity verbosity = Verbosity::normal;
};

// Either the options, or the exit status of a run that ends here: 0 after --help and --version on
// standard output, 2 after a line about wrong usage on standard error.
struct ParsedCommandLine {
    std::optional<Options> options;
    int exitStatus = 0;
};

// Does not touch the disk.
ParsedCommandLine parseCommandLine(int argc, char** argv);

// One line about wrong usage on standard error. Returns the exit status.
int wrongUsage(const std::string& reason);

}  // namespace cli
