// Nanoseconds per pixel of a render on one thread, by every instruction set that the machine has,
// and of a copy of the frame: a table in Markdown for each size, line by line as they are measured.
// In parentheses what is left where memory costs nothing, as all rows of either image are one.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "bench/frames.h"
#include "render/Plan.h"

namespace {

// Keeps times under the names that benchmarks were added by.
class Times : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                times_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }

    // The median per pixel; nothing of what was not measured.
    std::string perPixel(const std::string& name, bench::Size size) const {
        const auto found = times_.find(name);
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

// One line of a table: contenders take turns.
class Line {
  public:
    Line(const bench::Case& of, const bench::Format& format, bench::Size size)
        : title_(std::string(of.name) + ' ' + format.name), size_(size) {}

    // Measures `work()` under that name. Where one takes seconds a few will do, of the plain path
    // one.
    template <class Work>
    void add(const std::string& name, Work work) {
        const std::string full = name + '/' + title_ + '/' + size_.name();
        // Where none match, the library says so.
        if (!std::regex_search(full, std::regex(benchmark::GetBenchmarkFilter()))) return;
        isAny_ = true;
        auto* const added = benchmark::RegisterBenchmark(full.c_str(), [work](auto& state) {
            for ([[maybe_unused]] auto _ : state) work();
        });
        if (size_.pixels() > 0x1p24) added->Repetitions(name == polar::plainPath.name ? 1 : 3);
    }

    // Whether there was anything to measure.
    bool measure() {
        if (isAny_) benchmark::RunSpecifiedBenchmarks(&times_);
        benchmark::ClearRegisteredBenchmarks();
        return isAny_;
    }

    void print(const std::vector<std::string>& columns) const {
        std::printf("| %s |", title_.c_str());
        for (const std::string& column : columns) {
            const auto cell = [&](const std::string& name) {
                return times_.perPixel(name + '/' + title_ + '/' + size_.name(), size_);
            };
            const std::string floor = cell(column + inCache);
            std::printf(" %s%s |", cell(column).c_str(),
                        floor.empty() ? "" : (" (" + floor + ')').c_str());
        }
        std::printf("\n");
        std::fflush(stdout);
    }

    static constexpr const char* inCache = " in cache";

  private:
    std::string title_;
    bench::Size size_;
    Times times_;
    bool isAny_ = false;
};

void printHead(bench::Size size, const std::vector<std::string>& columns) {
    std::printf("\n%s, ns/pixel:\n\n| case |", size.name().c_str());
    std::string rule = "|---|";
    for (const std::string& column : columns) {
        std::printf(" %s |", column.c_str());
        rule += "---|";
    }
    std::printf("\n%s\n", rule.c_str());
}

void addAll(Line& line, const bench::Case& of, const bench::Frame& input,
            const bench::Frame& output) {
    for (const polar::InstructionSet* const set : polar::instructionSets()) {
        if (!set->isSupported()) continue;
        line.add(set->name, [&, set] { render(*set, of, input, output, false); });
        if (set != &polar::plainPath)
            line.add(std::string(set->name) + Line::inCache,
                     [&, set] { render(*set, of, input, output, true); });
    }
    line.add("memcpy", [&] {
        std::memcpy(output.image().pixels, input.pixels().data(), input.pixels().size());
        benchmark::ClobberMemory();
    });
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::vector<std::string> columns;
    for (const polar::InstructionSet* const set : polar::instructionSets())
        if (set->isSupported()) columns.emplace_back(set->name);
    columns.emplace_back("memcpy");
    for (const bench::Size size : bench::sizes) {
        bool hasHead = false;
        for (const bench::Format& format : bench::formats) {
            const bench::Frame input(format.code, size), output(format.code, size);
            for (const bench::Case& of : bench::cases) {
                Line line(of, format, size);
                addAll(line, of, input, output);
                if (!line.measure()) continue;
                if (!std::exchange(hasHead, true)) printHead(size, columns);
                line.print(columns);
            }
        }
    }
    benchmark::Shutdown();
}
