// The library beside somebody else's renders, in turns: tables in Markdown.
#pragma once

#include <cmath>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bench/frames.h"
#include "library/renderWith.h"

namespace bench {

class Peer {
  public:
    virtual ~Peer() = default;
    virtual const char* name() const = 0;
    virtual bool has(const Format& format) const = 0;
    // Of the calls that follow; 0: as many as it likes.
    virtual void useThreads(int threads) = 0;
    virtual void render(const Frame& input, const Frame& output, const polar_options& options) = 0;
};

using Sets = std::vector<const polar::InstructionSet*>;

// Those with that name that the processor has, or where it is empty all that it has but the plain
// path.
inline Sets setsNamed(std::string_view name) {
    Sets sets;
    for (const polar::InstructionSet* const set : polar::instructionSets())
        if (set->isSupported() && (name.empty() ? set != &polar::plainPath : name == set->name))
            sets.push_back(set);
    return sets;
}

// Of one frame, in every case: nanoseconds per pixel of the peer and, beside its ratio, of each
// set.
class Comparison {
  public:
    Comparison(Peer& peer, Sets sets, Size size)
        : peer_(peer),
          sets_(std::move(sets)),
          size_(size),
          turns_(size.pixels() > 0x1p24 ? 3 : 9),
          ratios_(2 * sets_.size()) {}

    void print() {
        printHead();
        for (const Case& of : cases)
            for (const Format& format : formats)
                if (peer_.has(format)) printRow(of, format);
        printSummary("lowest ratio", [](const std::vector<double>& ratios) {
            return *std::min_element(ratios.begin(), ratios.end());
        });
        printSummary("geometric mean", [](const std::vector<double>& ratios) {
            double sum = 0;
            for (const double ratio : ratios) sum += std::log(ratio);
            return std::exp(sum / double(ratios.size()));
        });
    }

  private:
    // Median nanoseconds per pixel of the peer and of the sets: of the thread where there is one,
    // of the wall's clock where there are as many as everybody likes.
    std::vector<double> measure(const Frame& input, const Frame& output, polar_options options) {
        peer_.useThreads(options.threads);
        const int renders = std::max(1, int(0x1p22 / size_.pixels()));
        std::vector<std::vector<double>> times(1 + sets_.size());
        const auto time = [&](std::size_t of, auto render) {
            const auto work = [&] {
                for (int i = 0; i < renders; ++i) render();
            };
            times[of].push_back(options.threads == 1 ? threadTime(work) : elapsed(work));
        };
        for (int turn = 0; turn <= turns_; ++turn) {
            if (turn == 1)  // all have warmed up
                for (auto& each : times) each.clear();
            time(0, [&] { peer_.render(input, output, options); });
            for (std::size_t i = 0; i < sets_.size(); ++i)
                time(1 + i, [&] {
                    polar::renderWith(*sets_[i], &input.image(), &output.image(), &options);
                });
        }
        std::vector<double> medians;
        medians.reserve(times.size());
        for (const auto& each : times) medians.push_back(median(each) / renders / size_.pixels());
        return medians;
    }

    void printRow(const Case& of, const Format& format) {
        const Frame input(format.code, size_), output(format.code, size_);
        // The largest circle, as not everybody has ellipses.
        const double radius = std::min(size_.width, size_.height) / 2.0;
        const polar_circle circle{
            size_.width / 2.0, size_.height / 2.0, radius, radius, 0, 0, 0, 0};
        polar_options options{};
        options.direction = of.direction;
        options.sampling = of.sampling;
        options.circle = &circle;
        std::printf("| %s %s |", of.name, format.name);
        for (const int threads : {1, 0}) {
            options.threads = threads;
            const auto medians = measure(input, output, options);
            std::printf(" %.2f |", medians[0]);
            for (std::size_t i = 0; i < sets_.size(); ++i) {
                const double ratio = medians[0] / medians[1 + i];
                std::printf(" %.2f (%.2f) |", medians[1 + i], ratio);
                ratios_[i + (threads == 1 ? 0 : sets_.size())].push_back(ratio);
            }
        }
        std::printf("\n");
        std::fflush(stdout);
    }

    void printHead() const {
        std::printf("\n%s, ns/pixel (ratio), medians of %d:\n\n| case |", size_.name().c_str(),
                    turns_);
        std::string rule = "|---|";
        for (const char* const prefix : {"", "all threads: "}) {
            std::printf(" %s%s |", prefix, peer_.name());
            rule += "---|";
            for (const polar::InstructionSet* const set : sets_) {
                std::printf(" %s |", set->name);
                rule += "---|";
            }
        }
        std::printf("\n%s\n", rule.c_str());
    }

    template <class Sum>
    void printSummary(const char* title, Sum sum) const {
        std::printf("| %s |", title);
        for (std::size_t i = 0; i < ratios_.size(); ++i)
            std::printf("%s %.2f |", i % sets_.size() == 0 ? " |" : "", sum(ratios_[i]));
        std::printf("\n");
    }

    Peer& peer_;
    Sets sets_;
    Size size_;
    int turns_;
    std::vector<std::vector<double>> ratios_;  // of the sets on one thread, then on all
};

// A comparison of each frame, by the set and of the size that are named; empty names are all. The
// program's status.
inline int compare(Peer& peer, std::span<const Size> frames, std::string_view setName,
                   std::string_view sizeName) {
    const Sets sets = setsNamed(setName);
    bool isAny = false;
    for (const Size size : frames)
        if (!sets.empty() && (sizeName.empty() || sizeName == size.name())) {
            Comparison(peer, sets, size).print();
            isAny = true;
        }
    if (!isAny) std::fprintf(stderr, "no such instruction set here, or no such size\n");
    return isAny ? 0 : 1;
}

}  // namespace bench
