// Pixels of the five formats: how a component is read and written, and nothing else.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "pixels/QzTypes.h"

// The components of one pixel as the arithmetic sees them; straight alpha, 0 fully transparent.
template <class ComponentType>
struct QzComponents {
    ComponentType r, g, b, a;

    bool operator==(const QzComponents&) const = default;
};

// One pixel as it lies in a bitmap: its bytes, without alignment and without gaps between pixels.
// ComponentType is what a component is handled as, MaxValue its largest value (nominal for float).
// A pixel whose components fill whole ComponentTypes holds them in native byte order; any other is
// packed most significant bits first, the same on every processor.
template <class ComponentType, std::uint32_t MaxValue, std::uint32_t ComponentBits,
          std::uint32_t PixelBytes>
struct QzPixel {
    using Component = ComponentType;
    using Components = QzComponents<ComponentType>;
    static constexpr std::uint32_t maxValue = MaxValue;
    static constexpr std::uint32_t componentBits = ComponentBits;
    static constexpr std::uint32_t pixelBytes = PixelBytes;
    static constexpr bool packed = PixelBytes != sizeof(Components);
    static_assert(4 * ComponentBits == 8 * PixelBytes, "four components fill a pixel");

    std::array<unsigned char, PixelBytes> bytes;

    Components load() const {
        if constexpr (packed) {
            std::uint64_t bits = 0;
            for (const unsigned char byte : bytes) bits = bits << 8 | byte;
            return {unpack(bits, 3), unpack(bits, 2), unpack(bits, 1), unpack(bits, 0)};
        } else {
            Components components;
            std::memcpy(&components, bytes.data(), sizeof components);
            return components;
        }
    }

    // Writes the whole pixel; of a packed component only the low ComponentBits are kept.
    void store(const Components& components) {
        if constexpr (packed) {
            std::uint64_t bits = pack(components.r, 3) | pack(components.g, 2) |
                                 pack(components.b, 1) | pack(components.a, 0);
            for (std::uint32_t i = PixelBytes; i-- > 0; bits >>= 8)
                bytes[i] = static_cast<unsigned char>(bits);
        } else {
            std::memcpy(bytes.data(), &components, sizeof components);
        }
    }

  private:
    static constexpr ComponentType unpack(std::uint64_t bits, std::uint32_t place) {
        return static_cast<ComponentType>(bits >> place * ComponentBits & MaxValue);
    }
    static constexpr std::uint64_t pack(ComponentType value, std::uint32_t place) {
        return (std::uint64_t{value} & MaxValue) << place * ComponentBits;
    }
};
