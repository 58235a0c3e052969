// Something to count the instructions of: so many renders of 256 x 256 pixels.
//   instructions SET CASE FORMAT RENDERS
// Without arguments it names the instruction sets that there are, one on each line.

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "bench/frames.h"
#include "library/renderWith.h"

namespace {

const polar::InstructionSet* findSet(std::string_view name) {
    for (const polar::InstructionSet* const set : polar::instructionSets())
        if (set->isSupported() && name == set->name) return set;
    return nullptr;
}

template <class List>
auto find(const List& list, std::string_view name) {
    return std::find_if(std::begin(list), std::end(list),
                        [&](const auto& entry) { return name == entry.name; });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1)
        for (const polar::InstructionSet* const set : polar::instructionSets())
            if (set->isSupported()) std::puts(set->name);
    if (argc != 5) return argc == 1 ? 0 : 2;
    const polar::InstructionSet* const set = findSet(argv[1]);
    const auto* const of = find(bench::cases, argv[2]);
    const auto* const format = find(bench::formats, argv[3]);
    if (set == nullptr || of == std::end(bench::cases) || format == std::end(bench::formats))
        return 2;
    const bench::Frame input(format->code, {256, 256}), output(format->code, {256, 256});
    polar_options options{};
    options.direction = of->direction;
    options.sampling = of->sampling;
    options.threads = 1;
    for (int i = std::atoi(argv[4]); i > 0; --i)
        if (polar::renderWith(*set, &input.image(), &output.image(), &options) != POLAR_OK)
            return 1;
}
