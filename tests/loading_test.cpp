// Lives of instances: of any record, in many threads, of two modules that come and go.

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <optional>

#include "hosting/Module.h"
#include "tests/Scene.h"

namespace {

// A copy of the module's file, loaded; both gone with the object.
struct ModuleCopy {
    explicit ModuleCopy(const std::string& name)
        : file(testing::TempDir() + name + std::to_string(std::random_device{}()) + ".dylib") {
        std::filesystem::copy_file(POLAR_MODULE, file);
        module.emplace(file);
    }
    ~ModuleCopy() {
        module.reset();
        EXPECT_FALSE(isLoaded(file));
        std::filesystem::remove(file);
    }

    std::string file;
    std::optional<hosting::Module> module;
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
    const ModuleCopy copy("threads");  // whose transparent pixels nobody has used yet
    const std::vector<VexHandler> eight(8, copy.module->entry());
    liveAtOnce(eight, 50, 0);
    liveAtOnce(eight, 50, 50);
}

TEST(Loading, TwoCopiesComeAndGoAHundredTimes) {
    for (int time = 0; time < 100; ++time) {
        const ModuleCopy one("one"), other("other");
        ASSERT_NE(one.module->entry(), other.module->entry());
        liveAtOnce({one.module->entry(), other.module->entry()}, 3, 3);
    }
}

}  // namespace
