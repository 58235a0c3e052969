#include "pictures/TemporaryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
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

// The temporary files that are there; locked while one comes, moves or goes. Never destroyed, since
// a signal may come while the process ends.
struct Existing {
    std::mutex lock;
    std::set<std::filesystem::path> paths;
};

Existing& existing() {
    static auto& files = *new Existing;
    return files;
}

}  // namespace

TemporaryFile::TemporaryFile(const std::filesystem::path& target) : target_(target) {
    if (std::filesystem::is_directory(target_))
        throw cannotWrite(target_, std::make_error_code(std::errc::is_a_directory));
    const std::lock_guard guard(existing().lock);
    create();
    existing().paths.insert(path_);
}

void TemporaryFile::create() {
    int handle = -1;
    // A process that was killed leaves files behind, and containers give the same id again.
    for (int attempt = 0; handle < 0; ++attempt) {
        path_ = target_.parent_path() / ".";
        path_ += target_.stem();
        path_ += '.' + std::to_string(getpid()) + '-' + std::to_string(attempt);
        path_ += target_.extension();
        handle = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (handle < 0 && errno != EEXIST)
            throw cannotWrite(target_, {errno, std::generic_category()});
    }
    close(handle);
}

TemporaryFile::~TemporaryFile() {
    if (path_.empty()) return;
    const std::lock_guard guard(existing().lock);
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    existing().paths.erase(path_);
}

void TemporaryFile::reserveSpace() const {
    const int handle = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    const auto size = static_cast<off_t>(std::filesystem::file_size(path_));
    const int error = handle < 0 ? errno : size > 0 ? posix_fallocate(handle, 0, size) : 0;
    if (handle >= 0) close(handle);
    if (error != 0) throw cannotWrite(target_, {error, std::generic_category()});
}

void TemporaryFile::moveToTarget() {
    const std::lock_guard guard(existing().lock);
    std::error_code error;
    std::filesystem::rename(path_, target_, error);
    if (error) throw cannotWrite(target_, error);
    existing().paths.erase(path_);
    path_.clear();
}

void TemporaryFile::removeAllForGood() {
    Existing& files = existing();
    files.lock.lock();
    std::error_code ignored;
    for (const auto& path : files.paths) std::filesystem::remove(path, ignored);
}

}  // namespace pictures
