#include "cli/Pipes.h"

#include <OpenImageIO/strutil.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/Messages.h"
#include "pictures/FileError.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using namespace std::string_view_literals;
using pictures::FileError;
using sequences::FilePair;
using sequences::UsageError;

constexpr const char* inputName = "standard input";
constexpr const char* outputName = "standard output";

// The formats of pipes: what is written before ":-", and the extensions. Nothing writes the floats
// of ".pfm"; TIFF holds them.
const std::pair<std::string_view, std::vector<std::string_view>> formats[] = {
    {"png", {".png"}},
    {"tiff", {".tif", ".tiff", ".pfm"}},
    {"pnm", {".pnm", ".ppm", ".pgm", ".pbm"}},
};

// By the first bytes of a file.
std::string_view extensionOf(std::string_view head) {
    const auto beginsWith = [&](std::string_view mark) { return head.starts_with(mark); };
    constexpr std::string_view tiff[] = {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv};
    if (beginsWith("\x89PNG")) return ".png";
    if (std::any_of(std::begin(tiff), std::end(tiff), beginsWith)) return ".tif";
    if (beginsWith("Pf") || beginsWith("PF")) return ".pfm";
    const bool isPnm =
        head.size() > 1 && head[0] == 'P' && "123456"sv.find(head[1]) != std::string_view::npos;
    return isPnm ? ".pnm" : "";
}

// The extension of the format that `name` asks for; empty when it names no pipe.
std::string_view extensionOf(const std::string& name, const fs::path& input) {
    const std::string wanted = OIIO::Strutil::lower(input.extension().string());
    for (const auto& [format, extensions] : formats) {
        const bool isSame =
            std::find(extensions.begin(), extensions.end(), wanted) != extensions.end();
        if (name == std::string(format) + ":-" || (name == "-" && isSame))
            return extensions.front();
    }
    return name == "-" ? ".png" : "";
}

// To be thrown right after what failed.
FileError failure(const char* name, std::string_view what) {
    const int error = errno;
    return {name, std::string(what) + std::generic_category().message(error)};
}

// Up to `size` bytes of standard input; fewer only at its end.
std::string take(std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t taken = 0;
    while (taken < size) {
        const ssize_t count = read(STDIN_FILENO, bytes.data() + taken, size - taken);
        if (count < 0) throw failure(inputName, "cannot be read: ");
        if (count == 0) break;
        taken += static_cast<std::size_t>(count);
    }
    bytes.resize(taken);
    return bytes;
}

void refuseTerminal(int handle, const char* name) {
    if (isatty(handle) != 0)
        throw UsageError(std::string(name) + " is a terminal; a pipe or a file is accepted");
}

constexpr std::size_t blockSize = 1 << 20;

}  // namespace

Pipes::Pipes(std::vector<FilePair>& pairs, const Options& options) {
    const bool compares = options.command == Command::compare;
    for (FilePair& pair : pairs) {
        auto& [input, output] = pair;
        const bool reads = input == "-", readsOther = compares && output == "-";
        const bool writes = !compares && output.string().ends_with(":-");
        if (!reads && !readsOther && !writes && output != "-") continue;
        if (pairs.size() > 1 || (reads && readsOther))
            throw UsageError("\"-\" stands for a single picture");
        if (reads && output != "-" && output.filename() == "-")
            throw UsageError(std::string(inputName) + " has no name for a file in " +
                             output.parent_path().string() + "/");
        if (reads) connectInput(input);
        if (readsOther) connectInput(output);
        if (!compares && (writes || output == "-")) connectOutput(pair, options.dryRun);
    }
}

void Pipes::connectInput(fs::path& file) {
    refuseTerminal(STDIN_FILENO, inputName);
    std::string block = take(blockSize);
    const std::string_view extension = extensionOf(block);
    if (extension.empty())
        throw FileError(inputName, block.empty() ? "is empty" : "is no PNG, TIFF or PNM picture");
    file = inFolder("input" + std::string(extension));
    Messages::callFile(file, inputName);
    const std::string notKept =
        "cannot be kept in " + folder_->path().parent_path().string() + ": ";
    std::ofstream stream(file, std::ios::binary);
    for (; !block.empty(); block = take(blockSize))
        if (!(stream << block).flush()) throw failure(inputName, notKept);
    stream.close();
    if (!stream) throw failure(inputName, notKept);
}

void Pipes::connectOutput(FilePair& pair, bool dryRun) {
    const std::string_view extension = extensionOf(pair.output.string(), pair.input);
    if (extension.empty())
        throw UsageError(pair.output.string() +
                         " is no format of a pipe; png:-, tiff:- and pnm:- "
                         "are accepted");
    if (!dryRun) refuseTerminal(STDOUT_FILENO, outputName);
    pair.output = output_ = inFolder("output" + std::string(extension));
    Messages::callFile(pair.output, outputName);
}

fs::path Pipes::inFolder(std::string_view name) {
    if (!folder_) folder_.emplace(fs::temp_directory_path());
    return folder_->path() / name;
}

void Pipes::send() const {
    if (output_.empty()) return;
    std::signal(SIGPIPE, SIG_IGN);  // or it would end the process before the files are removed
    std::ifstream stream(output_, std::ios::binary);
    std::string block(blockSize, '\0');
    while (stream.read(block.data(), std::ssize(block)) || stream.gcount() > 0) {
        std::string_view left(block.data(), static_cast<std::size_t>(stream.gcount()));
        while (!left.empty()) {
            const ssize_t count = ::write(STDOUT_FILENO, left.data(), left.size());
            if (count < 0) throw failure(outputName, "cannot be written: ");
            left.remove_prefix(static_cast<std::size_t>(count));
        }
    }
}

}  // namespace cli
