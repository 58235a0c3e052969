// How far two pictures are apart.
#pragma once

#include <filesystem>
#include <string>

namespace pictures {

struct Comparison {
    // For each part "A B: ..." on one line, which names the part where there are several, then a
    // line with the largest and the mean difference of each channel that differs; the largest
    // integer and the float 1.0 mean the same.
    std::string report;
    bool agree;  // whether no difference is above the tolerance; NaN differs from every number
};

// Compares the samples of two files as they are in the files, of all parts of OpenEXR files and of
// the first picture of others; where only one has alpha, the other is opaque. Holds a part of each
// in memory. Throws FileError when one cannot be read or they differ in size, windows, channels or
// parts.
Comparison comparePictures(const std::filesystem::path& fileA, const std::filesystem::path& fileB,
                           double tolerance);

}  // namespace pictures
