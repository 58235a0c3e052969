// `polar`, the command line.

#include <algorithm>
#include <exception>
#include <iostream>
#include <set>
#include <stdexcept>

#include "cli/Options.h"
#include "cli/Pipes.h"
#include "cli/Rendering.h"
#include "cli/listFrames.h"
#include "cli/renderFrames.h"
#include "cli/signals.h"
#include "hosting/Module.h"
#include "pictures/FileError.h"
#include "pictures/comparePictures.h"
#include "pictures/imageLibrary.h"
#include "pictures/outputPlan.h"
#include "sequences/FilePair.h"

namespace cli {

namespace {

using Pairs = std::vector<sequences::FilePair>;

void flushOutput() {
    if (!std::cout.flush()) throw std::runtime_error("standard output: cannot be written");
}

void printInfo(const hosting::Module& module) {
    using hosting::Filter;
    std::cout << module.path().string() << '\n';
    for (const Filter filter : {Filter::polarToRectangular, Filter::rectangularToPolar}) {
        hosting::FilterInstance instance(module, filter);
        const VexFilterInstance& record = instance.record();
        std::cout << "filter " << record.FilterIndex << ": \"" << record.Name << "\", category \""
                  << record.Category << "\"\n"
                  << "  InfoWord4 " << record.InfoWord4 << ", InfoWord16 " << record.InfoWord16
                  << ", InfoWord20 " << record.InfoWord20 << ", InitWord36 " << record.InitWord36
                  << ", InitWord40 " << record.InitWord40 << '\n'
                  << "  SetupValue72 " << record.SetupValue72 << ", InfoId92 " << record.InfoId92
                  << ", InfoId96 " << record.InfoId96 << '\n';
        instance.close();
    }
    flushOutput();
}

// The module of `polar info`.
hosting::Module loadModule(const std::optional<std::filesystem::path>& path) {
    if (path) return hosting::Module(*path);
    try {
        return hosting::Module(hosting::Module::installedPath());
    } catch (const hosting::ModuleError& error) {
        throw std::runtime_error(std::string(error.what()) + "; --plugin PATH names another one");
    }
}

int compare(const sequences::FilePair& pair, const Options& options) {
    try {
        const auto comparison =
            pictures::comparePictures(pair.input, pair.output, options.tolerance);
        if (options.verbosity != Verbosity::quiet) std::cout << Messages::shown(comparison.report);
        return comparison.agree ? 0 : 1;
    } catch (const pictures::FileError& error) {
        Messages::print(error.what());
        return 2;
    }
}

int compareAll(const Pairs& pairs, const Options& options) {
    int status = 0;
    for (const auto& pair : pairs) status = std::max(status, compare(pair, options));
    flushOutput();
    return status;
}

// Once each, before the first frame: trying again is of no use.
void checkExtensions(const Pairs& pairs) {
    std::set<std::filesystem::path> known;
    for (const auto& pair : pairs)
        if (known.insert(pair.output.extension()).second) pictures::checkExtension(pair.output);
}

// Returns the exit status.
int run(const Options& options) {
    if (options.command == Command::info) {
        printInfo(loadModule(options.plugin));
        return 0;
    }
    const auto& [inputs, output, range] = options.paths;
    const Messages messages(options.verbosity);
    auto [pairs, warnings] = sequences::listFilePairs(inputs, output, range);
    for (const auto& [file, text] : warnings) messages.warning(file, text);
    const Pipes pipes(pairs, options);
    if (options.command == Command::compare) return compareAll(pairs, options);
    checkExtensions(pairs);
    const auto renderer =
        options.plugin ? makeModuleRenderer(*options.plugin) : makeLibraryRenderer();
    if (options.dryRun) {
        const bool complete = listFrames(*renderer, pairs, options.frame, options.run, messages);
        flushOutput();
        return complete ? 0 : 1;
    }
    if (!renderFrames(*renderer, pairs, options.frame, options.run, messages)) return 1;
    pipes.send();
    return 0;
}

int runOrSayWhyNot(const Options& options) {
    try {
        return run(options);
    } catch (const sequences::UsageError& error) {
        return wrongUsage(error.what());
    } catch (const pictures::ExtensionError& error) {
        Messages::print(error.what());
        return 2;
    } catch (const std::exception& error) {
        Messages::print(error.what());
        // 1 is for pictures that differ.
        return options.command == Command::compare ? 2 : 1;
    }
}

}  // namespace

}  // namespace cli

int main(int argc, char** argv) {
    try {
        cli::endCleanlyOnSignals();
        pictures::silencePngLibrary();
        const cli::ParsedCommandLine parsed = cli::parseCommandLine(argc, argv);
        if (!parsed.options) return parsed.exitStatus;
        return cli::runOrSayWhyNot(*parsed.options);
    } catch (const std::exception& error) {
        cli::Messages::print(error.what());
        return 1;
    }
}
