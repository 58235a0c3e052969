// How an output file is to be written.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pictures/colour.h"

namespace pictures {

// What the components of a file are. uint10 and uint12 lie in 16 bits.
enum class Depth { uint8, uint10, uint12, uint16, half, float32 };

// Whether a file gets an alpha channel.
enum class AlphaChoice {
    automatic,  // where the picture had one or pixels without source can appear
    keep,       // always
    drop        // never; the picture lies over the background
};

struct FileSettings {
    AlphaChoice alpha = AlphaChoice::automatic;
    std::optional<Colour> background;                             // puts the picture over it
    std::optional<Depth> depth;                                   // else as rendered
    std::vector<std::pair<std::string, std::string>> attributes;  // names and values for the writer
};

}  // namespace pictures
