#include "cli/Options.h"

#include <algorithm>

#include "cli/HelpFormatter.h"
#include "cli/meantWord.h"
#include "cli/optionKinds.h"
#include "cli/warpOptions.h"
#include "library/polar.h"
#include "pixels/QzBuffer.h"

namespace cli {

namespace {

constexpr const char* examples = R"(polar wrap panorama.png --ground bottom -o planet.png
polar unwrap donut.png --radius 430 --inner-radius 90 -o strip.png
polar wrap shot.%04d.exr -o planet.%04d.exr --frames 1001-1100
polar compare planet.%04d.exr farm/planet.%04d.exr --tolerance 0.001

Bends pictures between polar and rectangular.)";

// The heading of what the library alone can do, but for rectangles.
constexpr const char* geometry = "Geometry";

void addPlugin(CLI::App& command, Options& options, const std::string& help) {
    command.add_option("--plugin", options.plugin, help)->type_name("PATH");
}

void requirePath(CLI::Option* option) { option->required()->type_name("PATH"); }

void addRectangle(CLI::App& command, const std::string& name,
                  std::optional<pictures::Rectangle>& target, const std::string& help) {
    addParsed(command, name, target, pictures::parseRectangle,
              "WxH+X+Y in whole pixels, W and H 1 or more", "WxH+X+Y", help);
}

void addFrames(CLI::App& command, Paths& paths) {
    addParsed(
        command, "--frames", paths.frames, sequences::parseFrameRange,
        "1-100, 1-100x4, 5-1, -5--1, 7 or several of these with commas, at most 1000000 frames",
        "RANGE",
        "Frames of a name with %04d, ####, @@@@ or $F4, as 1-100, 1-100x4, 5-1,7 [all found]");
}

Choices<std::optional<QzBitmapType>> formatChoices() {
    Choices<std::optional<QzBitmapType>> choices{{"auto", std::nullopt}};
    forEachFormat([&]<class Buffer>() { choices.emplace_back(Buffer::name, Buffer::bitmapType); });
    return choices;
}

void addVerbosity(CLI::App& command, Options& options) {
    CLI::Option* const verbose = command.add_flag(
        "-v,--verbose", [&](auto) { options.verbosity = Verbosity::verbose; },
        "Say for each frame what is done, times and all warnings");
    command
        .add_flag(
            "-q,--quiet", [&](auto) { options.verbosity = Verbosity::quiet; },
            "No warnings, no progress")
        ->excludes(verbose);
}

void addAttributes(CLI::App& command, pictures::FileSettings& file) {
    const auto store = [&file](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const auto equals = text.find('=');
            if (equals == 0 || equals == std::string::npos)
                throw CLI::ValidationError("--attrib", text + " is no NAME=VALUE");
            file.attributes.emplace_back(text.substr(0, equals), text.substr(equals + 1));
        }
    };
    command
        .add_option_function<std::vector<std::string>>(
            "--attrib", store,
            "For the output's writer, as compression=dwaa:45 or quality=90; else metadata")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->allow_extra_args(false);
}

void addPaths(CLI::App& command, Options& options) {
    requirePath(command.add_option("INPUT", options.paths.inputs,
                                   "Pictures to read, or shot.%04d.exr; - is standard input"));
    requirePath(command.add_option(
        "-o,--output", options.paths.output,
        "Picture to write, its extension is its format; or a folder, ending in '/'; - is standard "
        "output, png:-, tiff:- or pnm:- with that format"));
    addFrames(command, options.paths);
}

void addFileOptions(CLI::App& command, Options& options) {
    command.add_option("--layer", options.frame.layer, "Part, layer or channel of an EXR [all]")
        ->type_name("NAME");
    using pictures::Depth;
    addChoice<std::optional<Depth>>(command, "--depth",
                                    {{"same", std::nullopt},
                                     {"uint8", Depth::uint8},
                                     {"uint10", Depth::uint10},
                                     {"uint12", Depth::uint12},
                                     {"uint16", Depth::uint16},
                                     {"half", Depth::half},
                                     {"float", Depth::float32}},
                                    options.frame.file.depth, "Components of the output");
    using pictures::AlphaChoice;
    addChoice<AlphaChoice>(command, "--alpha",
                           {{"auto", AlphaChoice::automatic},
                            {"keep", AlphaChoice::keep},
                            {"drop", AlphaChoice::drop}},
                           options.frame.file.alpha,
                           "Alpha in the output; auto: where it had one or something is missing");
    addParsed(command, "--background", options.frame.file.background, pictures::parseColour,
              "colour; #rrggbb, #rgb, black, white, a number for grey or three as 0.5,0.25,0, "
              "1 being the brightest, are accepted",
              "COLOUR", "Put the picture over it, as #336699, white or 0.2,0.4,0.6");
    addAttributes(command, options.frame.file);
    command.add_flag("--overwrite", options.frame.overwrite,
                     "Let the output replace its own input, or a read-only file");
    command.add_flag("--mkdir", options.frame.makeFolders, "Make missing folders of the outputs");
}

void addPixelOptions(CLI::App& command, Options& options) {
    addChoice<Sampling>(command, "--sampling",
                        {{"bilinear", Sampling::bilinear},
                         {"nearest", Sampling::nearest},
                         {"area", Sampling::area}},
                        options.frame.sampling,
                        "Mix the four pixels around each place, copy the nearest one, or mix all "
                        "that an output pixel covers: slower, without moire and steps");
    addChoice(command, "--format", formatChoices(), options.frame.format,
              "Pixels to render in; auto: as the file has them");
    addPlugin(command, options, "Module to render with, driven as by its host [libpolar]");
}

void addRunOptions(CLI::App& command, Options& options) {
    command.add_flag("--keep-going", options.run.keepGoing,
                     "Go on after a frame that fails; the status is 1 all the same");
    command
        .add_flag("--skip-existing", options.run.skipExisting,
                  "Leave outputs that exist as they are")
        ->excludes(command.get_option("--overwrite"));
    command.add_flag("--skip-missing", options.run.skipMissing,
                     "Go on where an input is missing; the status is 1 all the same");
    command
        .add_option(
            "--threads", options.run.threads,
            "Cores to use: a frame on each, no more in memory (4 pictures each), and the last "
            "frames on several; 0: all")
        ->type_name("N")
        ->check(CLI::Range(0, 1024).description(""))
        ->capture_default_str();
    command.add_flag("-n,--dry-run", options.dryRun,
                     "Check all that can be checked beforehand and say what would be done");
    command.add_flag("--stats", options.run.stats, "A summary at the end");
    addVerbosity(command, options);
}

// Options added from here on, until the next group, stand under that heading of --help.
void beginGroup(CLI::App& command, const std::string& heading) {
    command.option_defaults()->group(heading);
}

void addFilter(CLI::App& app, const std::string& name, const std::string& help, Options& options) {
    CLI::App& command = *app.add_subcommand(name, help);
    beginGroup(command, "Input and output");
    addPaths(command, options);
    addFileOptions(command, options);
    beginGroup(command, geometry);
    addWarpOptions(command, options.frame.warp);
    addRectangle(
        command, "--source", options.frame.source,
        "Crop the input to this first, in pixels from its top left; may reach outside [all]");
    addRectangle(command, "--region", options.frame.region,
                 "Part of the result to render and write [all]");
    beginGroup(command, "Pixels");
    addPixelOptions(command, options);
    beginGroup(command, "Run");
    addRunOptions(command, options);
    command.set_help_flag("-h,--help", "Print this text");
}

void addCompare(CLI::App& app, Options& options) {
    CLI::App& command = *app.add_subcommand(
        "compare",
        "How far two pictures or sequences are apart; status 1 where they differ, 2 where they "
        "cannot be compared");
    const auto store = [&](const std::string& path) { options.paths.inputs = {path}; };
    requirePath(command.add_option_function<std::string>("A", store, "Picture, or shot.%04d.exr"));
    requirePath(command.add_option("B", options.paths.output,
                                   "Picture, sequence, or folder ending in '/'"));
    command
        .add_option("--tolerance", options.tolerance,
                    "Largest difference of a component that passes; 1 is its whole range")
        ->type_name("X")
        ->check(CLI::Validator(CLI::NonNegativeNumber).description(""))
        ->capture_default_str();
    addFrames(command, options.paths);
    command.add_flag(
        "-q,--quiet", [&](auto) { options.verbosity = Verbosity::quiet; }, "Only the status");
}

// What is wrong. An unexpected argument comes first, with what the user may have meant: it often
// explains what is missing.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
    const auto rest = app.remaining(true);
    if (rest.empty()) return error.what();
    std::vector<std::string> words;
    const auto chosen = app.get_subcommands();
    for (const CLI::App* const command : app.get_subcommands([](auto*) { return true; }))
        if (chosen.empty()) words.push_back(command->get_name());
    for (const CLI::Option* const option : (chosen.empty() ? &app : chosen.front())->get_options())
        for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
    return rest.front() + " is not expected" + meantWord(rest.front(), words);
}

// What of the options only the library can do; empty when nothing.
std::string beyondModules(const CLI::App& command, const Options& options) {
    if (options.frame.sampling == Sampling::area) return "--sampling area";
    const auto found = command.get_options([](const CLI::Option* option) {
        return option->get_group() == geometry && option->count() > 0 &&
               option->get_name() != "--source" && option->get_name() != "--region";
    });
    return found.empty() ? "" : found.front()->get_name();
}

// What keeps options that are each fine from going together; empty when nothing does.
std::string conflictIn(const CLI::App& command, const Options& options) {
    const std::string beyond = options.plugin ? beyondModules(command, options) : "";
    if (!beyond.empty())
        return beyond +
               " cannot be had with --plugin; a module takes --source, --region and "
               "--sampling bilinear or nearest";
    try {
        checkWarp(options.frame.filter, options.frame.warp);
        return {};
    } catch (const WarpError& error) {
        return error.what();
    }
}

// In reverse, as they are parsed; "help" and "help wrap" are "--help" and "wrap --help".
std::vector<std::string> argumentsOf(const CLI::App& app, int argc, char** argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        const auto isMeant = [&](const CLI::App* command) {
            return command->get_name() == arguments.front();
        };
        if (arguments.empty() || !app.get_subcommands(isMeant).empty())
            arguments.push_back("--help");
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

}  // namespace

int wrongUsage(const std::string& reason) {
    Messages::print(reason + "; polar --help tells more");
    return 2;
}

ParsedCommandLine parseCommandLine(int argc, char** argv) {
    Options options;
    CLI::App app(examples, "polar");
    app.set_version_flag("-V,--version", std::string("polar ") + polar_version());
    app.require_subcommand(1);
    app.formatter(std::make_shared<HelpFormatter>());
    addFilter(app, "unwrap", "\"Polar to Rectangular...\": a round picture becomes a panorama",
              options);
    addFilter(app, "wrap", "\"Rectangular to Polar...\": a panorama becomes a round picture",
              options);
    addCompare(app, options);
    addPlugin(*app.add_subcommand("info", "What the module says about its two filters"), options,
              "Module to load instead of the installed one");
    app.footer(
        "polar help COMMAND tells all of a command. Status: 0 done, 1 failed, 2 wrong usage, "
        "130 interrupted.");
    try {
        app.parse(argumentsOf(app, argc, argv));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return {{}, app.exit(error)};
        return {{}, wrongUsage(complaint(app, error))};
    }
    const std::string command = app.get_subcommands().front()->get_name();
    options.command = command == "info"      ? Command::info
                      : command == "compare" ? Command::compare
                                             : Command::filter;
    if (command == "wrap") options.frame.filter = hosting::Filter::rectangularToPolar;
    const std::string conflict = conflictIn(*app.get_subcommands().front(), options);
    if (!conflict.empty()) return {{}, wrongUsage(conflict)};
    return {options, 0};
}

}  // namespace cli
