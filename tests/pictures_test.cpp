// What becomes of picture files.

#include "tests/CliTest.h"

namespace {

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

}  // namespace
