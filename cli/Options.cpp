#include "cli/Options.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/nearestWord.h"

namespace {

constexpr const char* examples = R"(polar unwrap planet.png -o panorama.png
polar wrap shot.%04d.exr -o planet.%04d.exr --frames 1001-1100
polar compare planet.%04d.exr farm/planet.%04d.exr --tolerance 0.001

Bends pictures between polar and rectangular with the Polar module.)";

// What users write, before it is understood; the words shown as defaults.
struct Words {
    std::vector<std::filesystem::path> inputs;
    std::filesystem::path output;
    std::string sampling = "bilinear", format = "auto", depth = "same";
    std::vector<std::string> attributes;
    std::optional<FrameRange> frames;
};

void addPlugin(CLI::App& command, Options& options) {
    command.add_option("--plugin", options.plugin, "Module to load instead of the installed one")
        ->type_name("PATH");
}

void requirePath(CLI::Option* option) { option->required()->type_name("PATH"); }

// An option whose text `parse` understands; else the line says that it `isNo` such thing.
template <class Value, class Parse>
void addParsed(CLI::App& command, const std::string& name, std::optional<Value>& target,
               Parse parse, const std::string& isNo, const std::string& typeName,
               const std::string& help) {
    const auto store = [=, &target](const std::string& text) {
        target = parse(text);
        if (!target) throw CLI::ValidationError(name, text + " is no " + isNo);
    };
    command.add_option_function<std::string>(name, store, help)->type_name(typeName);
}

void addRectangle(CLI::App& command, const std::string& name, std::optional<Rectangle>& target,
                  const std::string& help) {
    addParsed(command, name, target, parseRectangle,
              "WxH+X+Y in whole pixels, W and H 1 or more, X and Y 0 or more", "WxH+X+Y", help);
}

void addFrames(CLI::App& command, Words& words) {
    addParsed(command, "--frames", words.frames, parseFrameRange,
              "1-100, 1-100x4, 5-1, 7 or several of these with commas, at most 1000000 frames",
              "RANGE", "Frames of a name with %04d or ####, as 1-100, 1-100x4, 5-1,7 [all found]");
}

void addChoice(CLI::App& command, const std::string& name, std::string& target,
               const std::vector<std::string>& choices, const std::string& help) {
    const auto check = [choices](const std::string& word) -> std::string {
        if (std::find(choices.begin(), choices.end(), word) != choices.end()) return {};
        return word + " not in {" + CLI::detail::join(choices, ",") + "}" +
               suggestion(word, choices);
    };
    command.add_option(name, target, help)
        ->check(check)
        ->type_name(CLI::detail::join(choices, "|"))
        ->capture_default_str();
}

// "auto" or "same", and the names of a table.
template <class Table>
std::vector<std::string> choicesOf(const std::string& first, const Table& table) {
    std::vector<std::string> choices{first};
    for (const auto& known : table) choices.emplace_back(known.first);
    return choices;
}

void addVerbosity(CLI::App& command, Options& options) {
    CLI::Option* const verbose = command.add_flag(
        "-v", [&](auto) { options.verbosity = Verbosity::verbose; },
        "Say for each frame what is done, and times");
    command
        .add_flag(
            "-q", [&](auto) { options.verbosity = Verbosity::quiet; }, "No warnings, no progress")
        ->excludes(verbose);
}

void addFileOptions(CLI::App& command, Options& options, Words& words) {
    addChoice(command, "--depth", words.depth, choicesOf("same", depthNames),
              "Components of the output");
    command.add_option("--attrib", words.attributes, "For the output's writer, as compression=zip")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->allow_extra_args(false);
    command.add_option("--layer", options.frame.layer, "Part or layer of an EXR [R, G, B, A]")
        ->type_name("NAME");
    command.add_flag("--overwrite", options.frame.overwrite,
                     "Let the output replace its own input");
}

void addRunOptions(CLI::App& command, Options& options, Words& words) {
    addFrames(command, words);
    command.add_flag("--skip-missing", options.run.skipMissing,
                     "Go on where an input is missing; the status is 1 all the same");
    command
        .add_option("--threads", options.run.threads,
                    "Frames at a time, no more in memory (4 pictures each); 0: all cores")
        ->type_name("N")
        ->check(CLI::Range(0, 1024).description(""))
        ->capture_default_str();
    command.add_flag("-n,--dry-run", options.dryRun, "Only say what would be done");
    command.add_flag("--stats", options.run.stats, "A summary at the end");
    addVerbosity(command, options);
}

void addFilter(CLI::App& app, const std::string& name, const std::string& help, Options& options,
               Words& words) {
    CLI::App& command = *app.add_subcommand(name, help);
    requirePath(command.add_option("INPUT", words.inputs, "Pictures to read, or shot.%04d.exr"));
    requirePath(command.add_option(
        "-o,--output", words.output,
        "Picture to write, its extension is its format; or a folder, ending in '/'"));
    addChoice(command, "--sampling", words.sampling, {"bilinear", "nearest"},
              "How source pixels are read");
    addChoice(command, "--format", words.format, choicesOf("auto", formatNames),
              "Pixels to render in; auto: as the file has them");
    addRectangle(command, "--source", options.frame.source,
                 "Part to bend, in pixels from the top left [all]");
    addRectangle(command, "--region", options.frame.region,
                 "Part of the result to write, in pixels [all]");
    addPlugin(command, options);
    addFileOptions(command, options, words);
    addRunOptions(command, options, words);
}

void addCompare(CLI::App& app, Options& options, Words& words) {
    CLI::App& command = *app.add_subcommand(
        "compare", "How far two pictures or sequences are apart; status 1 where they differ");
    const auto store = [&](const std::string& path) { words.inputs = {path}; };
    requirePath(command.add_option_function<std::string>("A", store, "Picture, or shot.%04d.exr"));
    requirePath(
        command.add_option("B", words.output, "Picture, sequence, or folder ending in '/'"));
    command
        .add_option("--tolerance", options.tolerance,
                    "Largest difference of a component that passes; 1 is its whole range")
        ->type_name("X")
        ->check(CLI::Validator(CLI::NonNegativeNumber).description(""))
        ->capture_default_str();
    addFrames(command, words);
    command.add_flag(
        "-q", [&](auto) { options.verbosity = Verbosity::quiet; }, "Only the status");
}

void takeWords(const Words& words, Options& options) {
    FrameSettings& frame = options.frame;
    frame.sampling = words.sampling == "nearest" ? Sampling::nearest : Sampling::bilinear;
    for (const auto& [text, format] : formatNames)
        if (words.format == text) frame.format = format;
    for (const auto& [text, depth] : depthNames)
        if (words.depth == text) frame.file.depth = depth;
    for (const std::string& attribute : words.attributes) {
        const auto equals = attribute.find('=');
        if (equals == 0 || equals == std::string::npos)
            throw UsageError("--attrib: " + attribute + " is no NAME=VALUE");
        frame.file.attributes.emplace_back(attribute.substr(0, equals),
                                           attribute.substr(equals + 1));
    }
    if (options.command != Command::info)
        options.frames = listFrames(words.inputs, words.output, words.frames);
}

// What is wrong, beginning with an argument that was not expected, and what the user may have
// meant.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
    const auto rest = app.remaining(true);
    if (rest.empty()) return error.what();
    std::vector<std::string> words;
    const auto chosen = app.get_subcommands();
    for (const CLI::App* const command : app.get_subcommands([](auto*) { return true; }))
        if (chosen.empty()) words.push_back(command->get_name());
    for (const CLI::Option* const option : (chosen.empty() ? &app : chosen.front())->get_options())
        for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
    return rest.front() + " is not expected" + suggestion(rest.front(), words);
}

int wrongUsage(const std::string& reason) {
    Messages::print(reason + "; polar --help tells more");
    return 2;
}

}  // namespace

ParsedCommandLine parseCommandLine(int argc, char** argv) {
    Options options;
    Words words;
    CLI::App app(examples, "polar");
    app.set_version_flag("--version", "polar " POLAR_VERSION);
    app.require_subcommand(1);
    app.get_formatter()->column_width(32);
    app.get_formatter()->label("Positionals", "Arguments");
    app.get_formatter()->label("REQUIRED", "(required)");
    addFilter(app, "unwrap", "\"Polar to Rectangular...\": a round picture becomes a panorama",
              options, words);
    addFilter(app, "wrap", "\"Rectangular to Polar...\": a panorama becomes a round picture",
              options, words);
    addCompare(app, options, words);
    addPlugin(*app.add_subcommand("info", "What the module says about its two filters"), options);
    app.footer(
        "polar COMMAND --help tells all of a command. Status: 0 done, 1 failed, 2 wrong usage, "
        "130 interrupted.");
    try {
        app.parse(argc, argv);
        const std::string command = app.get_subcommands().front()->get_name();
        options.command = command == "info"      ? Command::info
                          : command == "compare" ? Command::compare
                                                 : Command::filter;
        options.frame.filter =
            command == "wrap" ? Filter::rectangularToPolar : Filter::polarToRectangular;
        takeWords(words, options);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return {{}, app.exit(error)};
        return {{}, wrongUsage(complaint(app, error))};
    } catch (const UsageError& error) {
        return {{}, wrongUsage(error.what())};
    }
    return {options, 0};
}
