// A file that appears in its place only once it is complete, and a folder for what nobody else is
// to see.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>

namespace pictures {

// Where an output goes.
struct Target {
    std::filesystem::path file;  // no symbolic link, if need be what one points at
    std::optional<mode_t> mode;  // permissions of the file that is there
};

// Follows `output`. Throws FileError when it is no place for a file, or one that may not be written
// to is there and `overwrite` does not let it be replaced.
Target findTarget(const std::filesystem::path& output, bool overwrite);

// An empty file in the folder of a target, removed with the object unless it was moved. An object
// is used by one thread at a time.
class TemporaryFile {
  public:
    // With the extension of `output`. Throws FileError when it cannot be written, as findTarget.
    TemporaryFile(const std::filesystem::path& output, bool overwrite);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // Allocates disk space for every byte of the file, since writers that ignore errors leave
    // holes. Throws FileError when there is none.
    void reserveSpace() const;

    // Replaces the target, whose permissions it takes over. Throws FileError.
    void moveToTarget();

    // Removes all temporary files and folders of the process. To be called as it ends: other
    // threads that come to create or move one wait for ever.
    static void removeAllForGood();

  private:
    void create();

    std::filesystem::path output_;  // as the user calls it
    Target target_;
    std::filesystem::path path_;
};

// A folder that its owner alone may enter, removed with the object and with all that is in it.
class TemporaryFolder {
  public:
    // Of a name that nothing in `parent` has. Throws FileError when it cannot be made.
    explicit TemporaryFolder(const std::filesystem::path& parent);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace pictures
