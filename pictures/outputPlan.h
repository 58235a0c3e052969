// What of a picture file goes into a file of another format, and how.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pictures/FileSettings.h"
#include "pictures/PictureReader.h"

namespace pictures {

// How a part is rendered.
struct RenderTraits {
    bool showsNothing;                // places where there is no source can be seen
    bool keepsPixels;                 // pixels are moved as they are, not mixed
    Rectangle region;                 // of the result
    std::optional<Rectangle> window;  // all of a result that does not take the picture's place
    QzBitmapType format;              // of the images
};

// A group of channels and where it goes.
struct OutputGroup {
    const ChannelGroup* from;
    Composition composition;
};

// A channel of a file.
struct OutputChannel {
    std::string name;
    int from;  // the channel of the part that has its depth, counted from firstChannel
};

// A picture of the output.
struct OutputPart {
    const PicturePart* from;
    std::vector<OutputGroup> groups;
    std::vector<OutputChannel> channels;
    int alphaChannel = -1;            // index
    Rectangle region;                 // of the result
    std::optional<Rectangle> window;  // as in RenderTraits
    QzBitmapType format;              // that it is rendered in
    OIIO::ImageSpec spec;             // as it is going to be written
};

struct OutputPlan {
    std::vector<OutputPart> parts;      // one or more; they refer to the reader's
    std::vector<std::string> warnings;  // what is not written, each on one line
};

// The writer of the format that the extension of `file` stands for. Throws ExtensionError when
// there is none.
std::unique_ptr<OIIO::ImageOutput> makeOutput(const std::filesystem::path& file);

// Throws as makeOutput.
void checkExtension(const std::filesystem::path& file);

// How `file` is going to hold the pictures of `input`: all parts and channels where its format can,
// otherwise the picture alone. `traits` are those of each part of the input. Does not touch the
// disk. Throws FileError when the format cannot hold them, and as makeOutput and checkEncoding.
OutputPlan planOutput(const PictureReader& input, const std::filesystem::path& file,
                      const FileSettings& settings, const std::vector<RenderTraits>& traits);

}  // namespace pictures
