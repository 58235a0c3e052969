// Rows shared out among threads.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace polar {

// Tells how much is done, on the thread that runs the bands. Whether to stop.
struct Progress {
    int (*report)(void* user, double done) = nullptr;
    void* user = nullptr;

    bool stops(double done) const { return report != nullptr && report(user, done) != 0; }
};

// Somebody's threads.
class Threads {
  public:
    // How many can work at the same time, the caller's among them; 1 or more.
    virtual unsigned most() const = 0;
    // Calls `work(task, thread)` on the caller's and other threads and returns when all calls have.
    // `thread` is below `count`, and no two calls at the same time have the same one; 0 hears of
    // progress. A call ends when nothing is left to do, so one is enough, and the last one comes
    // after or along with all others.
    virtual void run(unsigned count, void (*work)(void* task, unsigned thread),
                     void* task) const = 0;

  protected:
    ~Threads() = default;
};

// Calls `work(thread, first, count)` for bands that together are the rows 0 to rows - 1, on up to
// `count` threads, which count from 0. Whether all rows are done: not where `progress` stops it.
// May throw what the threads throw, before any work.
template <class Work>
bool runBands(const Threads& threads, std::int64_t rows, unsigned count, const Progress& progress,
              Work work) {
    // Low enough to end together and to hear of progress, high enough for a band's own cost, which
    // grows with the rows before it.
    const std::int64_t height = std::max<std::int64_t>(
        (std::min<std::int64_t>(64, rows / (std::int64_t{4} * count)) + 7) / 8 * 8, rows / 256 + 1);
    const auto bands = static_cast<std::uint32_t>((rows + height - 1) / height);
    std::atomic<std::uint32_t> next = 0, done = 0;  // bands; every processor counts 32 bits
    std::atomic<bool> stopped = false;
    // Whether there was a band left.
    const auto workOnOne = [&](unsigned thread) {
        const std::int64_t first = next++ * height;
        if (first >= rows || stopped) return false;
        work(thread, first, std::min(height, rows - first));
        ++done;
        return true;
    };
    auto workOnAll = [&](unsigned thread) {
        while (workOnOne(thread))
            if (thread == 0 && done < bands && progress.stops(1.0 * done / bands)) stopped = true;
    };
    threads.run(
        count,
        [](void* task, unsigned thread) { (*static_cast<decltype(workOnAll)*>(task))(thread); },
        &workOnAll);
    if (!stopped) progress.stops(1.0);  // too late to stop
    return !stopped;
}

// How many threads are worth their start for so many pixels: `wanted`, or all there are where that
// is 0, but none for less than a picture of 256 x 256.
inline unsigned usefulThreads(const Threads& threads, int wanted, std::int64_t pixels) {
    const unsigned most = wanted == 0 ? threads.most() : static_cast<unsigned>(wanted);
    return static_cast<unsigned>(std::clamp<std::int64_t>(pixels / 65536, 1, most));
}

}  // namespace polar
