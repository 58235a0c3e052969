// Runs of the command line: options, many files, failures.

#include <elf.h>
#include <sys/mount.h>

#include <cstddef>
#include <regex>

#include "tests/CliTest.h"

namespace {

TEST_F(Cli, BadInputGivesOneLineAndNoFile) {
    save("in.png", {16, 8, 3, TypeDesc::UINT8}, {1, 0, 0});
    std::ofstream(folder / "text.png") << "no picture";
    fs::copy(folder / "in.png", folder / "linked.png");
    fs::create_hard_link(folder / "in.png", folder / "same.png");
    fs::create_directory(folder / "folder.png");
    const std::vector<OIIO::ImageSpec> frames(2, {4, 4, 3, TypeDesc::UINT8});
    const std::vector<unsigned char> grey(48, 9);
    const auto gif = OIIO::ImageOutput::create("gif");
    gif->open((folder / "moving.gif").string(), 2, frames.data());
    gif->write_image(TypeDesc::UINT8, grey.data());
    gif->open((folder / "moving.gif").string(), frames[1], OIIO::ImageOutput::AppendSubimage);
    gif->write_image(TypeDesc::UINT8, grey.data());
    gif->close();
    std::ofstream(folder / "film.mp4") << "no film";
    const std::tuple<const char*, int, const char*> cases[] = {
        {"unwrap none.png -o o.png", 1, "none.png: no such file"},
        {"unwrap folder.png -o o.png", 1, "folder.png: is a folder"},
        {"unwrap moving.gif -o o.png", 1, "moving.gif: a moving picture; its frames are accepted"},
        {"unwrap film.mp4 -o o.png", 1, "film.mp4: a moving picture; its frames are accepted"},
        {"unwrap text.png -o o.png", 1, "text.png: not a readable picture: "},
        {"unwrap in.png -o o.png --region 17x8", 1,
         "in.png: --region 17x8+0+0 lies outside the result 16x8+0+0; the nearest inside is 16x8"},
        {"unwrap none.png -o o.exrr", 2, "the extension \"exrr\"; did you mean exr?"},
        {"unwrap in.png -o o.term", 2, "no picture format that can be written has"},
        {"unwrap in.png -o o.null", 2, "no picture format that can be written has"},
        {"unwrap in.png -o o.jp2", 1, "o.jp2: cannot be written: what was written cannot be read"},
        {"unwrap in.png -o none/o.png", 1, "none/o.png: cannot be written: No such file or dir"},
        {"unwrap in.png -o o.png --attrib png:compressionLevel=77", 1,
         "o.png: --attrib png:compressionLevel=77; PNG takes 0 to 9"},
        {"wrap -n in.png -o o.tif --attrib compression=jpeg", 1,
         "o.tif: compression jpeg; TIFF takes it for 3 channels of uint8, the output has 4 of"},
        {"unwrap in.png -o in.png", 1, "in.png: is the input; --overwrite"},
        {"unwrap in.png -o same.png", 1, "same.png: is the input; --overwrite"},
        {"unwrap -n in.png -o same.png --skip-existing", 1, "same.png: is the input; --overwrite"},
        {"unwrap -n in.png -o o.png --source 9x8+2+0 --region 9x8+1+0", 1,
         "--region 9x8+1+0 lies outside the result 9x8+0+0"},
        {"unwrap -n in.png -o text.png/o.png --mkdir", 1, "o.png: cannot be written: Not a dir"},
        {"unwrap -n in.png -o none/o.png", 1, "none/o.png: cannot be written: No such file or dir"},
        {"unwrap in.png -o o.png --size 0x5", 2, "--size: 0x5 is no WxH in whole pixels, each 1"},
        {"wrap in.png -o o.png --size 65536x32769", 2, "at most 2147483648 in all"},
        {"unwrap in.png -o o.png --radius 1e6", 2, "makes 6283185x1000000 pixels; --size WxH of"},
        {"unwrap in.png -o o.png --center 1,5,2", 2, "--center: 1,5,2 is no X,Y in pixels, each"},
        {"unwrap in.png -o o.png --center 1", 2, "--center: 1 is no X,Y"},
        {"unwrap in.png -o o.png --radius 0x10", 2, "--radius: 0x10 is no R or RX,RY in pixels"},
        {"unwrap in.png -o o.png --radius 5,0", 2, "--radius: 5,0 is no R or RX,RY"},
        {"unwrap in.png -o o.png --angle inf", 2, "--angle: inf is no finite number of degrees"},
        {"unwrap in.png -o o.png --arc 361", 2, "--arc: 361 is no number of degrees above 0 to 3"},
        {"unwrap in.png -o o.png --arc 0", 2, "--arc: 0 is no number of degrees above 0 to 360"},
        {"unwrap in.png -o o.png --amount nan", 2, "--amount: nan is no number from 0 to 1"},
        {"unwrap in.png -o o.png --scale log", 2, "--scale log needs an --inner-radius above 0"},
        {"wrap in.png -o o.png --size 9x9 --inner-radius 5", 2,
         "--inner-radius 5; 0 to below the radius, which is 4.5, is accepted"},
        {"unwrap in.png -o o.png --inner-radius 8", 1, "in.png: --inner-radius 8; 0 to below"},
        {"unwrap in.png -o o.png --circle --radius 3", 2, "--radius excludes --circle"},
        {"unwrap in.png -o o.png --plugin none --region 1x1 --angle 0", 2,
         "--angle cannot be had with --plugin; a module takes --source, --region and --sampling"},
        {"unwrap in.png -o o.png --plugin none --sampling area", 2,
         "--sampling area cannot be had with --plugin; a module takes --source, --region and"},
        {"unwrap in.png -o o.png --plugin none", 1, "/none: cannot be loaded: "},
        {"unwrap in.png -o o.png --source 8x8+0+0junk", 2, "--source: 8x8+0+0junk is no WxH+X+Y"},
        {"unwrap in.png in.png -o o.png", 2, "o.png does not end in '/'"},
        {"unwrap in.png linked.png in.png -o none/", 2, "none/in.png would be written twice"},
        {"unwrap in.%d.png -o o.%d.png", 1,
         "in.%d.png: no frame matches; the first would be in.1.png"},
        {"unwrap in.png -o o.%d.png", 2, "o.%d.png stands for numbered files; in.png is a single"},
        {"unwrap in.%d.png -o o.png --frames 1", 2, "o.png has no place for the frame number"},
        {"unwrap in.png -o o.png --frames 1", 2, "--frames needs a name like shot.%04d.exr"},
        {"unwrap in.png -o o.png --attrib zip", 2, "--attrib: zip is no NAME=VALUE"},
        {"unwrap in.png --regoin 1x1", 2, "--regoin is not expected; did you mean --region?"},
        {"unwrap in.png --jobs=4", 2, "--jobs=4 is not expected; did you mean --threads?"},
        {"unwrap --input in.png", 2, "--input is not expected; inputs are named without an option"},
        {"unwrap in.png --reverse", 2, "--reverse is not expected; did you mean --direction?"},
        {"unwrap in.png --sideways", 2, "--sideways is not expected; polar --help"},
        {"compare in.png --crop 1x1", 2, "--crop is not expected; polar --help"},
        {"help warp", 2, "warp is not expected; did you mean wrap?"},
    };
    for (const auto& [arguments, status, fragment] : cases) runBadly(arguments, status, fragment);
    EXPECT_EQ(contents(folder / "in.png"), contents(folder / "linked.png"));
    save("still.gif", {4, 4, 3, TypeDesc::UINT8}, {1, 0, 0});
    runWell("unwrap still.gif -o o.png");
    runWell("unwrap in.png -o in.png --overwrite");
    EXPECT_NE(contents(folder / "in.png"), contents(folder / "linked.png"));
    fs::permissions(folder / "in.png", fs::perms::none);
    const std::string lessRights = "setpriv --bounding-set=-dac_override,-dac_read_search";
    runBadly("wrap in.png -o o.png", 1, "in.png: cannot be read: Permission denied",
             geteuid() == 0 ? lessRights : "");
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

TEST_F(Cli, OutputsStayLinksAndKeepTheirModes) {
    save("in.png", {16, 8, 3, TypeDesc::UINT8}, {1, 0, 0});
    const Outcome links = shell(
        "mkdir d && touch d/old.png read.png && chmod 604 d/old.png && chmod 440 read.png &&"
        "ln -s d/old.png near.png && ln -s near.png far.png && ln -s d/new.png dangling.png &&"
        "ln -s loop.png loop.png && ln -s /dev/null null.png && ln -s ../read.png d/read.png");
    ASSERT_EQ(links.all(), "0");
    for (const auto& [output, reason] :
         {std::pair{"d/read.png", "is read-only, its mode is 0440; --overwrite"},
          {"loop.png", "cannot be written: Too many levels of symbolic links"},
          {"null.png", "cannot be written: a device, pipe or socket"}})
        runBadly("wrap in.png -o " + std::string(output), 1, output + (": " + std::string(reason)));
    EXPECT_EQ(shell("umask 027; for o in plain far dangling d/read; do "
                    "polar wrap in.png -o $o.png --overwrite && cmp $o.png plain.png || exit; done;"
                    "stat -c '%A %N' plain.png far.png near.png dangling.png d/* read.png")
                  .all(),
              "0-rw-r----- 'plain.png'\n"
              "lrwxrwxrwx 'far.png' -> 'near.png'\nlrwxrwxrwx 'near.png' -> 'd/old.png'\n"
              "lrwxrwxrwx 'dangling.png' -> 'd/new.png'\n-rw-r----- 'd/new.png'\n"
              "-rw----r-- 'd/old.png'\nlrwxrwxrwx 'd/read.png' -> '../read.png'\n"
              "-r--r----- 'read.png'\n");
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
        runBadly("wrap in.tif -o o.tif --source 4000x3999", 1,
                 "in.tif: not enough memory for 4000x4000 to 4000x3999",
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
        const Outcome pipe = shell(
            "mkfifo ../pipe && exec 3<>../pipe && rm ../pipe || exit;"
            "TMPDIR=. env --default-signal polar wrap - -o - <&3 & cat in.tif /dev/zero | head -c "
            "3000000 >&3;"
            "stat -c %A polar.*; kill -" +
            std::string(signal) + " $!; wait $!");
        EXPECT_EQ(std::to_string(pipe.status) + pipe.out, std::to_string(status) + "drwx------\n")
            << pipe.err;
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

// The library on any number of threads gives the file that a module gives.
TEST_F(Cli, PixelsDoNotDependOnWhatRendersThem) {
    save("in.tif", {601, 500, 4, TypeDesc::UINT16}, scattered(65535, 4));
    for (const std::string render : {"unwrap in.tif", "wrap in.tif --source 599x401-9+99"})
        for (const std::string sampling : {"bilinear", "nearest"})
            for (const std::string format : {"rgba8", "rgba10", "float"}) {
                const std::string rest = render + " --region 501x350+97+33 --sampling " + sampling +
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
    EXPECT_TRUE(run("wrap in.%d.tif -o m.%d.tif --stats")
                    .err.starts_with("polar: in.%d.tif: frames missing on disk: 10\n"
                                     "polar: 4 of 4 frames"));
    if (shell("script -qec true /dev/null").status != 0)
        GTEST_SKIP() << "all but progress was tested; there is no terminal to be had";
    const std::string shown = shell(
                                  "script -qec 'polar wrap in.%d.tif -o m.%d.tif --frames "
                                  "8,9,11,12 --threads 1' /dev/null")
                                  .out;
    const std::string line = "\r\x1b\\[K[1-4] of 4 frames, [0-9.]+ frames/s, [0-9]+ s left";
    EXPECT_TRUE(std::regex_match(shown, std::regex("(" + line + "){4}\r\x1b\\[K"))) << shown;
}

TEST_F(Cli, RunsGoOnWhereTheyAreAskedTo) {
    for (const std::string frame : {"1", "2", "4"})
        save("in." + frame + ".tif", {8, 8, 3, TypeDesc::UINT8}, {1, 0, 0});
    fs::rename(folder / "in.2.tif", folder / "good.tif");
    std::ofstream(folder / "in.2.tif") << "damaged";
    const std::string wrap = "wrap in.%d.tif -o new/folder/o.%d.jpg --threads 1 --frames ";
    const Outcome outcome = run(wrap + "1-4 --keep-going --mkdir");
    const std::string lines =
        "1polar: new/folder/o.1.jpg: [^\n]*\npolar: in.2.tif: not a readable picture: [^\n]*\n"
        "polar: in.3.tif: no such file\n";
    EXPECT_TRUE(std::regex_match(outcome.all(), std::regex(lines))) << outcome.all();
    fs::rename(folder / "good.tif", folder / "in.2.tif");
    std::ofstream(folder / "new/folder/o.1.jpg") << "old";
    EXPECT_EQ(run(wrap + "1,2,4 -n --skip-existing").out,
              "in.1.tif -> new/folder/o.1.jpg (exists, is skipped)\n"
              "in.2.tif -> new/folder/o.2.jpg\n"
              "in.4.tif -> new/folder/o.4.jpg (exists, is skipped)\n");
    runWell(wrap + "1,2,4 --skip-existing -q");
    EXPECT_EQ(contents(folder / "new/folder/o.1.jpg"), "old");
    EXPECT_TRUE(fs::exists(folder / "new/folder/o.2.jpg"));
}

TEST_F(Cli, PipesCarryTheFilesOfARun) {
    const std::tuple<std::string, std::string, std::string> types[] = {
        {"png", "-", "\x89PNG"}, {"tif", "tiff:-", "II*"}, {"ppm", "-", "P6"}};
    for (const auto& [type, pipe, head] : types) {
        save("in." + type, {30, 20, 3, TypeDesc::UINT8}, scattered(255, 3));
        runWell("wrap -q in." + type + " -o file." + type);
        const Outcome outcome = shell("polar wrap -q - -o " + pipe + " <in." + type +
                                      " | cat >piped && polar compare - file." + type + " <piped");
        EXPECT_EQ(outcome.all(), "0standard input file." + type + ": 0 of 600 pixels differ\n");
        EXPECT_TRUE(contents(folder / "piped").starts_with(head)) << type;
    }
    const std::tuple<const char*, int, const char*> cases[] = {
        {"wrap - -o - </dev/null", 1, "standard input: is empty"},
        {"wrap - -o - <'" POLAR_COMPLETION "'", 1, "standard input: is no PNG, TIFF or PNM pic"},
        {"wrap - -o d/ <in.png", 2, "standard input has no name for a file in d/"},
        {"wrap in.png -o jpg:-", 2, "jpg:- is no format of a pipe"},
        {"compare - - <in.png", 2, "\"-\" stands for a single picture"},
        {"wrap -q in.png -o - >/dev/full", 1, "standard output: cannot be written: No space"}};
    for (const auto& [arguments, status, fragment] : cases)
        runBadly(arguments, status, fragment, "TMPDIR=.");
    runBadly("wrap - -o -", 1, "standard input: cannot be read: ", "head -c 99 in.png | TMPDIR=.");
    runBadly("wrap - -o o.png", 1, "standard input: cannot be kept in .: File too large",
             "ulimit -f 3000; cat in.png /dev/zero | TMPDIR=. timeout 60");
    std::ofstream(folder / "in.pfm")
        << std::string("PF\n1 1\n-1.0\n\0\0\x01?\0\0\x02?\0\0\x03?", 24);
    EXPECT_EQ(shell("polar unwrap - -o - <in.pfm >o.tif && polar compare -q in.pfm o.tif && "
                    "polar unwrap in.pfm -o - | polar compare -q o.tif -")
                  .all(),
              "0");
    const Outcome listed = shell(
        "mkdir -p t/polar.png && touch polar.png && TMPDIR=t polar wrap -q in.png -o - >o &&"
        "TMPDIR=. polar wrap in.png -n -o - --skip-existing && ls t");
    EXPECT_EQ(listed.all(), "0in.png -> standard output\npolar.png\n");
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

// An OpenEXR file with a part for each value, which all of its pixels have.
void saveParts(const fs::path& file, const std::vector<float>& values) {
    std::vector<OIIO::ImageSpec> specs(values.size(), {4, 2, 1, TypeDesc::FLOAT});
    for (std::size_t i = 0; i < specs.size(); ++i) {
        specs[i].channelnames = {"G"};
        specs[i].attribute("oiio:subimagename", "p" + std::to_string(i));
    }
    const auto output = OIIO::ImageOutput::create("exr");
    bool written = output->open(file.string(), int(specs.size()), specs.data());
    for (std::size_t i = 0; i < specs.size(); ++i) {
        if (i > 0)
            written &= output->open(file.string(), specs[i], OIIO::ImageOutput::AppendSubimage);
        const std::vector<float> samples(8, values[i]);
        written &= output->write_image(TypeDesc::FLOAT, samples.data());
    }
    ASSERT_TRUE(output->close() && written) << output->geterror();
}

TEST_F(Cli, CompareMeasuresDifferences) {
    save("a.exr", {3, 1, 3, TypeDesc::FLOAT}, {0, 0, 0, 1, 1, 1, 0, 0, 0});
    save("b.exr", {3, 1, 3, TypeDesc::FLOAT}, {0, 0, 0, 1, 0.5f, 1, 0, 0.25f, 0});
    save("opaque.exr", {3, 1, 4, TypeDesc::FLOAT}, {0, 0, 0, 1, 1, 0.5f, 1, 1, 0, 0.25f, 0, 1});
    save("half.exr", {3, 1, 4, TypeDesc::FLOAT}, {0, 0, 0, .5f, 1, 1, 1, .5f, 0, 0, 0, 1});
    save("nan.exr", {3, 1, 3, TypeDesc::FLOAT}, {0, 0, 0, 1, NAN, 1, 0, 0, 0});
    const std::string found = "a.exr b.exr: 2 of 3 pixels differ\n  G: largest 0.5, mean 0.25\n";
    const std::tuple<std::string, int, std::string> cases[] = {
        {"a.exr a.exr", 0, "a.exr a.exr: 0 of 3 pixels differ\n"},
        {"a.exr b.exr", 1, found},
        {"a.exr b.exr --tolerance 0.49", 1, found},
        {"a.exr b.exr --tolerance 0.5", 0, found},
        {"nan.exr nan.exr -q", 0, ""},
        {"a.exr nan.exr --tolerance 9 -q", 1, ""},
        {"b.exr opaque.exr", 0, "b.exr opaque.exr: 0 of 3 pixels differ\n"},
        {"half.exr a.exr", 1,
         "half.exr a.exr: 2 of 3 pixels differ\n  A: largest 0.5, mean 0.333333\n"}};
    for (const auto& [arguments, status, out] : cases) {
        const Outcome outcome = run("compare " + arguments);
        EXPECT_EQ(outcome.all(), std::to_string(status) + out) << arguments;
    }
    saveParts(folder / "one.exr", {0.5f});
    saveParts(folder / "two.exr", {0.5f, 0.5f});
    saveParts(folder / "far.exr", {0.5f, 0.25f});
    EXPECT_EQ(run("compare two.exr far.exr").all(),
              "1two.exr far.exr: part p0: 0 of 8 pixels differ\n"
              "two.exr far.exr: part p1: 8 of 8 pixels differ\n  G: largest 0.25, mean 0.25\n");
    runWell("compare -q two.exr two.exr");
    runBadly("compare two.exr one.exr", 2, "one.exr: number of parts 1; two.exr has 2");
    save("c.exr", {3, 2, 3, TypeDesc::FLOAT}, {0, 0, 0});
    runBadly("compare a.exr c.exr", 2, "c.exr: 3x2+0+0 of 3x2+0+0 and channels R,G,B; a.exr has");
}

TEST_F(Cli, TellsAboutItselfAndTheModule) {
    save("in.png", {8, 8, 3, TypeDesc::UINT8}, {1, 0, 0});
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"polar --help", {"polar unwrap ", "polar wrap ", "info"}},
        {"polar help unwrap",
         {"--region", "bilinear|nearest|area", "|rgba12|", "no more in memory"}},
        {"for c in '' unwrap wrap compare info; do polar $c --help; done | wc -L | awk '$1 <= 80'",
         {"\n"}},
        {"polar info",
         {"\"Polar to Rectangular...\", category \"Distort\"", "\"Rectangular to Polar...\"",
          "InfoId92 30070", "InfoId92 30072", "InfoId96 30004", "SetupValue72 1"}},
        {"polar -V | grep '^polar 1' && polar unwrap in.png -o o.png --verbose 2>&1",
         {"libpolar 1.", "8x8+0+0", "rgba8", "bilinear", " ms"}},
        {"bash -c '. " POLAR_COMPLETION "; COMP_WORDS=(polar wrap --depth u); COMP_CWORD=3; _polar;"
         "echo ${COMPREPLY[@]}'",
         {"uint8 uint10 uint12 uint16\n"}},
        {"bash -c '. " POLAR_COMPLETION "; COMP_WORDS=(polar wrap --scale s); COMP_CWORD=3; _polar;"
         "echo ${COMPREPLY[@]}'",
         {"sqrt square\n"}},
    };
    for (const auto& [command, fragments] : cases) {
        const Outcome outcome = shell(command);
        EXPECT_EQ(std::to_string(outcome.status) + outcome.err, "0") << command;
        for (const std::string& fragment : fragments)
            EXPECT_NE(outcome.out.find(fragment), std::string::npos) << command << outcome.out;
    }
}

}  // namespace
