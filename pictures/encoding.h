// How the samples of a file are compressed, as far as the user may say.
#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "pictures/FileSettings.h"

namespace pictures {

// Throws FileError when an attribute asks the writer of `format`, as the picture library calls it,
// for a compression that it does not know or a number out of range: it would take another without
// a word. Returns what is kept as metadata alone, each on one line.
std::vector<std::string> checkEncoding(const std::filesystem::path& file, std::string_view format,
                                       const FileSettings& settings);

// Replaces the encoding in `spec`, which is the original file's, by the one that the attributes ask
// for, else by one that takes little time. The attributes have been checked.
void setEncoding(std::string_view format, const FileSettings& settings, OIIO::ImageSpec& spec);

// Throws FileError when the writer cannot compress a picture like `spec` as it is told there.
void requireEncodable(const std::filesystem::path& file, std::string_view format,
                      const OIIO::ImageSpec& spec);

}  // namespace pictures
