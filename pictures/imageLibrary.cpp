#include "pictures/imageLibrary.h"

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>

namespace pictures {

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

Samples makeSamples(const OIIO::TypeDesc& type, std::size_t count) {
    switch (type.basetype) {
        case OIIO::TypeDesc::UINT8:
            return std::vector<std::uint8_t>(count);
        case OIIO::TypeDesc::INT8:
        case OIIO::TypeDesc::UINT16:
        case OIIO::TypeDesc::INT16:
            return std::vector<std::uint16_t>(count);
        default:
            return std::vector<float>(count);
    }
}

OIIO::TypeDesc typeOf(const Samples& samples) {
    switch (samples.index()) {
        case 0:
            return OIIO::TypeDesc::UINT8;
        case 1:
            return OIIO::TypeDesc::UINT16;
        default:
            return OIIO::TypeDesc::FLOAT;
    }
}

void* dataOf(Samples& samples) {
    return std::visit([](auto& list) -> void* { return list.data(); }, samples);
}

void silencePngLibrary() {
    const auto passOthers = [](void*, const char* text, std::size_t size) -> ssize_t {
        const std::string_view line(text, size);
        if (!line.starts_with("libpng ")) std::cerr << line;
        return static_cast<ssize_t>(size);
    };
    std::FILE* const lines = fopencookie(nullptr, "w", {nullptr, passOthers, nullptr, nullptr});
    if (lines == nullptr) return;
    std::setvbuf(lines, nullptr, _IOLBF, 0);
    stderr = lines;  // std::cerr keeps the stream that it began with
}

void setExrThreads(unsigned threads) {
    OIIO::attribute("exr_threads", threads == 1 ? -1 : static_cast<int>(threads));  // -1: none
}

std::string oneLine(std::string message) {
    while (!message.empty() && std::isspace(static_cast<unsigned char>(message.back())))
        message.pop_back();
    if (message.empty()) return "damaged or cut short";
    return OIIO::Strutil::replace(message, "\n", "; ", true);
}

}  // namespace pictures
