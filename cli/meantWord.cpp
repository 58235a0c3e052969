#include "cli/meantWord.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "pictures/suggestion.h"

namespace cli {

namespace {

struct Meaning {
    std::string_view word;                    // here
    std::vector<std::string_view> elsewhere;  // in other programs, without dashes
};

constexpr std::string_view input = "INPUT";

const std::vector<Meaning>& meanings() {
    static const std::vector<Meaning> all = {
        {input, {"i", "in", "infile", "input", "inputs", "src"}},
        {"--output", {"dest", "dir", "directory", "folder", "out", "outdir", "outfile", "to"}},
        {"--frames", {"end", "first", "frame", "last", "range", "start", "step"}},
        {"--threads", {"core", "cores", "cpus", "j", "jobs", "parallel", "t", "workers"}},
        {"--sampling", {"filter", "filtering", "interp", "interpolate", "interpolation"}},
        {"--depth", {"bit-depth", "bitdepth", "bits", "datatype", "type"}},
        {"--attrib", {"compress", "compression", "metadata", "quality", "set"}},
        {"--layer", {"channel", "channels", "part", "subimage"}},
        {"--size", {"dimensions", "height", "resize", "resolution", "width"}},
        {"--center", {"centre", "middle", "origin", "pivot"}},
        {"--radius", {"diameter", "outer-radius", "r"}},
        {"--inner-radius", {"hole", "inner", "r-min"}},
        {"--angle", {"offset", "rotate", "rotation", "seam", "start-angle"}},
        {"--arc", {"fov", "span", "sweep"}},
        {"--direction", {"clockwise", "flip", "mirror", "reverse"}},
        {"--scale", {"equal-area", "log", "log-polar", "logpolar"}},
        {"--amount", {"blend", "mix", "morph", "strength"}},
        {"--cyclic", {"loop", "seamless", "tileable"}},
        {"--ground", {"invert", "planet", "upside-down"}},
        {"--source", {"crop", "cut"}},
        {"--region", {"area", "roi", "tile", "window"}},
        {"--plugin", {"library", "module"}},
        {"--overwrite", {"clobber", "force", "in-place", "replace", "y"}},
        {"--keep-going", {"continue", "ignore-errors", "k"}},
        {"--skip-existing", {"no-clobber", "no-overwrite", "resume", "skip", "update"}},
        {"--skip-missing", {"ignore-missing", "missing"}},
        {"--mkdir", {"create-dirs", "makedirs", "mkdirs", "p", "parents"}},
        {"--dry-run", {"check", "just-print", "pretend", "simulate", "test"}},
        {"--stats", {"benchmark", "statistics", "summary", "time", "timing"}},
        {"--quiet", {"silent", "s"}},
        {"--tolerance", {"eps", "epsilon", "fuzz", "threshold"}},
        {"compare", {"cmp", "diff", "difference"}},
        {"info", {"about", "plugin"}},
        {"unwrap", {"dewarp", "to-rectangular", "unroll"}},
        {"wrap", {"roll", "to-polar", "warp"}},
        {"--version", {"version"}},
    };
    return all;
}

// What `argument` means here; empty when that is not known.
std::string_view meaningOf(std::string_view argument) {
    const auto has = [&](const Meaning& meaning) {
        const auto& words = meaning.elsewhere;
        return std::find(words.begin(), words.end(), argument) != words.end();
    };
    const auto found = std::find_if(meanings().begin(), meanings().end(), has);
    return found == meanings().end() ? std::string_view() : found->word;
}

// Without dashes before it and a value behind it.
std::string bare(const std::string& argument) {
    const bool isLetter = argument.size() > 1 && argument[0] == '-' && argument[1] != '-';
    if (isLetter) return argument.substr(1, 1);
    const std::string word = argument.substr(0, argument.find('='));
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

}  // namespace

std::string meantWord(const std::string& argument, const std::vector<std::string>& words) {
    const auto isKnown = [&](std::string_view word) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    const auto didYouMean = [](std::string_view word) {
        return "; did you mean " + std::string(word) + "?";
    };
    if (isKnown('-' + argument)) return didYouMean('-' + argument);
    const std::string word = bare(argument);
    const std::string_view meaning = meaningOf(word);
    if (meaning == input) return "; inputs are named without an option";
    if (isKnown(meaning)) return didYouMean(meaning);
    if (!meaning.empty() || word.size() == 1) return {};
    const std::string dashes = argument.starts_with("--") ? "--" : "";
    std::vector<std::string> names;
    for (const std::string& known : words)
        if (known.starts_with('-') != dashes.empty()) names.push_back(bare(known));
    const std::string nearest = pictures::nearestWord(word, names);
    return nearest.empty() ? "" : didYouMean(dashes + nearest);
}

}  // namespace cli
