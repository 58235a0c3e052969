// Rows shared out among threads.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <thread>
#include <vector>

namespace polar {

// Tells how much is done, on the thread that runs the bands. Whether to stop.
struct Progress {
    int (*report)(void* user, double done) = nullptr;
    void* user = nullptr;

    bool stops(double done) const { return report != nullptr && report(user, done) != 0; }
};

// Calls `work(thread, first, count)` for bands that together are the rows 0 to rows - 1, on as many
// threads, the caller's among them; threads count from 0. Fewer where the system gives no more.
// Whether all rows are done: not where `progress` stops it. May throw std::bad_alloc, before any
// work.
template <class Work>
bool runBands(std::int64_t rows, unsigned threads, const Progress& progress, Work work) {
    // Low enough to end together and to hear of progress, high enough for a band's own cost, which
    // grows with the rows before it.
    const std::int64_t height = std::max<std::int64_t>(
        (std::min<std::int64_t>(64, rows / (std::int64_t{4} * threads)) + 7) / 8 * 8,
        rows / 256 + 1);
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
    std::vector<std::jthread> helpers;
    helpers.reserve(threads - 1);
    try {
        for (unsigned thread = 1; thread < threads; ++thread)
            helpers.emplace_back([&workOnOne, thread] {
                while (workOnOne(thread)) {
                }
            });
    } catch (const std::exception&) {
        // The threads that there are do the work.
    }
    const auto bands = static_cast<std::uint32_t>((rows + height - 1) / height);
    while (workOnOne(0) && done < bands)
        if (progress.stops(1.0 * done / bands)) stopped = true;
    helpers.clear();
    if (!stopped) progress.stops(1.0);  // too late to stop
    return !stopped;
}

// How many threads are worth their start for so many pixels: `wanted`, or one for each processor
// where that is 0, but none for less than a picture of 256 x 256.
inline unsigned usefulThreads(int wanted, std::int64_t pixels) {
    const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
    const unsigned most = wanted == 0 ? processors : static_cast<unsigned>(wanted);
    return static_cast<unsigned>(std::clamp<std::int64_t>(pixels / 65536, 1, most));
}

}  // namespace polar
