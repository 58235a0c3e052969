#include "pictures/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <system_error>

#include "pictures/FileError.h"

namespace pictures {

namespace {

FileError cannotWrite(const std::filesystem::path& file, const std::error_code& error) {
    return {file, "cannot be written: " + error.message()};
}

FileError cannotWrite(const std::filesystem::path& file, int error) {
    return cannotWrite(file, {error, std::generic_category()});
}

// The file at the end of a chain of links, whether it is there or not.
std::filesystem::path follow(const std::filesystem::path& output) {
    constexpr int mostLinks = 40;  // as the system
    std::filesystem::path file = output;
    std::error_code none;
    for (int links = 0; std::filesystem::is_symlink(file, none); ++links) {
        if (links == mostLinks) throw cannotWrite(output, ELOOP);
        file = file.parent_path() / std::filesystem::read_symlink(file);
    }
    return file;
}

bool isReadOnly(const std::filesystem::path& file, mode_t mode) {
    constexpr mode_t writing = S_IWUSR | S_IWGRP | S_IWOTH;  // without one even root is asked
    return (mode & writing) == 0 || faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0;
}

std::string inOctal(mode_t mode) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04o", static_cast<unsigned>(mode));
    return digits;
}

// The temporary files and folders that are there; locked while one comes, moves or goes. Never
// destroyed, since a signal may come while the process ends.
struct Existing {
    std::mutex lock;
    std::set<std::filesystem::path> paths;
};

Existing& existing() {
    static auto& files = *new Existing;
    return files;
}

void removeExisting(const std::filesystem::path& path) {
    const std::lock_guard guard(existing().lock);
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
    existing().paths.erase(path);
}

}  // namespace

Target findTarget(const std::filesystem::path& output, bool overwrite) {
    Target target{follow(output), {}};
    struct stat status {};
    if (stat(target.file.c_str(), &status) != 0) {
        if (errno != ENOENT) throw cannotWrite(output, errno);
        return target;
    }
    if (S_ISDIR(status.st_mode)) throw cannotWrite(output, EISDIR);
    if (!S_ISREG(status.st_mode))
        throw FileError(output, "cannot be written: a device, pipe or socket; files are accepted");
    target.mode = status.st_mode & 07777;
    if (!overwrite && isReadOnly(target.file, *target.mode))
        throw FileError(output, "is read-only, its mode is " + inOctal(*target.mode) +
                                    "; --overwrite replaces it");
    return target;
}

TemporaryFile::TemporaryFile(const std::filesystem::path& output, bool overwrite)
    : output_(output), target_(findTarget(output, overwrite)) {
    const std::lock_guard guard(existing().lock);
    create();
    existing().paths.insert(path_);
}

void TemporaryFile::create() {
    // Nobody sees more of it than of what it replaces; moving it sets the rest.
    const mode_t mode = target_.mode ? (*target_.mode & 0666) | S_IRUSR | S_IWUSR : 0666;
    int handle = -1;
    // A process that was killed leaves files behind, and containers give the same id again.
    for (int attempt = 0; handle < 0; ++attempt) {
        path_ = target_.file.parent_path() / ".";
        path_ += output_.stem();
        path_ += '.' + std::to_string(getpid()) + '-' + std::to_string(attempt);
        path_ += output_.extension();
        handle = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (handle < 0 && errno != EEXIST) throw cannotWrite(output_, errno);
    }
    close(handle);
}

TemporaryFile::~TemporaryFile() {
    if (!path_.empty()) removeExisting(path_);
}

void TemporaryFile::reserveSpace() const {
    const int handle = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    const auto size = static_cast<off_t>(std::filesystem::file_size(path_));
    const int error = handle < 0 ? errno : size > 0 ? posix_fallocate(handle, 0, size) : 0;
    if (handle >= 0) close(handle);
    if (error != 0) throw cannotWrite(output_, error);
}

void TemporaryFile::moveToTarget() {
    const std::lock_guard guard(existing().lock);
    if (target_.mode && chmod(path_.c_str(), *target_.mode) != 0) throw cannotWrite(output_, errno);
    std::error_code error;
    std::filesystem::rename(path_, target_.file, error);
    if (error) throw cannotWrite(output_, error);
    existing().paths.erase(path_);
    path_.clear();
}

void TemporaryFile::removeAllForGood() {
    Existing& files = existing();
    files.lock.lock();
    std::error_code ignored;
    for (const auto& path : files.paths) std::filesystem::remove_all(path, ignored);
}

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent) {
    std::string name = (parent / "polar.XXXXXX").string();
    const std::lock_guard guard(existing().lock);
    if (mkdtemp(name.data()) == nullptr) throw cannotWrite(parent, errno);
    path_ = name;
    existing().paths.insert(path_);
}

TemporaryFolder::~TemporaryFolder() { removeExisting(path_); }

}  // namespace pictures
