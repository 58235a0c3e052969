// One frame: from a picture file to a picture file through the module.
#pragma once

#include <filesystem>
#include <optional>
#include <utility>

#include "cli/Messages.h"
#include "cli/Picture.h"
#include "cli/PluginHost.h"

// The formats of bitmaps by the names that users know.
constexpr std::pair<const char*, QzBitmapType> formatNames[] = {{"rgba8", QzBitmapTypeRGBA8},
                                                                {"rgba10", QzBitmapTypeRGBA10},
                                                                {"rgba12", QzBitmapTypeRGBA12},
                                                                {"rgba16", QzBitmapTypeRGBA16},
                                                                {"float", QzBitmapTypeRGBAFloat}};

// What to do with a frame.
struct FrameSettings {
    Filter filter = Filter::polarToRectangular;
    Sampling sampling = Sampling::bilinear;
    std::optional<QzBitmapType> format;  // else the one that holds the file's values
    std::optional<Rectangle> source;     // in pixels from the picture's first; else all of it
    std::optional<Rectangle> region;     // the part to render and write; likewise
    std::string layer;                   // part or layer of the file; empty: its R, G, B and A
    FileSettings file;                   // of the output
    bool overwrite = false;              // whether the output may replace its own input
};

// Where the time of a frame went, in seconds.
struct FrameTimes {
    double read = 0, render = 0, write = 0;

    FrameTimes& operator+=(const FrameTimes& other) {
        read += other.read;
        render += other.render;
        write += other.write;
        return *this;
    }
};

// Renders `input` to `output`, which appears whole or not at all. Any number of calls may run at
// once. Throws FileError.
FrameTimes renderPicture(const PluginModule& module, const std::filesystem::path& input,
                         const std::filesystem::path& output, const FrameSettings& settings,
                         const Messages& messages);
