#include "cli/renderFrames.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <thread>

#include "cli/renderPicture.h"
#include "pictures/imageLibrary.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

template <class... Values>
std::string format(const char* pattern, Values... values) {
    char text[256];
    std::snprintf(text, sizeof text, pattern, values...);
    return text;
}

// Asks the system to have the file in memory soon, and does not wait for it.
void readAhead(const std::filesystem::path& file) {
    const int handle = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (handle < 0) return;  // whoever opens it next says why
    posix_fadvise(handle, 0, 0, POSIX_FADV_WILLNEED);
    close(handle);
}

// The state that the threads of a run share.
class Run {
  public:
    Run(const hosting::Module& module, const std::vector<sequences::FilePair>& frames,
        const FrameSettings& settings, const RunSettings& run, const Messages& messages)
        : module_(module), frames_(frames), settings_(settings), run_(run), messages_(messages) {}

    // Works until no frame is left. To be called by `threads` threads at once.
    void work(unsigned threads) {
        for (std::size_t i = next_++; i < frames_.size() && !stop_; i = next_++) {
            if (i + threads < frames_.size()) readAhead(frames_[i + threads].input);
            try {
                render(frames_[i]);
            } catch (const std::exception& error) {
                Messages::print(error.what());
                ++failed_;
                stop_ = true;
            }
        }
    }

    bool finish(unsigned threads) const {
        messages_.status("");
        if (run_.stats) Messages::print(summary(threads));
        return done_ == frames_.size();
    }

  private:
    void render(const sequences::FilePair& frame) {
        std::error_code error;
        if (run_.skipMissing && !std::filesystem::exists(frame.input, error)) {
            Messages::print(frame.input.string() + ": no such file; skipped");
            ++missing_;
            return;
        }
        const FrameTimes times =
            renderPicture(module_, frame.input, frame.output, settings_, messages_);
        const std::lock_guard guard(lock_);
        total_ += times;
        ++done_;
        if (frames_.size() > 1) messages_.status(progress());
    }

    double elapsed() const { return Seconds(Clock::now() - start_).count(); }

    std::string progress() const {
        const double rate = static_cast<double>(done_) / elapsed();
        const auto left = frames_.size() - done_ - missing_;
        return format("%zu of %zu frames, %.2f frames/s, %.0f s left", done_, frames_.size(), rate,
                      static_cast<double>(left) / rate);
    }

    std::string summary(unsigned threads) const {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        const double seconds = elapsed();
        return format("%zu of %zu frames, %zu missing, %zu failed, ", done_, frames_.size(),
                      missing_.load(), failed_.load()) +
               format("%.2f s, %.2f frames/s on %u threads; ", seconds,
                      static_cast<double>(done_) / seconds, threads) +
               format("read %.2f s, render %.2f s, write %.2f s in all threads; at most %ld MB",
                      total_.read, total_.render, total_.write, usage.ru_maxrss / 1024);
    }

    const hosting::Module& module_;
    const std::vector<sequences::FilePair>& frames_;
    const FrameSettings& settings_;
    const RunSettings& run_;
    const Messages& messages_;
    const Clock::time_point start_ = Clock::now();
    std::atomic<std::size_t> next_ = 0, missing_ = 0, failed_ = 0;
    std::atomic<bool> stop_ = false;
    std::mutex lock_;  // for those below
    FrameTimes total_;
    std::size_t done_ = 0;
};

}  // namespace

bool renderFrames(const hosting::Module& module, const std::vector<sequences::FilePair>& frames,
                  const FrameSettings& settings, const RunSettings& run, const Messages& messages) {
    const unsigned cores = run.threads == 0 ? std::thread::hardware_concurrency() : run.threads;
    const auto threads =
        static_cast<unsigned>(std::clamp<std::size_t>(frames.size(), 1, std::max(1U, cores)));
    pictures::setLibraryThreads(std::max(1U, cores / threads));
    Run state(module, frames, settings, run, messages);
    {
        std::vector<std::jthread> helpers;
        for (unsigned i = 1; i < threads; ++i)
            helpers.emplace_back([&state, threads] { state.work(threads); });
        state.work(threads);
    }
    return state.finish(threads);
}

}  // namespace cli
