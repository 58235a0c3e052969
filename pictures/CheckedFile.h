// A file for the writers of the picture library to write through.
#pragma once

#include <OpenImageIO/filesystem.h>

#include <cerrno>
#include <string>

namespace pictures {

// Records the first failure and hides all from the writer: some ignore failures, and libjpeg ends
// the process on them.
class CheckedFile : public OIIO::Filesystem::IOFile {
  public:
    // An existing file, emptied.
    explicit CheckedFile(const std::string& path) : IOFile(path, Write) { check(opened()); }

    // Not "file": writers bypass write() for such a one.
    const char* proxytype() const override { return "checked"; }

    std::size_t write(const void* data, std::size_t size) override {
        check(IOFile::write(data, size) == size);
        return size;
    }

    // Hands what is buffered to the system. The errno value of the first failure so far, or 0.
    int finish() {
        check(m_file != nullptr && std::fflush(m_file) == 0);
        return error_;
    }

  private:
    void check(bool done) {
        if (!done && error_ == 0) error_ = errno;
    }
    int error_ = 0;
};

}  // namespace pictures
