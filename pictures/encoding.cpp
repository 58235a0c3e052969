#include "pictures/encoding.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <limits>
#include <optional>

#include "pictures/FileError.h"
#include "pictures/suggestion.h"

namespace pictures {

namespace {

using OIIO::Strutil::iequals;

constexpr int noEnd = std::numeric_limits<int>::max();

// The integers that an attribute may have.
struct Range {
    int low, high;  // both included
    int step = 1;
};

// Words that the attribute of a format may have, with spaces between them, and the number that may
// follow each after a colon.
struct Choices {
    std::string_view format, attribute, words;
    std::optional<Range> quality = {};
};
constexpr Range level{1, 9}, percent{1, 100}, loss{1, noEnd};
constexpr std::string_view compression = "compression";
constexpr Choices allChoices[] = {
    {"tiff", compression, "none lzw packbits"},
    {"tiff", compression, "zip", level},
    {"tiff", compression, "jpeg", percent},
    {"openexr", compression, "none rle piz pxr24 b44 b44a"},
    {"openexr", compression, "zip zips", level},
    {"openexr", compression, "dwaa dwab", loss},
    {"jpeg", compression, "jpeg", percent},
    {"jpeg", "jpeg:subsampling", "4:4:4 4:2:2 4:2:0 4:2:1 4:1:1"},
    {"webp", compression, "lossless"},
    {"webp", compression, "webp", percent},
    {"heif", compression, "none"},
    {"heif", compression, "heic avif", percent},
    {"png", compression, "default filtered huffman rle fixed"},
    {"targa", compression, "none rle"},
    {"iff", compression, "none rle"},
};

// One of the words.
struct Choice {
    std::string_view word;
    std::optional<Range> quality;
};

// Our choice of a number, for samples of 8 bits and for deeper ones.
struct Usual {
    int uint8, deeper;
};

// A number that the writer of a format takes.
struct Number {
    std::string_view format, attribute;
    Range range;
    std::optional<Usual> usual = {};  // where the writer's own takes much longer
};
// PNG: docs/performance.md has the measurements. Filters are bits: 16 subtracts the pixel on the
// left, 32 the one above.
constexpr Number numbers[] = {
    {"png", "png:compressionLevel", {0, 9}, Usual{5, 4}},
    {"png", "png:filter", {0, 248, 8}, Usual{16 + 32, 16 + 32}},
    {"tiff", "tiff:zipquality", {1, 9}},
};

constexpr std::string_view quality = "CompressionQuality";

bool isQuality(std::string_view name) { return iequals(name, quality) || iequals(name, "quality"); }

// The name that the writer looks for.
std::string_view knownName(std::string_view name) {
    if (isQuality(name)) return quality;
    for (const Choices& each : allChoices)
        if (iequals(each.attribute, name)) return each.attribute;
    for (const Number& number : numbers)
        if (iequals(number.attribute, name)) return number.attribute;
    return name;
}

// The value that counts.
std::optional<std::string> asked(const FileSettings& settings, std::string_view knownAs) {
    std::optional<std::string> last;
    for (const auto& [name, value] : settings.attributes)
        if (knownName(name) == knownAs) last = value;
    return last;
}

std::string titleOf(std::string_view format) {
    return format == "openexr" ? "OpenEXR" : OIIO::Strutil::upper(format);
}

std::string toText(const Range& range) {
    if (range.high == noEnd) return std::to_string(range.low) + " or more";
    return std::to_string(range.low) + " to " + std::to_string(range.high) +
           (range.step == 1 ? "" : " in steps of " + std::to_string(range.step));
}

bool contains(const Range& range, const std::string& text) {
    if (!OIIO::Strutil::string_is_int(text)) return false;
    const int value = OIIO::Strutil::stoi(text);
    return value >= range.low && value <= range.high && value % range.step == 0;
}

std::vector<Choice> choicesOf(std::string_view format, std::string_view attribute) {
    std::vector<Choice> found;
    for (const Choices& each : allChoices)
        if (each.format == format && each.attribute == attribute)
            for (const std::string_view word : OIIO::Strutil::splitsv(each.words))
                found.push_back({word, each.quality});
    return found;
}

std::string toText(const std::vector<Choice>& some) {
    std::vector<std::string> texts;
    for (const Choice& choice : some) {
        texts.emplace_back(choice.word);
        if (choice.quality) texts.back() += " (:" + toText(*choice.quality) + ")";
    }
    return OIIO::Strutil::join(texts, ", ");
}

// Whether `text` is the word of the choice, alone or with a number.
bool allows(const Choice& choice, const std::string& text) {
    const std::string start = std::string(choice.word) + ":";
    return iequals(choice.word, text) ||
           (choice.quality && OIIO::Strutil::istarts_with(text, start) &&
            contains(*choice.quality, text.substr(start.size())));
}

bool allowAny(const std::vector<Choice>& some, const std::string& text) {
    return std::any_of(some.begin(), some.end(),
                       [&](const Choice& choice) { return allows(choice, text); });
}

// The compressions that have a quality, of the one asked for if there is one.
std::vector<Choice> gradedChoices(std::string_view format, const FileSettings& settings) {
    const auto chosen = asked(settings, compression);
    std::vector<Choice> found = choicesOf(format, compression);
    std::erase_if(found, [&](const Choice& choice) {
        return !choice.quality || (chosen && !allows(choice, *chosen));
    });
    return found;
}

// What the writer takes instead of the value, or nothing if it takes it.
std::string accepted(std::string_view format, std::string_view name, const std::string& value,
                     const FileSettings& settings) {
    if (const auto some = choicesOf(format, name); !some.empty() && !allowAny(some, value)) {
        std::vector<std::string> words(some.size());
        std::transform(some.begin(), some.end(), words.begin(),
                       [](const Choice& choice) { return std::string(choice.word); });
        return toText(some) + suggestion(value, words);
    }
    for (const Number& number : numbers)
        if (number.format == format && number.attribute == name && !contains(number.range, value))
            return toText(number.range);
    const auto graded = gradedChoices(format, settings);
    const auto takes = [&](const Choice& choice) { return contains(*choice.quality, value); };
    const bool isTaken = graded.empty() || std::any_of(graded.begin(), graded.end(), takes);
    return name == quality && !isTaken ? toText(graded) : "";
}

bool isUnused(std::string_view format, std::string_view name, const FileSettings& settings) {
    return (name == compression && choicesOf(format, compression).empty()) ||
           (name == quality && gradedChoices(format, settings).empty());
}

// TIFF's writer would take zip.
bool isTooMuchForJpeg(std::string_view format, const OIIO::ImageSpec& spec) {
    return format == "tiff" &&
           OIIO::Strutil::istarts_with(spec.get_string_attribute(compression), "jpeg") &&
           (spec.nchannels != 3 || spec.format != OIIO::TypeDesc::UINT8);
}

// The value as the type that it looks like.
void setAttribute(OIIO::ImageSpec& spec, std::string_view name, const std::string& value) {
    if (OIIO::Strutil::string_is_int(value))
        spec.attribute(name, OIIO::Strutil::stoi(value));
    else if (OIIO::Strutil::string_is_float(value))
        spec.attribute(name, OIIO::Strutil::stof(value));
    else
        spec.attribute(name, value);
}

}  // namespace

std::vector<std::string> checkEncoding(const std::filesystem::path& file, std::string_view format,
                                       const FileSettings& settings) {
    std::vector<std::string> warnings;
    for (const auto& [name, value] : settings.attributes) {
        const std::string_view known = knownName(name);
        const std::string given = OIIO::Strutil::fmt::format("--attrib {}={}", name, value);
        if (const auto instead = accepted(format, known, value, settings); !instead.empty())
            throw FileError(file, OIIO::Strutil::fmt::format("{}; {} takes {}", given,
                                                             titleOf(format), instead));
        if (isUnused(format, known, settings))
            warnings.push_back(
                OIIO::Strutil::fmt::format("{} is metadata alone; {} has no such choice{}", given,
                                           titleOf(format), known == quality ? " of quality" : ""));
    }
    return warnings;
}

void setEncoding(std::string_view format, const FileSettings& settings, OIIO::ImageSpec& spec) {
    const std::string original(spec.get_string_attribute(compression));
    const bool keeps =
        allowAny(choicesOf(format, compression), original) && !isTooMuchForJpeg(format, spec);
    if (!keeps || asked(settings, compression))
        for (const std::string_view name : {compression, quality}) spec.erase_attribute(name);
    for (const Number& number : numbers)
        if (number.format == format && number.usual)
            spec.attribute(number.attribute, spec.format == OIIO::TypeDesc::UINT8
                                                 ? number.usual->uint8
                                                 : number.usual->deeper);
    for (const auto& [name, value] : settings.attributes)
        setAttribute(spec, knownName(name), value);
}

void requireEncodable(const std::filesystem::path& file, std::string_view format,
                      const OIIO::ImageSpec& spec) {
    if (isTooMuchForJpeg(format, spec))
        throw FileError(file,
                        "compression jpeg; TIFF takes it for 3 channels of uint8, the output has " +
                            std::to_string(spec.nchannels) + " of " + spec.format.c_str());
}

}  // namespace pictures
