#include "cli/Messages.h"

#include <OpenImageIO/strutil.h>
#include <unistd.h>

#include <iostream>
#include <map>
#include <mutex>
#include <set>

namespace cli {

namespace {

std::mutex lock;
std::string shownStatus;
std::set<std::string> warnings;
std::map<std::string, std::string> names;

constexpr const char* eraseLine = "\r\033[K";

}  // namespace

void Messages::warning(const std::filesystem::path& file, const std::string& text) const {
    const auto isNew = [&] {
        const std::lock_guard guard(lock);
        return warnings.insert(text).second;
    };
    if (verbosity_ == Verbosity::verbose || (verbosity_ == Verbosity::normal && isNew()))
        print(file.string() + ": " + text);
}

void Messages::status(const std::string& text) const {
    if (verbosity_ == Verbosity::quiet || isatty(STDERR_FILENO) == 0) return;
    const std::lock_guard guard(lock);
    if (text != shownStatus) std::cerr << eraseLine + text;
    shownStatus = text;
}

// Not locked: files get their names before the first thread starts.
void Messages::callFile(const std::filesystem::path& file, const std::string& name) {
    names[file.string()] = name;
}

std::string Messages::shown(std::string text) {
    for (const auto& [file, name] : names) text = OIIO::Strutil::replace(text, file, name, true);
    return text;
}

void Messages::print(const std::string& text) {
    const std::lock_guard guard(lock);
    const std::string line = "polar: " + shown(text) + "\n";
    std::cerr << (shownStatus.empty() ? line : eraseLine + line + shownStatus);
}

}  // namespace cli
