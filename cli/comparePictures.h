// How far two pictures are apart.
#pragma once

#include <string>

#include "cli/frames.h"

// "A B: ..." on one line, and one line for each channel that differs: the largest and the mean
// difference, where the largest integer and the float 1.0 mean the same. `agree` tells whether no
// difference is above the tolerance; not being a number differs from every number.
struct Comparison {
    std::string report;
    bool agree;
};

// Compares the samples of two files as they are in the files. Throws FileError where one cannot be
// read or they differ in size, windows or channels.
Comparison comparePictures(const Frame& pair, double tolerance);
