// Names of numbered files.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "sequences/FrameRange.h"

namespace sequences {

// A path whose file name has a place for the frame number: "%d", "%04d" (any width from 1 to 9),
// "$F", "$F4" (likewise), "#" (four digits), "###" or "@@@" (as many digits as marks, up to 9; a
// lone "@" is none, it often stands in names). Of several the last one counts. As with printf, a
// minus takes the place of a digit.
class SequenceName {
  public:
    // Empty when the file name has no such place.
    static std::optional<SequenceName> parse(const std::filesystem::path& path);

    std::filesystem::path at(int frame) const;

    // The frame whose file has that name, folders aside; empty when there is none.
    std::optional<int> frameOf(std::string_view fileName) const;

    // The frames whose files exist, ascending.
    FrameRange framesOnDisk() const;

  private:
    std::filesystem::path folder_;
    std::string before_, after_;  // of the number, in the file name
    int width_ = 0;               // of the number, at least
};

}  // namespace sequences
