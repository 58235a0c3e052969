// Pictures described as the picture library wants them.
#pragma once

#include "pictures/outputPlan.h"

namespace pictures {

// A part as it is going to be written by `output`, with the metadata of the input that it is of;
// `isOnly` tells whether the output holds no others.
OIIO::ImageSpec describePart(const OIIO::ImageOutput& output, const PictureReader& input,
                             const OutputPart& part, bool isOnly, const FileSettings& settings);

// What the file that `output` has begun does not hold of the rendered depth, each on one line.
std::vector<std::string> depthLosses(const OIIO::ImageOutput& output, QzBitmapType rendered,
                                     const FileSettings& settings);

}  // namespace pictures
