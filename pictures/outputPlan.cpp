#include "pictures/outputPlan.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>

#include "pictures/encoding.h"
#include "pictures/imageLibrary.h"
#include "pictures/outputSpec.h"
#include "pictures/suggestion.h"

namespace pictures {

namespace {

using Kind = ChannelGroup::Kind;

// How many channels files of a format may have; others have 3 or 4.
struct ChannelCounts {
    std::string_view format, counts;  // digits, or '*' for any number
};
constexpr ChannelCounts channelCounts[] = {
    {"bmp", "134"}, {"dpx", "134"}, {"fits", "13"},    {"jpeg", "13"},  {"jpeg2000", "134"},
    {"hdr", "3"},   {"ico", "4"},   {"openexr", "*"},  {"png", "1234"}, {"pnm", "13"},
    {"rla", "*"},   {"sgi", "134"}, {"targa", "1234"}, {"tiff", "*"},   {"zfile", "1"},
};

std::string_view countsOf(std::string_view format) {
    for (const auto& [name, counts] : channelCounts)
        if (name == format) return counts;
    return "34";
}

// What the format's writer wants.
Alpha alphaFor(const OIIO::ImageOutput& output, const PicturePart& original, bool hadAlpha) {
    const std::string_view format = output.format_name();
    if (format == "tiff") return hadAlpha ? original.alpha : Alpha::straight;
    if (format == "webp") return Alpha::associatedInLight;  // its writer divides so
    return isOneOf(format, {"png", "targa", "jpeg2000", "heif", "bmp", "ico"}) ? Alpha::straight
                                                                               : Alpha::associated;
}

// Lays out a part of the output, group by group.
class Layout {
  public:
    Layout(const OIIO::ImageOutput& output, const PicturePart& original,
           const FileSettings& settings, const RenderTraits& traits)
        : output_(output),
          counts_(countsOf(output.format_name())),
          settings_(settings),
          traits_(traits),
          part_{&original, {}, {}, -1, traits.region, traits.window, traits.format, {}} {}

    bool holdsAny() const { return counts_ == "*"; }
    bool holds(std::size_t channels) const {
        return holdsAny() ||
               counts_.find(static_cast<char>('0' + channels)) != std::string_view::npos;
    }

    // The colour that the file is of, or what stands for it.
    void addPicture(const ChannelGroup& group) {
        const bool canBeSeenThrough = group.alpha >= 0 || traits_.showsNothing;
        const auto& background = settings_.background;
        const bool wantsAlpha =
            settings_.alpha == AlphaChoice::keep ||
            (settings_.alpha == AlphaChoice::automatic && !background && canBeSeenThrough);
        const bool hasAlpha = wantsAlpha && output_.supports("alpha") && holds(4);
        Composition composition{};
        composition.alpha = hasAlpha           ? alphaFor(output_, *part_.from, group.alpha >= 0)
                            : canBeSeenThrough ? Alpha::overBackground
                                               : Alpha::dropped;
        composition.background = background.value_or(Colour{});
        if (wantsAlpha && !hasAlpha && canBeSeenThrough && !background)
            warnings_.push_back(OIIO::Strutil::upper(output_.format_name()) +
                                " holds no alpha; the picture lies over black");
        const auto& [r, g, b] = composition.background;
        const bool isGrey = group.isGrey() && r == g && g == b && holds(hasAlpha ? 2 : 1);
        add(group, composition, isGrey ? 1 : 3, hasAlpha);
    }

    // Any other group, as it is.
    void addOther(const ChannelGroup& group) {
        Composition composition{};
        const bool hasAlpha = group.alpha >= 0;
        composition.alpha = hasAlpha               ? alphaFor(output_, *part_.from, true)
                            : traits_.showsNothing ? Alpha::overBackground
                                                   : Alpha::dropped;
        add(group, composition, group.colours.size(), hasAlpha);
    }

    OutputPart finish() {
        for (OutputGroup& group : part_.groups)
            group.composition.channels.count = static_cast<int>(part_.channels.size());
        return std::move(part_);
    }
    const std::vector<std::string>& warnings() const { return warnings_; }

  private:
    // A layer that was picked becomes the picture.
    static std::string nameOf(const ChannelGroup& group, const std::string& name) {
        return group.kind == Kind::picture ? name.substr(layerPrefix(name).size()) : name;
    }

    void add(const ChannelGroup& group, Composition composition, std::size_t colours,
             bool hasAlpha) {
        const auto first = static_cast<int>(part_.channels.size());
        const bool renamed = colours != group.colours.size();
        for (std::size_t i = 0; i < colours; ++i)
            part_.channels.push_back(
                {renamed ? std::string(1, "RGB"[i]) : nameOf(group, group.names[i]), group.at(i)});
        const auto place = [&](std::size_t i) {
            return first + static_cast<int>(std::min(i, colours - 1));
        };
        composition.channels = {0, place(0), place(1), place(2), -1};
        if (hasAlpha) {
            composition.channels.alpha = static_cast<int>(part_.channels.size());
            if (part_.alphaChannel < 0) part_.alphaChannel = composition.channels.alpha;
            if (group.alpha < 0)
                part_.channels.push_back({"A", group.at(0)});
            else
                part_.channels.push_back({nameOf(group, group.names.back()), group.alpha});
        }
        composition.keepsLight = traits_.keepsPixels && part_.from->alpha == Alpha::associated;
        part_.groups.push_back({&group, composition});
    }

    const OIIO::ImageOutput& output_;
    std::string_view counts_;
    const FileSettings& settings_;
    const RenderTraits& traits_;
    OutputPart part_;
    std::vector<std::string> warnings_;
};

bool isPicture(const ChannelGroup& group) { return group.kind == Kind::picture; }

// The part that a format takes which holds one.
const PicturePart& mainPart(const std::vector<PicturePart>& parts) {
    const auto hasPicture = [](const PicturePart& part) {
        return std::any_of(part.groups.begin(), part.groups.end(), isPicture);
    };
    const auto found = std::find_if(parts.begin(), parts.end(), hasPicture);
    return found == parts.end() ? parts.front() : *found;
}

// Of all files that the picture library writes.
std::vector<std::string> extensions() {
    std::vector<std::string> all;
    for (const auto& [format, known] : OIIO::get_extension_map())
        for (const std::string& extension : known)
            if (!isOneOf(format, {"null", "term"}) && OIIO::ImageOutput::create(extension))
                all.push_back(extension);
    OIIO::geterror();  // what nobody asks for is printed when the program ends
    return all;
}

std::string namesOf(const PicturePart& part, const ChannelGroup* except) {
    std::vector<std::string> names;
    for (const ChannelGroup& group : part.groups)
        if (&group != except) names.insert(names.end(), group.names.begin(), group.names.end());
    return OIIO::Strutil::join(names, ", ");
}

}  // namespace

std::unique_ptr<OIIO::ImageOutput> makeOutput(const std::filesystem::path& file) {
    auto output = OIIO::ImageOutput::create(file.string());
    // Those write no file: one prints the picture on standard output, the other drops it.
    if (output && !isOneOf(output->format_name(), {"term", "null"})) return output;
    const std::string extension =
        OIIO::Strutil::lower(file.extension().string().substr(file.has_extension() ? 1 : 0));
    throw ExtensionError(file, "no picture format that can be written has the extension \"" +
                                   extension + "\"" + suggestion(extension, extensions()));
}

void checkExtension(const std::filesystem::path& file) { makeOutput(file); }

OutputPlan planOutput(const PictureReader& input, const std::filesystem::path& file,
                      const FileSettings& settings, const std::vector<RenderTraits>& traits) {
    const auto output = makeOutput(file);
    OutputPlan plan{{}, checkEncoding(file, output->format_name(), settings)};
    const std::string holds = OIIO::Strutil::upper(output->format_name()) + " holds ";
    const bool holdsParts = isOneOf(output->format_name(), {"openexr"});
    for (std::size_t i = 0; i < input.parts().size(); ++i) {
        const PicturePart& part = input.parts()[i];
        if (!holdsParts && &part != &mainPart(input.parts())) {
            plan.warnings.push_back(holds + "one part; not written: " + partName(part.spec) + " (" +
                                    namesOf(part, nullptr) + ")");
            continue;
        }
        Layout layout(*output, part, settings, traits[i]);
        const ChannelGroup& first = part.groups.front();
        if (isPicture(first) || (!layout.holdsAny() && first.colours.size() != 2))
            layout.addPicture(first);
        else if (layout.holdsAny())
            layout.addOther(first);
        else
            throw FileError(file, holds + "no pairs of channels that are no colours (" +
                                      namesOf(part, nullptr) +
                                      "); OpenEXR and TIFF do, and --layer picks a single one");
        if (layout.holdsAny())
            std::for_each(part.groups.begin() + 1, part.groups.end(),
                          [&](const ChannelGroup& group) { layout.addOther(group); });
        else if (part.groups.size() > 1)
            plan.warnings.push_back(holds + "one picture; not written: " + namesOf(part, &first));
        plan.warnings.insert(plan.warnings.end(), layout.warnings().begin(),
                             layout.warnings().end());
        plan.parts.push_back(layout.finish());
    }
    for (OutputPart& part : plan.parts) {
        part.spec = describePart(*output, input, part, plan.parts.size() == 1, settings);
        requireEncodable(file, output->format_name(), part.spec);
    }
    return plan;
}

}  // namespace pictures
