// Area sampling by instructions that every processor has: the reference of the other units.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "pixels/QzBuffer.h"
#include "pixels/sampler.h"
#include "render/area_batch.h"

namespace polar {
namespace {

struct Plain {
    static constexpr int count = 2;
    using Doubles = Vector<double, 2>;
    using Floats = Vector<float, 4>;

    [[gnu::always_inline]] static Doubles sqrt(Doubles a) {
        return Doubles{std::sqrt(a[0]), std::sqrt(a[1])};
    }
    [[gnu::always_inline]] static Floats sqrt(Floats a) {
        return Floats{std::sqrt(a[0]), std::sqrt(a[1]), std::sqrt(a[2]), std::sqrt(a[3])};
    }
    [[gnu::always_inline]] static Doubles floor(Doubles a) {
        return Doubles{std::floor(a[0]), std::floor(a[1])};
    }
    template <class Mask>
    [[gnu::always_inline]] static unsigned bits(Mask mask) {
        unsigned bits = 0;
        for (int i = 0; i < lengthOf<Mask>; ++i) bits |= (mask[i] != 0 ? 1u : 0u) << i;
        return bits;
    }
};

// Pixels one by one, whatever the order of bytes.
template <class Lanes, class Pixel>
struct PlainPixels {
    using Real = AreaReal<Pixel>;
    static constexpr int count = std::is_same_v<Real, float> ? Lanes::wide : Lanes::count;
    using Reals = Vector<Real, count>;

    static ColourPair<Reals> loadPair(const std::uint64_t* addresses, std::int64_t offset) {
        ColourPair<Reals> pair;
        for (int i = 0; i < count; ++i) {
            Pixel pixels[2];
            std::memcpy(pixels, bytesAt(addresses[i]) + offset, sizeof pixels);
            put(pair.left, i, pixels[0].load());
            put(pair.right, i, pixels[1].load());
        }
        return pair;
    }
    static void store(unsigned char* out, const Colours<Reals>& c) {
        for (int i = 0; i < count; ++i, out += sizeof(Pixel)) {
            Pixel pixel;
            pixel.store({stored(c.r[i]), stored(c.g[i]), stored(c.b[i]), stored(c.a[i])});
            std::memcpy(out, &pixel, sizeof pixel);
        }
    }

  private:
    using Component = typename Pixel::Component;

    static void put(Colours<Reals>& to, int i, const typename Pixel::Components& from) {
        to.r[i] = static_cast<Real>(from.r);
        to.g[i] = static_cast<Real>(from.g);
        to.b[i] = static_cast<Real>(from.b);
        to.a[i] = static_cast<Real>(from.a);
    }
    static Component stored(Real value) {
        if constexpr (std::is_same_v<Component, float>)
            return value == value ? static_cast<float>(value) : __builtin_nanf("");
        else
            return toComponent<Component>(static_cast<double>(value));
    }
};

}  // namespace

void renderAreasPlainly(const Job& job, QzLong firstRow, QzLong rows);
void renderAreasPlainly(const Job& job, QzLong firstRow, QzLong rows) {
    using Exact = Lanes<Unfused<Plain>>;
    visitArea(job, [&]<class Pixel, Mapping mapping>() {
        AreaRenderer<Exact, Pixel, mapping, PlainPixels<Exact, Pixel>, PlainChunks<mapping>>(job)
            .render(firstRow, rows);
    });
}

}  // namespace polar
