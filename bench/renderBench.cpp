// Nanoseconds per pixel of a render on one thread, by every instruction set that the machine has: a
// table in Markdown for each, and one of a copy of the frame. In parentheses what is left where
// memory costs nothing, as all rows of either image are one.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/frames.h"
#include "render/Plan.h"

namespace {

// Waits for all repetitions, as its median is of runs that took turns with all others.
class Times : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                times_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }

    // Per pixel; nothing of what was not measured.
    std::string perPixel(const std::string& name, bench::Size size) const {
        const auto found = times_.find(name + '/' + size.name());
        if (found == times_.end()) return {};
        char text[32];
        std::snprintf(text, sizeof text, "%.2f", bench::median(found->second) / size.pixels());
        return text;
    }

  private:
    std::map<std::string, std::vector<double>> times_;
};

void render(const polar::InstructionSet& set, const bench::Case& of, const bench::Frame& input,
            const bench::Frame& output, bool inCache) {
    const polar_image& image = input.image();
    const auto width = static_cast<std::size_t>(image.width);
    const polar::Rect all{0, 0, image.width, image.height};
    std::vector<double> tables(2 * width);
    const auto rowBytes =
        static_cast<std::int64_t>(input.pixels().size()) / std::int64_t{image.height};
    const auto mapping = of.direction == POLAR_WRAP ? polar::Mapping::wrap : polar::Mapping::unwrap;
    const auto sampling =
        of.sampling == POLAR_NEAREST ? polar::Sampling::nearest : polar::Sampling::bilinear;
    const polar::Plan plan(
        static_cast<unsigned>(image.format), polar::fromRectangles(mapping, all, all),
        {image.pixels, inCache ? 0 : rowBytes}, {output.image().pixels, rowBytes}, sampling,
        {tables.data(), tables.data() + width}, set);
    if (inCache)
        plan.renderTo({output.image().pixels, 0}, 0, image.height);
    else
        plan.render(0, image.height);
}

// Measures `work()` under that name.
template <class Work>
void add(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
        for (auto _ : state) work();
    });
}

// Whether there was anything to measure.
bool measure(bench::Size size, const bench::Format& format, Times& times) {
    const bench::Frame input(format.code, size), output(format.code, size);
    const std::string frame = format.name + ('/' + size.name());
    add("memcpy/" + frame, [&] {
        std::memcpy(output.image().pixels, input.pixels().data(), input.pixels().size());
        benchmark::ClobberMemory();
    });
    for (const polar::InstructionSet* const set : polar::instructionSets()) {
        if (!set->isSupported()) continue;
        for (const bench::Case& of : bench::cases)
            for (const bool inCache : {false, true}) {
                if (inCache && set == &polar::plainPath) continue;
                add(std::string(set->name) + (inCache ? " in cache/" : "/") + of.name + ' ' + frame,
                    [&, set, inCache] { render(*set, of, input, output, inCache); });
            }
    }
    const bool isAny = benchmark::RunSpecifiedBenchmarks(&times) > 0;
    benchmark::ClearRegisteredBenchmarks();
    if (isAny) std::fprintf(stderr, "%s measured\n", frame.c_str());
    return isAny;
}

// One table: rows and columns of which nothing was measured are left out.
void print(const Times& times, const std::string& set, const std::vector<std::string>& rows,
           const std::vector<bench::Size>& sizes) {
    const std::string full = set + '/', floor = set + " in cache/";
    std::string rule = "|---|";
    std::printf("\n%s, ns/pixel:\n\n| case |", set.c_str());
    for (const bench::Size size : sizes) {
        std::printf(" %s |", size.name().c_str());
        rule += "---|";
    }
    std::printf("\n%s\n", rule.c_str());
    for (const std::string& row : rows) {
        std::string cells;
        for (const bench::Size size : sizes) {
            cells += ' ' + times.perPixel(full + row, size);
            const std::string inCache = times.perPixel(floor + row, size);
            cells += inCache.empty() ? " |" : " (" + inCache + ") |";
        }
        if (cells.find_first_not_of(" |") != std::string::npos)
            std::printf("| %s |%s\n", row.c_str(), cells.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Times times;
    std::vector<bench::Size> sizes;
    for (const bench::Size size : bench::sizes) {
        bool isAny = false;
        for (const bench::Format& format : bench::formats)
            isAny = measure(size, format, times) || isAny;
        if (isAny) sizes.push_back(size);
    }
    std::vector<std::string> renders, copies;
    for (const bench::Format& format : bench::formats) copies.emplace_back(format.name);
    for (const bench::Case& of : bench::cases)
        for (const bench::Format& format : bench::formats)
            renders.push_back(std::string(of.name) + ' ' + format.name);
    for (const polar::InstructionSet* const set : polar::instructionSets())
        if (set->isSupported()) print(times, set->name, renders, sizes);
    print(times, "memcpy", copies, sizes);
    benchmark::Shutdown();
}
