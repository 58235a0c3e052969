// Names of numbered files.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "cli/FrameRange.h"

// A path whose file name holds a place for the frame number: "%d", "%04d" (any width from 1 to 9),
// "#" (four digits) or "###" (as many as there are). Where there are several, the last one counts.
class SequenceName {
  public:
    // Nothing where the file name holds no such place.
    static std::optional<SequenceName> parse(const std::filesystem::path& path);

    std::filesystem::path at(int frame) const;

    // The frame whose file has that name, without folders.
    std::optional<int> frameOf(std::string_view fileName) const;

    // The frames whose files are there, in ascending order.
    FrameRange framesOnDisk() const;

  private:
    std::filesystem::path folder_;
    std::string before_, after_;  // of the number, in the file name
    int width_ = 0;               // digits, at least
};
