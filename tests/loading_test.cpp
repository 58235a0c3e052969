// Lives of instances: of any record, in many threads, of two modules that come and go.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <optional>

#include "hosting/Module.h"
#include "tests/Scene.h"
#include "tests/anyLife.h"

namespace {

// A copy of the module's file, loaded; both gone with the object.
class ModuleCopy {
  public:
    explicit ModuleCopy(const std::string& name)
        : file_(testing::TempDir() + name + std::to_string(getpid()) + ".dylib") {
        std::filesystem::copy_file(POLAR_MODULE, file_);
        module_.emplace(file_);
    }
    ~ModuleCopy() {
        module_.reset();
        EXPECT_EQ(dlopen(file_.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
        std::filesystem::remove(file_);
    }

    VexHandler entry() const { return module_->entry(); }

  private:
    std::string file_;
    std::optional<hosting::Module> module_;
};

// Lives through `lives` lives in each of as many threads as there are entries, all at once: through
// the same ones, or `apart` further in each thread than in the one before.
void liveAtOnce(const std::vector<VexHandler>& entries, unsigned lives, unsigned apart) {
    std::vector<std::future<void>> threads;
    for (const VexHandler entry : entries)
        threads.push_back(std::async(std::launch::async, [=, first = threads.size() * apart] {
            for (unsigned life = 0; life < lives; ++life)
                anyLife(randomBytes(unsigned(first) + life, 160), entry);
        }));
    for (auto& thread : threads) EXPECT_NO_THROW(thread.get());
}

TEST(Lives, RenderWhatTheSamplerGivesForAnyRecord) {
    const auto entry = exported<VexHandler>("ENTRYPOINT1");
    for (unsigned life = 0; life < 2000; ++life)
        ASSERT_NO_THROW(anyLife(randomBytes(life, 160), entry)) << life;
}

TEST(Loading, ThreadsRenderAtOnceAsAlone) {
    const ModuleCopy module("threads");  // whose transparent pixels nobody has used yet
    const std::vector<VexHandler> eight(8, module.entry());
    liveAtOnce(eight, 50, 0);
    liveAtOnce(eight, 50, 50);
}

TEST(Loading, TwoCopiesComeAndGoAHundredTimes) {
    for (int time = 0; time < 100; ++time) {
        const ModuleCopy one("one"), other("other");
        ASSERT_NE(one.entry(), other.entry());
        liveAtOnce({one.entry(), other.entry()}, 3, 3);
    }
}

}  // namespace
