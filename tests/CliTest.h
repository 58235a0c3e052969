// Runs the built `polar` as a user does, on pictures made here.
#pragma once

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imagecache.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using OIIO::TypeDesc;

struct Outcome {
    int status;
    std::string out, err;

    std::string all() const { return std::to_string(status) + out + err; }
};

// Red, green, blue and alpha, which is 1 where there is none.
inline std::vector<float> pixel(const OIIO::ImageBuf& image, int x, int y) {
    std::vector<float> samples(4, 1);
    image.getpixel(x + image.spec().x, y + image.spec().y, samples.data(), 4);
    return samples;
}

// A folder for the pictures and one for the streams, both gone after the test.
class Cli : public testing::Test {
  protected:
    Cli() {
        std::string name = (fs::temp_directory_path() / "polar_cli_XXXXXX").string();
        fs::create_directories(folder = (root = mkdtemp(name.data())) / "pictures");
    }
    ~Cli() override { fs::remove_all(root); }

    // Runs a command of the shell in the folder, where `polar` is the built one.
    Outcome shell(const std::string& command) const {
        const std::string path = fs::path(POLAR_EXECUTABLE).parent_path();
        const std::string line = "cd '" + folder.string() + "' && PATH='" + path + "':$PATH && (" +
                                 command + ") >../out 2>../err";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(root / "out"),
                contents(root / "err")};
    }
    Outcome run(const std::string& arguments) const { return shell("polar " + arguments); }
    void runWell(const std::string& arguments) const {
        EXPECT_EQ(run(arguments).all(), "0") << arguments;
    }
    // One line with `fragment` in it, and the files as they were. `before` is a part of a command.
    void runBadly(const std::string& arguments, int status, const std::string& fragment,
                  const std::string& before = "") const {
        const std::set<std::string> were = files();
        const Outcome outcome = shell(before + " polar " + arguments);
        const std::string wanted = std::to_string(status) + "polar: ";
        EXPECT_TRUE(outcome.all().starts_with(wanted) &&
                    outcome.all().find('\n') + 1 == outcome.all().size() &&
                    outcome.err.find(fragment) != std::string::npos)
            << arguments << ": " << outcome.all() << "wanted: " << wanted << fragment;
        EXPECT_EQ(files(), were) << arguments;
    }

    static std::string contents(const fs::path& file) {
        std::string text;
        OIIO::Filesystem::read_text_file(file.string(), text);
        return text;
    }
    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder))
            names.insert(entry.path().filename());
        return names;
    }

    // Writes the samples as they are, again and again, whatever the format makes of alpha.
    void save(const std::string& name, OIIO::ImageSpec spec, const std::vector<float>& some) const {
        std::vector<float> all(spec.image_pixels() * std::size_t(spec.nchannels));
        for (std::size_t i = 0; i < all.size(); ++i) all[i] = some[i % some.size()];
        if (spec.find_attribute("oiio:UnassociatedAlpha") == nullptr)
            spec.attribute("oiio:UnassociatedAlpha", 1);
        const TypeDesc type = std::exchange(spec.format, TypeDesc::FLOAT);
        OIIO::ImageBuf image(spec, all.data());
        image.set_write_format(type);
        image.set_write_tiles(spec.tile_width, spec.tile_height);
        ASSERT_TRUE(image.write((folder / name).string())) << image.geterror();
    }
    // Reads the samples as they are in the file, or with associated alpha.
    OIIO::ImageBuf load(const std::string& name, bool associated = false) const {
        OIIO::ImageCache::create()->invalidate_all(true);  // names come again
        OIIO::ImageSpec wishes;
        wishes.attribute("oiio:UnassociatedAlpha", associated ? 0 : 1);
        OIIO::ImageBuf image((folder / name).string(), 0, 0, nullptr, &wishes);
        EXPECT_TRUE(image.read(0, 0, true, TypeDesc::FLOAT)) << image.geterror();
        return image;
    }

    fs::path root, folder;
};

inline void expectNear(const std::vector<float>& got, const std::vector<float>& wanted,
                       double tolerance, const std::string& name) {
    ASSERT_EQ(got.size(), wanted.size()) << name;
    for (std::size_t c = 0; c < got.size(); ++c) EXPECT_NEAR(got[c], wanted[c], tolerance) << name;
}

// A few thousand pixels of scattered values k / steps; with alphas 1, 1/2, 1/4 and 0 in turn, or
// without alpha.
inline std::vector<float> scattered(unsigned steps, int channels) {
    std::vector<float> samples;
    for (unsigned i = 0; i < 4 * 997; ++i) {
        for (unsigned c = 1; c <= 3; ++c)
            samples.push_back(float(i * 7919u * c % (steps + 1)) / float(steps));
        if (channels == 4) samples.push_back(i % 4 == 3 ? 0 : 1 / float(1 << i % 4));
    }
    return samples;
}
