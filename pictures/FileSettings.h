// How an output file is to be written.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace pictures {

// What the components of a file are. uint10 and uint12 lie in 16 bits.
enum class Depth { uint8, uint10, uint12, uint16, half, float32 };

struct FileSettings {
    std::optional<Depth> depth;                                   // else as rendered
    std::vector<std::pair<std::string, std::string>> attributes;  // names and values for the writer
};

}  // namespace pictures
