#include "sequences/SequenceName.h"

#include <algorithm>
#include <climits>
#include <regex>
#include <system_error>
namespace sequences {

std::optional<SequenceName> SequenceName::parse(const std::filesystem::path& path) {
    static const std::regex place(R"(%(?:0([1-9]))?d|\$F([1-9])?(?![A-Za-z0-9])|#+|@@+)");
    const std::string name = path.filename();
    if (name.size() > NAME_MAX) return {};  // no such file can exist, and std::regex recurses
    std::smatch found;
    for (std::sregex_iterator it(name.begin(), name.end(), place), end; it != end; ++it)
        found = *it;
    if (found.empty() || found.length() > 9) return {};
    SequenceName sequence;
    sequence.folder_ = path.parent_path();
    sequence.before_ = name.substr(0, static_cast<std::size_t>(found.position()));
    sequence.after_ = found.suffix();
    const std::string mark = found.str(), digits = found.str(1) + found.str(2);
    const bool isRun = mark[0] == '#' || mark[0] == '@';
    sequence.width_ = mark == "#"      ? 4
                      : isRun          ? int(mark.size())
                      : digits.empty() ? 1
                                       : std::stoi(digits);
    return sequence;
}

std::filesystem::path SequenceName::at(int frame) const {
    std::string number = std::to_string(frame);
    const int zeros = std::max(0, width_ - static_cast<int>(number.size()));
    number.insert(frame < 0 ? 1 : 0, static_cast<std::size_t>(zeros), '0');
    return folder_ / (before_ + number + after_);
}

std::optional<int> SequenceName::frameOf(std::string_view fileName) const {
    if (fileName.size() <= before_.size() + after_.size() || !fileName.starts_with(before_) ||
        !fileName.ends_with(after_))
        return {};
    std::string_view number = fileName;
    number.remove_prefix(before_.size());
    number.remove_suffix(after_.size());
    const auto frame = takeFrame(number);
    // The other spellings of a number, such as more zeros, are other files.
    if (!frame || at(*frame).filename() != fileName) return {};
    return frame;
}

FrameRange SequenceName::framesOnDisk() const {
    FrameRange frames;
    std::error_code error;  // a missing folder holds no frames
    const auto folder = folder_.empty() ? std::filesystem::path(".") : folder_;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (const auto frame = frameOf(entry.path().filename().string())) frames.push_back(*frame);
    std::sort(frames.begin(), frames.end());
    return frames;
}

}  // namespace sequences
