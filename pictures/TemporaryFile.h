// A file that appears in its place only once it is complete.
#pragma once

#include <filesystem>

namespace pictures {

// An empty file beside `target`, with its extension, removed with the object unless it was moved.
// An object is used by one thread at a time.
class TemporaryFile {
  public:
    // Throws FileError when `target` cannot be written.
    explicit TemporaryFile(const std::filesystem::path& target);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // Allocates disk space for every byte of the file, since writers that ignore errors leave
    // holes. Throws FileError when there is none.
    void reserveSpace() const;

    // Replaces `target`. Throws FileError.
    void moveToTarget();

    // Removes all temporary files of the process. To be called as it ends: other threads that come
    // to create or move one wait for ever.
    static void removeAllForGood();

  private:
    void create();

    std::filesystem::path target_;
    std::filesystem::path path_;
};

}  // namespace pictures
