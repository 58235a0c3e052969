#include "cli/renderFrames.h"

#include <OpenImageIO/strutil.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "cli/renderPicture.h"
#include "pictures/imageLibrary.h"

namespace cli {

namespace {

using OIIO::Strutil::fmt::format;
using sequences::FilePair;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

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
    // `threads` is how many may work at the same time.
    Run(const Renderer& renderer, const std::vector<FilePair>& frames,
        const FrameSettings& settings, const RunSettings& run, unsigned threads,
        const Messages& messages)
        : renderer_(renderer),
          frames_(frames),
          settings_(settings),
          run_(run),
          threads_(threads),
          messages_(messages) {}

    // How many frames are rendered side by side.
    unsigned workers() const {
        return static_cast<unsigned>(std::clamp<std::size_t>(frames_.size(), 1, threads_));
    }

    // Works until no frame is left. To be called by each worker.
    void work() {
        for (std::size_t i = next_++; i < frames_.size() && !stop_; i = next_++) {
            if (i + workers() < frames_.size()) readAhead(frames_[i + workers()].input);
            const auto sideBySide = std::min<std::size_t>(threads_, frames_.size() - i);
            try {
                render(frames_[i], static_cast<unsigned>(threads_ / sideBySide));
            } catch (const std::exception& error) {
                Messages::print(error.what());
                ++failed_;
                stop_ = !run_.keepGoing;
            }
        }
    }

    bool finish() const {
        messages_.status("");
        if (run_.stats) Messages::print(summary());
        return done_ + existing_ == frames_.size();
    }

  private:
    void render(const FilePair& frame, unsigned threads) {
        std::error_code error;
        if (run_.skipExisting && std::filesystem::exists(frame.output, error) &&
            !std::filesystem::equivalent(frame.input, frame.output, error)) {
            messages_.detail(frame.output, "exists; skipped");
            ++existing_;
            return;
        }
        if (run_.skipMissing && !std::filesystem::exists(frame.input, error)) {
            Messages::print(frame.input.string() + ": no such file; skipped");
            ++missing_;
            return;
        }
        const FrameTimes times =
            renderPicture(renderer_, frame.input, frame.output, settings_, threads, messages_);
        const std::lock_guard guard(lock_);
        total_ += times;
        ++done_;
        if (frames_.size() > 1) messages_.status(progress());
    }

    double elapsed() const { return Seconds(Clock::now() - start_).count(); }

    std::string progress() const {
        const double rate = static_cast<double>(done_) / elapsed();
        const auto left = frames_.size() - done_ - existing_ - missing_ - failed_;
        return format("{} of {} frames, {:.2f} frames/s, {:.0f} s left", done_, frames_.size(),
                      rate, static_cast<double>(left) / rate);
    }

    std::string summary() const {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        const double seconds = elapsed();
        return format("{} of {} frames, {} skipped, {} missing, {} failed, ", done_, frames_.size(),
                      existing_.load(), missing_.load(), failed_.load()) +
               format("{:.2f} s, {:.2f} frames/s on {} threads; ", seconds,
                      static_cast<double>(done_) / seconds, threads_) +
               format("read {:.2f} s, render {:.2f} s, write {:.2f} s in all frames; at most {} MB",
                      total_.read, total_.render, total_.write, usage.ru_maxrss / 1024);
    }

    const Renderer& renderer_;
    const std::vector<FilePair>& frames_;
    const FrameSettings& settings_;
    const RunSettings& run_;
    const unsigned threads_;
    const Messages& messages_;
    const Clock::time_point start_ = Clock::now();
    std::atomic<std::size_t> next_ = 0, existing_ = 0, missing_ = 0, failed_ = 0;
    std::atomic<bool> stop_ = false;
    std::mutex lock_;  // for those below
    FrameTimes total_;
    std::size_t done_ = 0;
};

}  // namespace

bool renderFrames(const Renderer& renderer, const std::vector<FilePair>& frames,
                  const FrameSettings& settings, const RunSettings& run, const Messages& messages) {
    const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
    const unsigned threads = run.threads == 0 ? cores : run.threads;
    Run state(renderer, frames, settings, run, threads, messages);
    pictures::setExrThreads(threads / state.workers());
    {
        std::vector<std::jthread> helpers;
        for (unsigned i = 1; i < state.workers(); ++i)
            helpers.emplace_back([&state] { state.work(); });
        state.work();
    }
    return state.finish();
}

}  // namespace cli
