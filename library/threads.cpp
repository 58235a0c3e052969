// polar_render, on threads made for the call. A unit of its own: what renders on a host's threads
// does without it, and runs where the C library knows less of threads.

#include <exception>
#include <thread>
#include <vector>

#include "library/bands.h"
#include "library/polar.h"
#include "library/renderWith.h"

namespace polar {

namespace {

class OwnThreads : public Threads {
  public:
    unsigned most() const override { return std::max(1U, std::thread::hardware_concurrency()); }

    // Fewer threads where the system gives no more.
    void run(unsigned count, void (*work)(void* task, unsigned thread), void* task) const override {
        std::vector<std::jthread> helpers;
        helpers.reserve(count - 1);
        try {
            for (unsigned thread = 1; thread < count; ++thread)
                helpers.emplace_back([=] { work(task, thread); });
        } catch (const std::exception&) {
            // The threads that there are do the work.
        }
        work(task, 0);
    }
};

}  // namespace

int renderWith(const InstructionSet& instructions, const polar_image* input,
               const polar_image* output, const polar_options* options) {
    return renderWith(instructions, OwnThreads(), input, output, options);
}

}  // namespace polar

int polar_render(const polar_image* input, const polar_image* output,
                 const polar_options* options) {
    return polar::renderWith(polar::bestInstructionSet(), input, output, options);
}
