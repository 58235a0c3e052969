// The library beside another build of it, an earlier one for instance:
//   against LIBRARY [INSTRUCTION_SET [SIZE]]

#include <dlfcn.h>

#include "bench/comparison.h"

namespace {

class OtherBuild : public bench::Peer {
  public:
    explicit OtherBuild(const char* path) : library_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (library_ != nullptr)
            render_ = reinterpret_cast<decltype(&polar_render)>(dlsym(library_, "polar_render"));
    }

    bool isThere() const { return render_ != nullptr; }
    const char* name() const override { return "other build"; }
    bool has(const bench::Format&) const override { return true; }
    void useThreads(int) override {}
    void render(const bench::Frame& input, const bench::Frame& output,
                const polar_options& options) override {
        render_(&input.image(), &output.image(), &options);
    }

  private:
    void* library_;
    decltype(&polar_render) render_ = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
    OtherBuild peer(argc > 1 ? argv[1] : "");
    if (!peer.isThere()) {
        std::fprintf(stderr, "against: %s\n", dlerror());
        return 1;
    }
    // What it chooses itself is the best set.
    const char* const set = argc > 2 ? argv[2] : polar::bestInstructionSet().name;
    return compare(peer, bench::sizes, set, argc > 3 ? argv[3] : "");
}
