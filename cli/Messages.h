// What `polar` prints on standard error. All of it may be used from any thread.
#pragma once

#include <filesystem>
#include <string>

namespace cli {

enum class Verbosity { quiet, normal, verbose };

class Messages {
  public:
    explicit Messages(Verbosity verbosity) : verbosity_(verbosity) {}

    // Unless quiet; for the first file alone that it is true of, unless verbose.
    void warning(const std::filesystem::path& file, const std::string& text) const;
    // Only when verbose.
    void detail(const std::filesystem::path& file, const std::string& text) const {
        if (verbosity_ == Verbosity::verbose) print(file.string() + ": " + text);
    }
    // Replaces the terminal's last line, below all other messages; an empty text removes it. Only
    // on a terminal, and unless quiet.
    void status(const std::string& text) const;

    // One line.
    static void print(const std::string& text);

    // From here on print() and shown() call a file by that name.
    static void callFile(const std::filesystem::path& file, const std::string& name);
    static std::string shown(std::string text);

  private:
    Verbosity verbosity_;
};

}  // namespace cli
