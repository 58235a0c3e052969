// What `polar` says on standard error. All of it may be used from any thread.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

// Ends the work on one file. `reason` is one line: the value met and the range accepted.
class FileError : public std::runtime_error {
  public:
    FileError(const std::filesystem::path& file, const std::string& reason)
        : std::runtime_error(file.string() + ": " + reason) {}
};

// A command line that means nothing.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Verbosity { quiet, normal, verbose };

class Messages {
  public:
    explicit Messages(Verbosity verbosity) : verbosity_(verbosity) {}

    // Unless quiet.
    void warning(const std::filesystem::path& file, const std::string& text) const {
        if (verbosity_ != Verbosity::quiet) print(file.string() + ": " + text);
    }
    // Only when verbose.
    void detail(const std::filesystem::path& file, const std::string& text) const {
        if (verbosity_ == Verbosity::verbose) print(file.string() + ": " + text);
    }
    // Replaces the last line of the terminal; lines of the other kinds go above it. An empty one
    // takes it away. Only on a terminal, and unless quiet.
    void status(const std::string& text) const;

    // One line.
    static void print(const std::string& text);

  private:
    Verbosity verbosity_;
};
