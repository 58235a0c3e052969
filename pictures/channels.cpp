#include "pictures/channels.h"

#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <initializer_list>
#include <set>

namespace pictures {

namespace {

using Kind = ChannelGroup::Kind;
using Names = std::initializer_list<const char*>;

class Grouping {
  public:
    Grouping(const OIIO::ImageSpec& spec, const Layer& layer) : spec_(spec) {
        for (int i = 0; i < spec.nchannels; ++i)
            used_.push_back(layer.channel.empty() ? !name(i).starts_with(layer.prefix)
                                                  : name(i) != layer.channel);
    }

    std::string name(int channel) const { return std::string(spec_.channel_name(channel)); }

    // The first channel with one of these names after the prefix, or -1.
    int find(const std::string& prefix, Names names) const {
        for (int i = 0; i < spec_.nchannels; ++i)
            for (const char* const known : names)
                if (OIIO::Strutil::iequals(name(i), prefix + known)) return i;
        return -1;
    }

    void add(Kind kind, std::vector<int> colours, int alpha, std::vector<std::string> names) {
        for (const int channel : colours) use(channel);
        if (alpha >= 0) use(alpha);
        groups_.push_back({kind, std::move(colours), alpha, std::move(names)});
    }

    // Colour under that prefix, if there is any: R, G, B, or grey. That of other layers than the
    // picture's own is taken to be numbers where it has no alpha that could weight it.
    void addNamed(const std::string& prefix, Kind kind) {
        std::vector<int> colours{find(prefix, {"R", "red"}), find(prefix, {"G", "green"}),
                                 find(prefix, {"B", "blue"})};
        if (std::count(colours.begin(), colours.end(), -1) > 0) {
            const int grey = find(prefix, {"Y"});
            // X, Y and Z are a vector.
            if (grey < 0 || find(prefix, {"X"}) >= 0) return;
            colours = {grey};
        }
        const int alpha = find(prefix, {"A", "alpha"});
        if (kind == Kind::layer && alpha < 0) return;
        std::vector<std::string> names(colours.size());
        std::transform(colours.begin(), colours.end(), names.begin(),
                       [&](int channel) { return name(channel); });
        if (alpha >= 0) names.push_back(name(alpha));
        add(kind, colours, alpha, names);
    }

    // What is in no group yet, three at a time.
    std::vector<ChannelGroup> finish() && {
        std::vector<int> rest;
        for (int i = 0; i < spec_.nchannels; ++i)
            if (!used_[static_cast<std::size_t>(i)]) rest.push_back(i);
        for (std::size_t i = 0; i < rest.size(); i += 3) {
            ChannelGroup group{Kind::numbers, {}, -1, {}};
            for (std::size_t k = i; k < std::min(i + 3, rest.size()); ++k) {
                group.colours.push_back(rest[k]);
                group.names.push_back(name(rest[k]));
            }
            groups_.push_back(group);
        }
        return std::move(groups_);
    }

  private:
    void use(int channel) { used_[static_cast<std::size_t>(channel)] = true; }

    const OIIO::ImageSpec& spec_;
    std::vector<bool> used_;
    std::vector<ChannelGroup> groups_;
};

// The place of alpha in a file without names of its own; some readers say nonsense.
int storedAlpha(const OIIO::ImageSpec& spec, std::string_view fileFormat, int named) {
    if (named >= 0) return named;
    if (fileFormat == "targa" && spec.nchannels == 2) return 1;
    return spec.alpha_channel < spec.nchannels ? spec.alpha_channel : -1;
}

}  // namespace

std::string layerPrefix(const std::string& channelName) {
    const auto dot = channelName.rfind('.');
    return dot == std::string::npos ? "" : channelName.substr(0, dot + 1);
}

std::vector<ChannelGroup> groupChannels(const OIIO::ImageSpec& spec, std::string_view fileFormat,
                                        const Layer& layer) {
    Grouping grouping(spec, layer);
    if (!layer.channel.empty()) return std::move(grouping).finish();
    if (fileFormat == "openexr") {
        grouping.addNamed(layer.prefix, Kind::picture);
        std::set<std::string> known{layer.prefix};
        for (int i = 0; i < spec.nchannels; ++i) {
            const std::string prefix = layerPrefix(grouping.name(i));
            if (prefix.starts_with(layer.prefix) && known.insert(prefix).second)
                grouping.addNamed(prefix, Kind::layer);
        }
        return std::move(grouping).finish();
    }
    const int alpha = storedAlpha(spec, fileFormat, grouping.find("", {"A"}));
    const int colours = spec.nchannels - (alpha < 0 ? 0 : 1);
    // Alpha alone is a number, too.
    if (colours == 0 || (colours == 2 && alpha < 0)) return std::move(grouping).finish();
    std::vector<std::string> names{"R", "G", "B"};
    if (colours < 3) names = {"Y"};
    std::vector<int> places;
    for (int i = 0; places.size() < names.size(); ++i)
        if (i != alpha) places.push_back(i);
    if (alpha >= 0) names.emplace_back("A");
    grouping.add(Kind::picture, places, alpha, names);
    return std::move(grouping).finish();
}

}  // namespace pictures
