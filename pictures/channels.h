// What the channels of a picture file are, and which of them belong together.
#pragma once

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace pictures {

// Channels of a part of a file that are rendered as one image.
struct ChannelGroup {
    enum class Kind {
        picture,  // the colour that the file is of
        layer,    // colour of another layer, with an alpha of its own
        numbers   // anything else: depths, vectors, colour without alpha in another layer
    };
    Kind kind;
    std::vector<int> colours;        // indices of grey, of R, G, B, or of one to three numbers
    int alpha = -1;                  // index; -1: none
    std::vector<std::string> names;  // of the colours and of the alpha, with what precedes them

    bool isGrey() const { return colours.size() == 1; }
    // The index of red (0), green (1) or blue (2); of fewer colours the last one stands for the
    // rest.
    int at(std::size_t i) const { return colours[std::min(i, colours.size() - 1)]; }
};

// Which channels of a part are wanted; all when both are empty.
struct Layer {
    std::string prefix;   // of their names: "layer."
    std::string channel;  // the name of a single one
};

// The channels of a layer, each in one group: the picture, whose names have the layer's prefix,
// then the others in file order. Where the file's format keeps names they decide, elsewhere the
// number of channels and which one is said to be alpha.
std::vector<ChannelGroup> groupChannels(const OIIO::ImageSpec& spec, std::string_view fileFormat,
                                        const Layer& layer);

// The part of a channel's name up to its last dot, which it includes; empty without one.
std::string layerPrefix(const std::string& channelName);

}  // namespace pictures
