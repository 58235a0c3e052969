// `polar`, the command-line host of the Polar module.

#include <exception>
#include <iostream>

#include "cli/Options.h"
#include "cli/PluginHost.h"
#include "cli/comparePictures.h"
#include "cli/imageLibrary.h"
#include "cli/signals.h"

namespace {

void flushOutput() {
    if (!std::cout.flush()) throw FileError("standard output", "cannot be written");
}

void printInfo(const PluginModule& module) {
    std::cout << module.path().string() << '\n';
    for (const Filter filter : {Filter::polarToRectangular, Filter::rectangularToPolar}) {
        FilterInstance instance(module, filter);
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

bool compareAll(const Options& options) {
    bool agree = true;
    for (const Frame& pair : options.frames) {
        const Comparison found = comparePictures(pair, options.tolerance);
        if (options.verbosity != Verbosity::quiet) std::cout << found.report;
        agree = agree && found.agree;
    }
    flushOutput();
    return agree;
}

// Says what would be done. Whether all inputs are there.
bool tellFrames(const std::vector<Frame>& frames) {
    bool complete = true;
    for (const auto& [input, output] : frames) {
        const bool there = std::filesystem::exists(input);
        if (there)
            std::cout << input.string() << " -> " << output.string() << '\n';
        else
            Messages::print(input.string() + ": no such file");
        complete = complete && there;
    }
    flushOutput();
    return complete;
}

// Whether all went well.
bool run(const Options& options) {
    if (options.command == Command::compare) return compareAll(options);
    if (options.dryRun) return tellFrames(options.frames);
    const Messages messages(options.verbosity);
    const PluginModule module(options.plugin.value_or(PluginModule::installedPath()));
    messages.detail(module.path(), "module loaded");
    if (options.command == Command::filter)
        return renderFrames(module, options.frames, options.frame, options.run, messages);
    printInfo(module);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        endCleanlyOnSignals();
        silencePngLibrary();
        const ParsedCommandLine parsed = parseCommandLine(argc, argv);
        if (!parsed.options) return parsed.exitStatus;
        return run(*parsed.options) ? 0 : 1;
    } catch (const std::exception& error) {
        Messages::print(error.what());
        return 1;
    }
}
