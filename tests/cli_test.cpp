// Runs the built `polar` as a user does, on pictures made here.

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imagecache.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

struct Outcome {
    int status;
    std::string out, err;

    std::string all() const { return std::to_string(status) + out + err; }
};

// Red, green, blue and alpha, which is 1 where there is none.
std::vector<float> pixel(const OIIO::ImageBuf& image, int x, int y) {
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

void expectNear(const std::vector<float>& got, const std::vector<float>& wanted, double tolerance,
                const std::string& name) {
    ASSERT_EQ(got.size(), wanted.size()) << name;
    for (std::size_t c = 0; c < got.size(); ++c) EXPECT_NEAR(got[c], wanted[c], tolerance) << name;
}

// A few thousand pixels of scattered values k / steps; with alphas 1, 1/2, 1/4 and 0 in turn, or
// without alpha.
std::vector<float> scattered(unsigned steps, int channels) {
    std::vector<float> samples;
    for (unsigned i = 0; i < 4 * 997; ++i) {
        for (unsigned c = 1; c <= 3; ++c)
            samples.push_back(float(i * 7919u * c % (steps + 1)) / float(steps));
        if (channels == 4) samples.push_back(i % 4 == 3 ? 0 : 1 / float(1 << i % 4));
    }
    return samples;
}

TEST_F(Cli, BadInputGivesOneLineAndNoFile) {
    save("in.png", {16, 8, 3, TypeDesc::UINT8}, {1, 0, 0});
    OIIO::ImageSpec unnamed(4, 4, 5, TypeDesc::HALF);
    unnamed.channelnames = {"a1", "a2", "a3", "a4", "a5"};
    save("five.exr", unnamed, std::vector<float>(80));
    std::ofstream(folder / "text.png") << "no picture";
    fs::copy(folder / "in.png", folder / "linked.png");
    fs::create_hard_link(folder / "in.png", folder / "same.png");
    fs::create_directory(folder / "folder.png");
    const std::tuple<const char*, int, const char*> cases[] = {
        {"unwrap none.png -o o.png", 1, "none.png: no such file"},
        {"unwrap folder.png -o o.png", 1, "folder.png: is a folder"},
        {"unwrap text.png -o o.png", 1, "text.png: not a readable picture: "},
        {"unwrap five.exr -o o.png", 1, "five.exr: 5 channels, none named R, G, B; 1 to 4"},
        {"unwrap in.png -o o.png --source 17x8", 1,
         "in.png: --source 17x8+0+0 lies outside the picture 16x8+0+0; the nearest inside is 16x8"},
        {"unwrap in.png -o o.exrr", 1, "the extension \"exrr\"; did you mean exr?"},
        {"unwrap in.png -o o.jp2", 1, "o.jp2: cannot be written: what was written cannot be read"},
        {"unwrap in.png -o none/o.png", 1, "none/o.png: cannot be written: No such file or dir"},
        {"unwrap in.png -o in.png", 1, "in.png: is the input; --overwrite"},
        {"unwrap in.png -o same.png", 1, "same.png: is the input; --overwrite"},
        {"unwrap in.png -o o.png --plugin none", 1, "/none: cannot be loaded: "},
        {"unwrap in.png -o o.png --source 8x8+0+0junk", 2, "--source: 8x8+0+0junk is no WxH+X+Y"},
        {"unwrap in.png in.png -o o.png", 2, "o.png does not end in '/'"},
        {"unwrap in.png linked.png in.png -o none/", 2, "none/in.png would be written twice"},
        {"unwrap in.%d.png -o o.%d.png", 1,
         "in.%d.png: no frame matches; the first would be in.1.png"},
        {"unwrap in.%d.png -o o.png --frames 1", 2, "o.png has no place for the frame number"},
        {"unwrap in.png -o o.png --frames 1", 2, "--frames needs a name like shot.%04d.exr"},
        {"unwrap in.png -o o.png --attrib zip", 2, "--attrib: zip is no NAME=VALUE"},
        {"unwrap in.png --regoin 1x1", 2, "--regoin is not expected; did you mean --region?"},
    };
    for (const auto& [arguments, status, fragment] : cases) runBadly(arguments, status, fragment);
    EXPECT_EQ(contents(folder / "in.png"), contents(folder / "linked.png"));
    runWell("unwrap in.png -o in.png --overwrite");
    EXPECT_EQ(load("in.png").nchannels(), 4);
    fs::permissions(folder / "in.png", fs::perms::none);
    const std::string lessRights = "setpriv --bounding-set=-dac_override,-dac_read_search";
    runBadly("wrap in.png -o o.png", 1,
             "in.png: not a readable picture: ", geteuid() == 0 ? lessRights : "");
}

TEST_F(Cli, DamagedFilesGiveOneLineAndNoFile) {
    save("in.png", {100, 100, 3, TypeDesc::UINT8}, scattered(255, 3));
    for (const std::string type : {"png", "jpg", "tif", "exr", "dpx"}) {
        runWell("wrap -q in.png -o all." + type);
        const std::string bytes = contents(folder / ("all." + type));
        for (const std::size_t part : {50, 2}) {
            std::ofstream(folder / ("cut." + type)) << bytes.substr(0, bytes.size() / part);
            runBadly("wrap -q cut." + type + " -o o.png", 1, "cut." + type + ": ");
        }
    }
}

// A byte of its ELF header makes a module one for another processor.
TEST_F(Cli, ModulesThatCannotBeLoadedGiveOneLine) {
    const std::string module = contents(POLAR_MODULE);
    const std::tuple<std::size_t, char, std::string> cases[] = {
        {EI_CLASS, ELFCLASS32, "built for another processor (32-bit, little-endian)"},
        {EI_DATA, ELFDATA2MSB, "built for another processor (64-bit, big-endian)"},
        {offsetof(Elf64_Ehdr, e_machine), EM_PPC, "built for another processor (64-bit"}};
    for (const auto& [at, byte, reason] : cases) {
        std::string foreign = module;
        foreign[at] = byte;
        std::ofstream(folder / "bad.dylib") << foreign;
        runBadly("info --plugin bad.dylib", 1, "/bad.dylib: cannot be loaded: " + reason);
    }
    std::ofstream(folder / "bad.dylib") << module.substr(0, module.size() / 10);
    runBadly("info --plugin bad.dylib", 1, "/bad.dylib: cannot be loaded: cut short");
    const fs::path qzLib = fs::path(POLAR_EXECUTABLE).parent_path() / "libQzLib.so";
    runBadly("info --plugin " + qzLib.string(), 1, "not a module: it has no entry ENTRYPOINT1");
}

// The system stores no more, early or late, whether the writer looks or not.
TEST_F(Cli, FullDiskKeepsWhatWasThere) {
    save("in.tif", {150, 150, 4, TypeDesc::UINT16}, scattered(65535, 4));
    fs::create_directory(folder / "disk");
    const bool hasDisk = mount("none", (folder / "disk").c_str(), "tmpfs", 0, "size=12k") == 0;
    for (const std::string type : {"png", "jpg", "tif", "exr", "dpx", "sgi", "webp", "jp2"})
        for (const std::string limit : {"ulimit -f 1;", "ulimit -f 16;", ""}) {
            if (limit.empty() && !hasDisk) continue;
            const std::string file = limit.empty() ? "disk/o." + type : "o." + type;
            std::ofstream(folder / file) << "old";
            runBadly("wrap -q in.tif -o " + file, 1, file + ": cannot be written: ", limit);
            EXPECT_EQ(contents(folder / file), "old");
            fs::remove(folder / file);
        }
    EXPECT_TRUE(fs::is_empty(folder / "disk"));
    if (!hasDisk) GTEST_SKIP() << "all but a small disk was tested: it cannot be mounted";
    umount((folder / "disk").c_str());
}

TEST_F(Cli, LittleMemoryGivesOneLine) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the address sanitizer itself needs unlimited memory";
#endif
    save("in.tif", {4000, 4000, 4, TypeDesc::UINT8}, scattered(255, 4));
    // The libraries alone take some hundred megabytes, each release of them others.
    const std::string enough =
        "for k in $(seq 100000 20000 4000000); do (ulimit -v $k; polar info) && break; done";
    const std::string kilobytes = shell("{ " + enough + "; } >/dev/null 2>&1; echo $k").out;
    for (const std::string beside : {"50000", "150000"})
        runBadly("wrap in.tif -o o.tif", 1, "in.tif: not enough memory",
                 "ulimit -v $((" + kilobytes + " + " + beside + "));");
}

// A signal while the file is being written leaves neither the file nor a part of it.
TEST_F(Cli, SignalsEndCleanly) {
    save("in.tif", {1500, 1500, 3, TypeDesc::UINT16}, scattered(65535, 3));
    for (const auto& [signal, status] : {std::pair{"INT", 130}, {"TERM", 143}, {"HUP", 129}}) {
        const Outcome outcome = shell(
            "env --default-signal polar wrap in.tif -o o.png & "
            "while kill -0 $! && ! [ -s .o.* ]; do :; done; kill -" +
            std::string(signal) + " $!; wait $!");
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(files(), std::set<std::string>{"in.tif"});
    }
}

TEST_F(Cli, EveryAnswerOfTheModuleIsChecked) {
    save("in.png", {4, 4, 3, TypeDesc::UINT8}, {1, 0, 0});
    const std::string arguments = "unwrap in.png -o o.png --plugin " POLAR_FAILING_MODULE;
    for (const std::string selector : {"1", "2", "10", "11", "12", "3"})
        runBadly(arguments, 1, "(selector " + selector + ") failed: status 0",
                 "FAILING_SELECTOR=" + selector);
    runWell(arguments);  // so that the failures above are the selectors' own
}

// Nearest sampling moves pixels as they are, through every depth and either kind of alpha.
TEST_F(Cli, NearestMovesPixelsUnchanged) {
    // Name, type, bits of a 16-bit type, steps and channels.
    const std::tuple<std::string, TypeDesc, int, unsigned, int> cases[] = {
        {"a.png", TypeDesc::UINT8, 0, 255, 3},    {"b.png", TypeDesc::UINT8, 0, 255, 4},
        {"c.png", TypeDesc::UINT16, 0, 65535, 4}, {"d.tif", TypeDesc::UINT16, 0, 65535, 4},
        {"e.dpx", TypeDesc::UINT16, 10, 1023, 3}, {"f.dpx", TypeDesc::UINT16, 12, 4095, 3},
        {"g.tif", TypeDesc::UINT16, 10, 1023, 4}, {"h.tga", TypeDesc::UINT8, 0, 255, 4},
        {"i.exr", TypeDesc::HALF, 0, 64, 4},      {"j.exr", TypeDesc::FLOAT, 0, 4096, 4},
        {"k.bmp", TypeDesc::UINT8, 0, 255, 4},
    };
    const std::vector<float> transparent(4);
    for (const auto& [name, type, bits, steps, channels] : cases) {
        OIIO::ImageSpec spec(100, 100, channels, type);
        if (bits != 0) spec.attribute("oiio:BitsPerSample", bits);
        save(name, spec, scattered(steps, channels));
        runWell("unwrap " + name + " -o o." + name + " --sampling nearest");
        const OIIO::ImageBuf in = load(name), out = load("o." + name);
        EXPECT_EQ(out.nativespec().format, type) << name;
        EXPECT_EQ(out.spec().get_int_attribute("oiio:BitsPerSample"),
                  in.spec().get_int_attribute("oiio:BitsPerSample"))
            << name;
        EXPECT_EQ(pixel(out, 0, 50), pixel(in, 50, 25)) << name;
        EXPECT_EQ(pixel(out, 25, 50), pixel(in, 25, 50)) << name;
        std::set<std::vector<float>> known{transparent};
        for (int i = 0; i < 10000; ++i) known.insert(pixel(in, i % 100, i / 100));
        for (int i = 0; i < 9900; ++i)  // the last alpha of a row of 10-bit DPX is not readable
            ASSERT_TRUE(known.contains(pixel(out, i % 99, i / 99))) << name << i;
    }
}

// Whatever a format's own conventions, its reader finds colour x alpha, and two runs give one file.
TEST_F(Cli, EveryFormatHoldsThePicture) {
    const std::vector<float> straight{0.8f, 0.4f, 0.2f, 0.4f};
    save("in.png", {64, 64, 4, TypeDesc::UINT8}, straight);
    for (const std::string type : {"png", "tif", "tga", "exr", "dpx", "sgi", "webp", "ppm"})
        for (const std::string depth : {"uint12", "half"}) {
            const std::string wrap = "polar unwrap -q in.png --depth " + depth + " -o ";
            const Outcome outcome = shell("mkdir -p a b && " + wrap + "a/o." + type + " && " +
                                          wrap + "b/o." + type + " && diff a b");
            EXPECT_EQ(outcome.status, 0) << type << depth << outcome.out << outcome.err;
            // Some versions of the picture library associate the alpha of PNG in light.
            const bool isStraight = type == "png";
            const OIIO::ImageBuf out = load("a/o." + type, !isStraight);
            const bool hasAlpha = out.nchannels() == 4;
            const std::vector<float> associated{0.32f, 0.16f, 0.08f, hasAlpha ? 0.4f : 1};
            expectNear(pixel(out, 32, 10), isStraight ? straight : associated, 0.015, type);
            if (!hasAlpha) continue;
            runWell("wrap -q a/o." + type + " -o back.png");
            expectNear(pixel(load("back.png"), 32, 40), straight, 0.03, type + depth);
        }
}

TEST_F(Cli, FormatsWithoutAlphaOrDepthSayWhatTheyLose) {
    save("in.tif", {64, 64, 4, TypeDesc::UINT16}, {0.5f, 1, 0, 0.5f});
    EXPECT_EQ(run("wrap in.tif -o o.jpg").all(),
              "0polar: o.jpg: JPEG holds no alpha; the picture lies over black\n"
              "polar: o.jpg: JPEG holds 8 bits a component; the picture has 16\n");
    expectNear(pixel(load("o.jpg"), 32, 16), {0.25f, 0.5f, 0, 1}, 0.02, "coverage of a half");
    runWell("unwrap in.tif -o o.dpx --format rgba12");
    runWell("unwrap o.dpx -o deep.dpx --format rgba16");
    EXPECT_EQ(run("unwrap in.tif -o o.png --format float").err,
              "polar: o.png: PNG holds 16 bits a component; the picture has floats\n");
    EXPECT_EQ(load("o.dpx").spec().get_int_attribute("oiio:BitsPerSample"), 12);
    EXPECT_EQ(load("deep.dpx").spec().get_int_attribute("oiio:BitsPerSample"), 16);
    EXPECT_EQ(load("o.png").nativespec().format, TypeDesc::UINT16);
}

TEST_F(Cli, ChannelsAreChosenByNumberOrByName) {
    using Floats = std::vector<float>;
    using Names = std::vector<std::string>;
    const std::tuple<std::string, Names, Floats, std::string, Floats> cases[] = {
        {"grey.tif", {"Y"}, {0.2f}, "", {0.2f, 0.2f, 0.2f, 1}},
        {"greyAlpha.png", {"Y", "A"}, {0.2f, 0.6f}, "", {0.12f, 0.12f, 0.12f, 0.6f}},
        {"rgb.png", {"R", "G", "B"}, {0.2f, 0.4f, 0.6f}, "", {0.2f, 0.4f, 0.6f, 1}},
        {"z.exr", {"Z", "G", "B", "R", "A", "id"}, {9, 0, 0.5f, 1, 1, 9}, "-q", {1, 0, 0.5f, 1}},
        {"a.exr", {"a.R", "a.G", "a.B", "R", "G", "B"}, {1, 0, 0, 0, 1, 0}, "-q", {0, 1, 0, 1}},
        {"b.exr", {"b.R", "b.G", "b.B", "R"}, {1, 0, 0, 0}, "--layer b", {1, 0, 0, 1}},
    };
    for (const auto& [file, names, in, options, out] : cases) {
        OIIO::ImageSpec spec(8, 8, int(names.size()), TypeDesc::FLOAT);
        spec.channelnames = names;
        save(file, spec, in);
        runWell("wrap " + file + " -o o.exr --depth float " + options);
        expectNear(pixel(load("o.exr"), 4, 4), out, 1e-6, file);
    }
    EXPECT_EQ(run("wrap z.exr -o o.exr").err, "polar: z.exr: 6 channels; R, G, B, A are used\n");
}

TEST_F(Cli, PartsAreChosenByColourOrByName) {
    OIIO::ImageSpec parts[] = {{8, 8, 1, TypeDesc::FLOAT}, {8, 8, 3, TypeDesc::FLOAT}};
    parts[0].channelnames = {"Z"};
    parts[0].attribute("oiio:subimagename", "depth");
    parts[1].attribute("oiio:subimagename", "colour");
    const auto output = OIIO::ImageOutput::create("exr");
    const std::string file = (folder / "in.exr").string();
    const std::vector<float> half(64, 0.5f), one(192, 1);
    ASSERT_TRUE(output->open(file, 2, parts) && output->write_image(TypeDesc::FLOAT, half.data()) &&
                output->open(file, parts[1], OIIO::ImageOutput::AppendSubimage) &&
                output->write_image(TypeDesc::FLOAT, one.data()) && output->close());
    runWell("wrap in.exr -o colour.exr");
    runWell("wrap in.exr -o depth.exr --layer depth");
    EXPECT_EQ(pixel(load("colour.exr"), 4, 4), (std::vector<float>{1, 1, 1, 1}));
    EXPECT_EQ(pixel(load("depth.exr"), 4, 4), (std::vector<float>{0.5f, 0.5f, 0.5f, 1}));
    runBadly("wrap in.exr -o x.exr --layer colours", 1,
             "in.exr: no layer colours; it has colour, depth; did you mean colour?");
}

TEST_F(Cli, RegionIsTheCropOfTheWholeAndKeepsItsPlaceAndMetadata) {
    OIIO::ImageSpec spec(40, 30, 4, TypeDesc::FLOAT);
    spec.x = 5, spec.y = -7, spec.full_width = 200, spec.full_height = 100;
    spec.attribute("Artist", "somebody");
    spec.tile_width = spec.tile_height = 16;
    save("in.exr", spec, scattered(4096, 4));
    for (const std::string command : {"unwrap", "wrap"}) {
        runWell(command + " in.exr -o all.exr --source 32x16+4+3");
        runWell(command + " in.exr -o part.exr --source 32x16+4+3 --region 9x8+11+6");
        const OIIO::ImageBuf all = load("all.exr"), part = load("part.exr");
        EXPECT_EQ(part.roi(), OIIO::ROI(11, 20, 6, 14, 0, 1, 0, 4));
        EXPECT_EQ(OIIO::ImageBufAlgo::compare(all, part, 0, 0, part.roi()).nfail, 0u);
        EXPECT_EQ(part.roi_full(), OIIO::ROI(0, 200, 0, 100, 0, 1, 0, 4));
        EXPECT_EQ(part.spec().get_string_attribute("Artist"), "somebody");
    }
}

// The library on any number of threads gives the file that a module gives.
TEST_F(Cli, PixelsDoNotDependOnWhatRendersThem) {
    save("in.tif", {601, 500, 4, TypeDesc::UINT16}, scattered(65535, 4));
    for (const std::string render : {"unwrap in.tif", "wrap in.tif --source 599x301+1+99"})
        for (const std::string sampling : {"bilinear", "nearest"})
            for (const std::string format : {"rgba8", "rgba10", "float"}) {
                const std::string rest = render + " --region 501x450+97+33 --sampling " + sampling +
                                         " --format " + format + " -o ";
                runWell(rest + "module.tif --plugin " POLAR_MODULE);
                runWell(rest + "library.tif --threads " + (format == "rgba8" ? "1" : "5"));
                EXPECT_TRUE(contents(folder / "module.tif") == contents(folder / "library.tif"))
                    << rest;
            }
}

// Every way to name the same frames, with any number of threads, gives the same files.
TEST_F(Cli, SequencesAreRenderedFrameByFrame) {
    for (int frame = 8; frame <= 12; ++frame)
        save("in." + std::to_string(frame) + ".tif", {40, 30, 3, TypeDesc::UINT8},
             {float(frame) / 255, 0, 0});
    ASSERT_EQ(shell("mkdir d e").status, 0);
    runWell("wrap in.%d.tif -o a.####.tif --threads 1");
    runWell("wrap in.%d.tif -o d/a.%04d.tif --frames 12-8 --threads 3");
    runWell("wrap in.8.tif in.9.tif in.10.tif in.11.tif -o e/ --threads 8");
    runWell("wrap in.%d.tif -o e/ --frames 12");
    EXPECT_EQ(pixel(load("a.0011.tif"), 20, 15)[0], 11.f / 255);
    EXPECT_EQ(files().size(), 5 + 5 + 2u);
    for (const std::string other : {"d/a.%04d.tif", "e/in.%d.tif"})
        runWell("compare -q a.%04d.tif " + other + " --frames 8-12");
    EXPECT_EQ(run("wrap in.%d.tif -o n.%d.tif --frames 8-12x2 -n").out,
              "in.8.tif -> n.8.tif\nin.10.tif -> n.10.tif\nin.12.tif -> n.12.tif\n");
    fs::remove(folder / "in.10.tif");
    for (const std::string more : {"", "--skip-missing"}) {
        const Outcome outcome = run("wrap in.%d.tif -o m.%d.tif --threads 1 --frames 9-11 " + more);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(outcome.err.starts_with("polar: in.10.tif: no such file")) << outcome.err;
        EXPECT_EQ(files().contains("m.11.tif"), more != "");
    }
    EXPECT_NE(run("wrap in.%d.tif -o m.%d.tif --stats").err.find("4 of 4 frames"),
              std::string::npos);
    if (shell("script -qec true /dev/null").status != 0)
        GTEST_SKIP() << "all but progress was tested; there is no terminal to be had";
    const std::string shown =
        shell("script -qec 'polar wrap in.%d.tif -o m.%d.tif --threads 1' /dev/null").out;
    const std::string line = "\r\x1b\\[K[1-4] of 4 frames, [0-9.]+ frames/s, [0-9]+ s left";
    EXPECT_TRUE(std::regex_match(shown, std::regex("(" + line + "){4}\r\x1b\\[K"))) << shown;
}

// The scripts that users copy, each as its scheduler would start it here: byte for byte one run.
TEST_F(Cli, ChunksOfAFarmAreTheFilesOfOneRun) {
    for (int frame = 1; frame <= 7; ++frame)
        save(std::to_string(frame) + ".tif", {20, 20, 3, TypeDesc::UINT8},
             scattered(255 - unsigned(frame), 3));
    const std::string farm = "'" POLAR_EXAMPLES "/farm/", render = " wrap %d.tif -q -o farm/%d.dpx";
    const std::string array =
        "export SLURM_ARRAY_TASK_COUNT=3 SLURM_ARRAY_TASK_ID && "
        "for SLURM_ARRAY_TASK_ID in 2 0 1; do " +
        farm + "slurm-array' 1 7" + render + " || exit; done";
    const bool hasParallel = shell("parallel --version").status == 0;
    for (const std::string& command : {array, farm + "with-parallel' : 1 7 3" + render}) {
        if (command != array && !hasParallel)
            GTEST_SKIP() << "the array ran; GNU parallel is not installed (package parallel)";
        const Outcome outcome =
            shell("rm -rf one farm && mkdir one farm && polar wrap %d.tif -q -o one/%d.dpx && " +
                  command + " && ls farm | wc -l && diff one farm");
        EXPECT_EQ(std::to_string(outcome.status) + outcome.out, "07\n") << outcome.err;
    }
}

TEST_F(Cli, CompareMeasuresDifferences) {
    save("a.exr", {3, 1, 3, TypeDesc::FLOAT}, {0, 0, 0, 1, 1, 1, 0, 0, 0});
    save("b.exr", {3, 1, 3, TypeDesc::FLOAT}, {0, 0, 0, 1, 0.5f, 1, 0, 0.25f, 0});
    save("nan.exr", {3, 1, 3, TypeDesc::FLOAT}, {0, 0, 0, 1, NAN, 1, 0, 0, 0});
    const std::string found = "a.exr b.exr: 2 of 3 pixels differ\n  G: largest 0.5, mean 0.25\n";
    const std::tuple<std::string, int, std::string> cases[] = {
        {"a.exr a.exr", 0, "a.exr a.exr: 0 of 3 pixels differ\n"},
        {"a.exr b.exr", 1, found},
        {"a.exr b.exr --tolerance 0.49", 1, found},
        {"a.exr b.exr --tolerance 0.5", 0, found},
        {"nan.exr nan.exr -q", 0, ""},
        {"a.exr nan.exr --tolerance 9 -q", 1, ""}};
    for (const auto& [arguments, status, out] : cases) {
        const Outcome outcome = run("compare " + arguments);
        EXPECT_EQ(outcome.all(), std::to_string(status) + out) << arguments;
    }
    save("c.exr", {3, 2, 3, TypeDesc::FLOAT}, {0, 0, 0});
    runBadly("compare a.exr c.exr", 1, "c.exr: 3x2+0+0 of 3x2+0+0 and channels R,G,B; a.exr has");
}

// Where an OpenEXR file has no samples it is transparent, and what lies outside its window is not
// seen.
TEST_F(Cli, DisplayWindowIsThePicture) {
    OIIO::ImageSpec spec(20, 40, 3, TypeDesc::FLOAT);
    spec.x = 90, spec.y = 80;
    spec.full_x = 80, spec.full_y = 90, spec.full_width = 20, spec.full_height = 20;
    save("in.exr", spec, {1, 0.5f, 0});
    runWell("unwrap in.exr -o o.exr --sampling nearest --attrib compression=piz --depth half");
    const OIIO::ImageBuf out = load("o.exr");
    EXPECT_EQ(out.roi(), OIIO::ROI(80, 100, 90, 110, 0, 1, 0, 4));
    EXPECT_EQ(out.roi_full(), out.roi());
    EXPECT_EQ(pixel(out, 5, 5), std::vector<float>(4));  // a quarter turn: the left half
    EXPECT_EQ(pixel(out, 15, 5), (std::vector<float>{1, 0.5f, 0, 1}));
    EXPECT_EQ(out.spec().get_string_attribute("compression"), "piz");
    EXPECT_EQ(out.nativespec().format, TypeDesc::HALF);
}

TEST_F(Cli, TellsAboutItselfAndTheModule) {
    save("in.png", {8, 8, 3, TypeDesc::UINT8}, {1, 0, 0});
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"polar --help", {"polar unwrap ", "polar wrap ", "info"}},
        {"polar unwrap --help", {"--region", "bilinear|nearest", "|rgba12|", "no more in memory"}},
        {"polar info",
         {"\"Polar to Rectangular...\", category \"Distort\"", "\"Rectangular to Polar...\"",
          "InfoId92 30070", "InfoId92 30072", "InfoId96 30004", "SetupValue72 1"}},
        {"polar unwrap in.png -o o.png -v 2>&1",
         {"libpolar 1.", "8x8+0+0", "rgba8", "bilinear", " ms"}},
        {"bash -c '. " POLAR_COMPLETION "; COMP_WORDS=(polar wrap --depth u); COMP_CWORD=3; _polar;"
         "echo ${COMPREPLY[@]}'",
         {"uint8 uint10 uint12 uint16\n"}},
    };
    for (const auto& [command, fragments] : cases) {
        const Outcome outcome = shell(command);
        EXPECT_EQ(std::to_string(outcome.status) + outcome.err, "0") << command;
        for (const std::string& fragment : fragments)
            EXPECT_NE(outcome.out.find(fragment), std::string::npos) << command << outcome.out;
    }
}

}  // namespace
