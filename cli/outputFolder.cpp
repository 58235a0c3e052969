#include "cli/outputFolder.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "pictures/FileError.h"
#include "pictures/TemporaryFile.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

pictures::FileError cannotWrite(const fs::path& file, const std::error_code& error) {
    return {file, "cannot be written: " + error.message()};
}

// As a path that only a folder can have.
fs::path folderOf(const fs::path& file) {
    return (file.has_parent_path() ? file.parent_path() : fs::path(".")) / "";
}

}  // namespace

void makeFolder(const fs::path& output) {
    std::error_code error;
    fs::create_directories(folderOf(output).parent_path(), error);
    if (error) throw cannotWrite(output, error);
}

void checkPlace(const fs::path& output, bool overwrite, bool mayBeMade) {
    std::error_code ignored;
    fs::path folder = folderOf(pictures::findTarget(output, overwrite).file);
    while (mayBeMade && !fs::exists(folder.parent_path(), ignored))
        folder = folderOf(folder.parent_path());
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw cannotWrite(output, {errno, std::generic_category()});
}

}  // namespace cli
