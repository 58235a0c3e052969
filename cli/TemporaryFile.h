// A file that appears in its place only when it is complete.
#pragma once

#include <filesystem>

// An empty file beside `target`, with the extension of `target`, removed with the object unless it
// was moved. Throws FileError where the system does not let `target` be written. An object is used
// by one thread at a time.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::filesystem::path& target);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // Gives every byte up to the file's end its place on the disk, where a writer that does not
    // look has left holes. Throws FileError where there is no space.
    void reserveSpace() const;

    // Replaces `target`. Throws FileError.
    void moveToTarget();

    // Removes every temporary file. To be called when the process ends: other threads that come to
    // create or move one wait for ever.
    static void removeAllForGood();

  private:
    void create();

    std::filesystem::path target_;
    std::filesystem::path path_;
};
