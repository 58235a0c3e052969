// Rendering in batches of pixels: one body for every instruction set.
//
// To be included once, by the unit of an instruction set, after it has switched to that set and
// defined its `Lanes`: vectors with one element per pixel of a batch. Everything here is local to
// that unit. All arithmetic that decides a pixel is that of the plain path, operation by operation;
// what is not (the arctangent) comes with a bound, and pixels it leaves open go to the plain path.
#pragma once

namespace {

// Positions ---------------------------------------------------------------------------------------

// atan2(y, x) for finite arguments that are not both zero.
//
// Within batchError (engine/renderPath.h), in units of 1e-16: the argument is reduced to |t| <=
// tan(pi / 8), with three roundings that move the angle by 1.4; the polynomial is within 0.3 of the
// arctangent and rounds by 0.6; the sums with pi / 4, pi / 2 and pi round by 0.6, 1.1 and 2.2; and
// these constants are off by 0.3, 0.6 and 1.2. Together less than 9.
template <class Lanes>
[[gnu::always_inline]] inline typename Lanes::Doubles arctangent(typename Lanes::Doubles y,
                                                                 typename Lanes::Doubles x) {
    using Doubles = typename Lanes::Doubles;
    constexpr double coefficients[] = {0.021135373157693246,
                                       -0.04348052215716462,
                                       0.056883492268090106,
                                       -0.06640233930429408,
                                       0.07689953496306857,
                                       -0.09090773074808414,
                                       0.11111106180455946,
                                       -0.14285714180976467,
                                       0.1999999999885511,
                                       -0.3333333333332844,
                                       1.0};
    const Doubles ax = Lanes::magnitude(x), ay = Lanes::magnitude(y);
    const Doubles low = Lanes::min(ax, ay), high = Lanes::max(ax, ay);
    const auto far = Lanes::less(high * Lanes::all(0.4142135623730951), low);
    const Doubles t = Lanes::select(far, low - high, low) / Lanes::select(far, low + high, high);
    const Doubles z = t * t;
    Doubles sum = Lanes::all(coefficients[0]);
    for (int i = 1; i < 11; ++i) sum = Lanes::multiplyAdd(sum, z, Lanes::all(coefficients[i]));
    Doubles angle = Lanes::multiplyAdd(sum, t, Lanes::keep(far, Lanes::all(0.7853981633974483)));
    angle = Lanes::select(Lanes::less(ax, ay), Lanes::all(1.5707963267948966) - angle, angle);
    angle = Lanes::select(Lanes::less(x, Lanes::all(0.0)), Lanes::all(3.141592653589793) - angle,
                          angle);
    return Lanes::withSign(angle, y);
}

template <class Lanes>
void arctangents(const double* y, const double* x, double* angles) {
    for (int i = 0; i < 8; i += Lanes::count)
        Lanes::store(angles + i,
                     Lanes::bitsOf(arctangent<Lanes>(Lanes::load(y + i), Lanes::load(x + i))));
}

template <class Lanes>
struct Positions {
    typename Lanes::Doubles x, y;
};

// What a batch of each row reads about its columns.
constexpr int blockColumns = 32;
constexpr int blockRows = 64;
struct Columns {
    double first[blockColumns];   // half the sine, or the squared offset
    double second[blockColumns];  // half the cosine, or the offset
};

template <class Lanes>
[[gnu::always_inline]] inline Positions<Lanes> unwrapped(const BatchJob& job,
                                                         const Columns& columns, int at, double v) {
    const auto half = Lanes::all(0.5), radius = Lanes::all(v);
    const auto p = half - radius * Lanes::load(columns.first + at);
    const auto q = half - radius * Lanes::load(columns.second + at);
    return {p * Lanes::all(job.scaleX) + Lanes::all(job.originX),
            q * Lanes::all(job.scaleY) + Lanes::all(job.originY)};
}

// y is exact, x within job.columnError.
template <class Lanes>
[[gnu::always_inline]] inline Positions<Lanes> wrapped(const BatchJob& job, const Columns& columns,
                                                       int at, double v) {
    const auto one = Lanes::all(1.0), dy = Lanes::all(v - 0.5);
    const auto radius = Lanes::sqrt(dy * dy + Lanes::load(columns.first + at));
    const auto diameter = radius + radius;
    const auto inEllipse = Lanes::less(diameter - one, Lanes::all(0.0));
    const auto q = Lanes::select(inEllipse, diameter, one);
    const auto y = q * Lanes::all(job.scaleY) + Lanes::all(job.originY);
    // Whole batches outside need no column.
    if (Lanes::bits(Lanes::less(y, Lanes::all(job.lastRow + 1.0))) == 0) return {y, y};
    const auto angle = arctangent<Lanes>(Lanes::load(columns.second + at), dy);
    const auto turns = (angle + Lanes::all(3.141592653589793)) * Lanes::all(0.15915494309189535);
    return {turns * Lanes::all(job.scaleX) + Lanes::all(job.originX), y};
}

// Pixels ------------------------------------------------------------------------------------------

template <class Lanes>
struct Colours {
    typename Lanes::Doubles r, g, b, a;
};

// Addresses of pixels: column and row of the input.
template <class Lanes, class Pixel>
[[gnu::always_inline]] inline typename Lanes::Words addresses(const BatchJob& job,
                                                              typename Lanes::Halves column,
                                                              typename Lanes::Halves row) {
    const auto index = Lanes::add(
        Lanes::multiply(Lanes::widen(row), Lanes::words(job.inputRowLength)), Lanes::widen(column));
    const auto start = Lanes::words(static_cast<std::int64_t>(job.input));
    constexpr int bytes = sizeof(Pixel);
    if constexpr (bytes == 5)
        return Lanes::add(start, Lanes::add(Lanes::template shiftLeft<2>(index), index));
    else if constexpr (bytes == 6)
        return Lanes::add(start, Lanes::add(Lanes::template shiftLeft<2>(index),
                                            Lanes::template shiftLeft<1>(index)));
    else
        return Lanes::add(start, Lanes::template shiftLeft < bytes == 4 ? 2
                                 : bytes == 8                           ? 3
                                                                        : 4 > (index));
}

// Loads and stores batches of a format whose components are integers.
template <class Lanes, class PixelType>
struct Pixels {
    using Pixel = PixelType;
    using Words = typename Lanes::Words;
    using Doubles = typename Lanes::Doubles;
    static constexpr int bits = Pixel::componentBits;
    static constexpr int bytes = Pixel::pixelBytes;
    struct Pair {
        Words left, right;
    };
    struct Mixed {
        Words pixels;
    };

    // The bits of two neighbouring pixels, reading nothing beside them.
    [[gnu::always_inline]] static Pair loadPair(Words address) {
        if constexpr (bytes == 4) {
            const Words two = Lanes::gather(address);
            return {two, two};
        } else if constexpr (bytes == 8) {
            const auto pair = Lanes::gatherPairs(address);
            return {pair.left, pair.right};
        } else {
            const Words left = Lanes::gather(address);
            const Words right = Lanes::gather(Lanes::add(address, Lanes::words(2 * bytes - 8)));
            return {Lanes::swapBytes(left), Lanes::swapBytes(right)};
        }
    }
    [[gnu::always_inline]] static Colours<Lanes> left(const Pair& pair) {
        return colours < Pixel::packed ? 64 - 8 * bytes : 0 > (pair.left);
    }
    [[gnu::always_inline]] static Colours<Lanes> right(const Pair& pair) {
        return colours < bytes == 4 ? 32 : 0 > (pair.right);
    }

    [[gnu::always_inline]] static Doubles magnitude(Doubles value) { return value; }
    [[gnu::always_inline]] static auto areNumbers(const Colours<Lanes>& c) {
        return Lanes::lessEqual(c.a, c.a);
    }
    // Rounds as roundToLong does: the sums' low bits are the integers.
    [[gnu::always_inline]] static Doubles rounded(Doubles value) {
        return value + Lanes::all(4503603922337792.0);
    }
    // Which lanes round alike at both ends of their intervals.
    [[gnu::always_inline]] static auto alike(const Colours<Lanes>& low,
                                             const Colours<Lanes>& high) {
        return Lanes::both(Lanes::both(same(low.r, high.r), same(low.g, high.g)),
                           Lanes::both(same(low.b, high.b), same(low.a, high.a)));
    }
    [[gnu::always_inline]] static Mixed mixed(const Colours<Lanes>& c,
                                              typename Lanes::Mask visible) {
        const Words pixel =
            Lanes::either(Lanes::either(component<place(0)>(c.r), component<place(1)>(c.g)),
                          Lanes::either(component<place(2)>(c.b), component<place(3)>(c.a)));
        const Words kept = Lanes::keep(visible, pixel);
        if constexpr (Pixel::packed)
            return {Lanes::swapBytes(Lanes::template shiftLeft<64 - 8 * bytes>(kept))};
        else
            return {kept};
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Mixed& mixed) {
        if constexpr (bytes == 4) {
            Lanes::store(out, Lanes::narrow(mixed.pixels));
        } else if constexpr (bytes == 8) {
            Lanes::store(out, mixed.pixels);
        } else {
            alignas(64) unsigned char lanes[Lanes::count][8];
            Lanes::store(lanes, mixed.pixels);
            // Each store's excess is the next one's pixel.
            for (int i = 0; i < Lanes::count; ++i, out += bytes)
                std::memcpy(out, lanes[i], i < Lanes::count - 1 ? 8 : bytes);
        }
    }

  private:
    [[gnu::always_inline]] static auto same(Doubles a, Doubles b) {
        return Lanes::equal(rounded(a), rounded(b));
    }
    // How far a component lies from the lowest bit.
    static constexpr int place(int index) { return bits * (Pixel::packed ? 3 - index : index); }

    template <int Place>
    [[gnu::always_inline]] static Words component(Doubles value) {
        return Lanes::template shiftLeft<Place>(
            Lanes::both(Lanes::bitsOf(rounded(value)), Lanes::words(Pixel::maxValue)));
    }
    template <int Place>
    [[gnu::always_inline]] static Doubles part(Words word) {
        typename Lanes::Halves half;
        constexpr int last = Place + bits - 1;
        if constexpr (Place / 32 != last / 32)
            half = Lanes::narrow(Lanes::template shiftRight<Place>(word));
        else if constexpr (Place < 32)
            half = Lanes::template shiftRight<Place>(Lanes::narrow(word));
        else
            half = Lanes::template shiftRight<Place - 32>(
                Lanes::narrow(Lanes::template shiftRight<32>(word)));
        if constexpr (last != 31 && last != 63)
            half = Lanes::both(half, Lanes::halves(static_cast<int>(Pixel::maxValue)));
        return Lanes::toDoubles(half);
    }
    template <int Start>
    [[gnu::always_inline]] static Colours<Lanes> colours(Words word) {
        return {part<Start + place(0)>(word), part<Start + place(1)>(word),
                part<Start + place(2)>(word), part<Start + place(3)>(word)};
    }
};

// Of the float format.
template <class Lanes>
struct FloatPixels {
    using Pixel = QzBufferRGBAFloat::Pixel;
    using Words = typename Lanes::Words;
    using Halves = typename Lanes::Halves;
    using Doubles = typename Lanes::Doubles;
    using Pair = typename Lanes::FloatPair;
    struct Mixed {
        typename Lanes::Floats r, g, b, a;
    };

    [[gnu::always_inline]] static Pair loadPair(Words address) {
        return Lanes::gatherFloats(address);
    }
    [[gnu::always_inline]] static Colours<Lanes> left(const Pair& pair) {
        return colours(pair.left);
    }
    [[gnu::always_inline]] static Colours<Lanes> right(const Pair& pair) {
        return colours(pair.right);
    }
    [[gnu::always_inline]] static Doubles magnitude(Doubles value) {
        return Lanes::magnitude(value);
    }
    // Also of infinities of either sign it says no.
    [[gnu::always_inline]] static auto areNumbers(const Colours<Lanes>& c) {
        const Doubles sum = (c.r + c.g) + (c.b + c.a);
        return Lanes::equal(sum, sum);
    }
    // Compares bits, since zeros of either sign are not alike.
    [[gnu::always_inline]] static auto alike(const Colours<Lanes>& low,
                                             const Colours<Lanes>& high) {
        return Lanes::zero(
            Lanes::either(Lanes::either(difference(low.r, high.r), difference(low.g, high.g)),
                          Lanes::either(difference(low.b, high.b), difference(low.a, high.a))));
    }
    [[gnu::always_inline]] static Mixed mixed(const Colours<Lanes>& c,
                                              typename Lanes::Mask visible) {
        const auto kept = [&](Doubles value) {
            return Lanes::floatsOf(Lanes::keep(visible, Lanes::bitsOf(Lanes::toFloats(value))));
        };
        return {kept(c.r), kept(c.g), kept(c.b), kept(c.a)};
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Mixed& mixed) {
        Lanes::store(reinterpret_cast<float*>(out), mixed.r, mixed.g, mixed.b, mixed.a);
    }

  private:
    [[gnu::always_inline]] static Colours<Lanes> colours(const typename Lanes::Floats (&parts)[4]) {
        return {Lanes::toDoubles(parts[0]), Lanes::toDoubles(parts[1]), Lanes::toDoubles(parts[2]),
                Lanes::toDoubles(parts[3])};
    }
    [[gnu::always_inline]] static Halves difference(Doubles a, Doubles b) {
        return Lanes::differ(Lanes::bitsOf(Lanes::toFloats(a)), Lanes::bitsOf(Lanes::toFloats(b)));
    }
};
template <class Lanes>
struct Pixels<Lanes, QzBufferRGBAFloat::Pixel> : FloatPixels<Lanes> {};

// Sampling ----------------------------------------------------------------------------------------

// A batch's result, and which of its lanes are not decided by it.
template <class Result>
struct Sampled {
    Result pixels;
    unsigned open;
};

// The nearest pixels.
template <class Lanes, class Pixel>
struct NearestSampler {
    struct Result {
        typename Lanes::Words addresses;
    };

    template <bool Unwraps>
    [[gnu::always_inline]] static Sampled<Result> sample(const BatchJob& job,
                                                         const Positions<Lanes>& at) {
        const auto column = Lanes::nearest(at.x), row = Lanes::nearest(at.y);
        const auto rowInside = Lanes::both(Lanes::lessEqual(Lanes::all(job.top), row),
                                           Lanes::lessEqual(row, Lanes::all(job.lastRow)));
        const auto inside = Lanes::both(
            rowInside, Lanes::both(Lanes::lessEqual(Lanes::all(job.left), column),
                                   Lanes::lessEqual(column, Lanes::all(job.lastColumn))));
        const auto from =
            addresses<Lanes, Pixel>(job, Lanes::truncate(column), Lanes::truncate(row));
        const Result result{Lanes::select(
            inside, from,
            Lanes::words(static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(zeros))))};
        if constexpr (Unwraps) {
            return {result, 0};
        } else {
            const auto clear = Lanes::lessEqual(Lanes::magnitude(at.x - column),
                                                Lanes::all(0.5 - job.columnError));
            return {result, Lanes::bits(Lanes::without(rowInside, clear))};
        }
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Result& result) {
        alignas(64) const void* from[Lanes::count];
        Lanes::store(from, result.addresses);
        for (int i = 0; i < Lanes::count; ++i, out += sizeof(Pixel)) {
            if constexpr (Pixel::packed) {
                // In one store, whose excess is the next one's pixel.
                std::uint32_t start;
                std::conditional_t<sizeof(Pixel) == 5, std::uint8_t, std::uint16_t> end;
                std::memcpy(&start, from[i], sizeof start);
                std::memcpy(&end, static_cast<const char*>(from[i]) + sizeof start, sizeof end);
                const std::uint64_t pixel = start | std::uint64_t{end} << 32;
                std::memcpy(out, &pixel, i < Lanes::count - 1 ? sizeof pixel : sizeof(Pixel));
            } else {
                std::memcpy(out, from[i], sizeof(Pixel));
            }
        }
    }

  private:
    static constexpr unsigned char zeros[sizeof(Pixel)] = {};
};

// The alpha-weighted means of four pixels.
template <class Lanes, class Pixel>
struct BilinearSampler {
    using Doubles = typename Lanes::Doubles;
    using Mask = typename Lanes::Mask;
    using Format = Pixels<Lanes, Pixel>;
    using Result = typename Format::Mixed;
    static constexpr unsigned allLanes = (1u << Lanes::count) - 1;

    template <bool Unwraps>
    [[gnu::always_inline]] static Sampled<Result> sample(const BatchJob& job,
                                                         const Positions<Lanes>& at) {
        Doubles x = at.x, y = at.y;
        const auto rows = Lanes::both(Lanes::lessEqual(Lanes::all(job.top), y),
                                      Lanes::less(y, Lanes::all(job.lastRow)));
        const auto columns = Lanes::both(Lanes::lessEqual(Lanes::all(job.left), x),
                                         Lanes::less(x, Lanes::all(job.lastColumn)));
        const Mask inside = Lanes::both(rows, columns);
        unsigned decided = Lanes::bits(inside);
        unsigned outside = 0;
        if (decided != allLanes) {
            auto out = Lanes::either(Lanes::less(y, Lanes::all(job.top - 1.0)),
                                     Lanes::lessEqual(Lanes::all(job.lastRow + 1.0), y));
            if constexpr (Unwraps)
                out = Lanes::either(
                    out, Lanes::either(Lanes::less(x, Lanes::all(job.left - 1.0)),
                                       Lanes::lessEqual(Lanes::all(job.lastColumn + 1.0), x)));
            outside = Lanes::bits(out);
            if (decided == 0)
                return {Format::mixed(
                            {Lanes::all(0.0), Lanes::all(0.0), Lanes::all(0.0), Lanes::all(0.0)},
                            inside),
                        allLanes & ~outside};
            // Other lanes read pixels that are there.
            x = Lanes::select(inside, x, Lanes::all(job.left));
            y = Lanes::select(inside, y, Lanes::all(job.top));
        }

        const auto column = Lanes::truncate(x), row = Lanes::truncate(y);
        const Doubles fx = x - Lanes::toDoubles(column), fy = y - Lanes::toDoubles(row);
        const Doubles w11 = fx * fy;
        const Doubles w01 = fy - w11;
        const Doubles w10 = fx - w11;
        const Doubles w00 = ((-w11 - w01) + Lanes::all(1.0)) - w10;

        const auto above = addresses<Lanes, Pixel>(job, column, row);
        const auto rowBytes = std::int64_t{job.inputRowLength} * std::int64_t{sizeof(Pixel)};
        const auto upper = Format::loadPair(above);
        const auto lower = Format::loadPair(Lanes::add(above, Lanes::words(rowBytes)));
        const Neighbours c{Format::left(upper), Format::right(upper), Format::left(lower),
                           Format::right(lower)};
        const Doubles a00 = w00 * c.c00.a;
        const Doubles a10 = w10 * c.c10.a;
        const Doubles a01 = w01 * c.c01.a;
        const Doubles a11 = w11 * c.c11.a;
        const Doubles alpha = a11 + (a01 + (a00 + a10));

        const Doubles inverse = Lanes::all(1.0) / alpha;
        const Doubles u00 = a00 * inverse;
        const Doubles u10 = a10 * inverse;
        const Doubles u01 = a01 * inverse;
        const Doubles u11 = a11 * inverse;
        const auto mean = [&](auto component) {
            return ((u10 * c.c10.*component + u00 * c.c00.*component) + u01 * c.c01.*component) +
                   u11 * c.c11.*component;
        };
        using All = Colours<Lanes>;
        Colours<Lanes> colours{mean(&All::r), mean(&All::g), mean(&All::b), alpha};
        const Mask visible = Lanes::without(inside, Lanes::equal(alpha, Lanes::all(0.0)));
        if constexpr (!Unwraps) decided &= settled(job, fx, c, inverse, visible, colours);
        return {Format::mixed(colours, visible), allLanes & ~(decided | outside)};
    }
    [[gnu::always_inline]] static void store(unsigned char* out, const Result& result) {
        Format::store(out, result);
    }

  private:
    struct Neighbours {
        Colours<Lanes> c00, c10, c01, c11;
    };

    // The lanes that are stored alike for every column within e = columnError of the one they were
    // mixed for; moves `colours` within what is stored alike.
    //
    // Such columns have the same neighbours where fx is e away from 0 and 1. Between two of them
    // the exact weights differ by 2e in sum, the computed ones by less than m = 2e + 2^-46. Let A
    // be the largest magnitude of the four alphas, C that of the four components, S the total alpha
    // and g = A / |S|. Then S differs by at most mA, the sum of alpha times colour by mAC, and
    // where mg < 2^-10 their quotient, at most gC itself, by 1.01 mgC(1 + g); its own roundings add
    // less than 2^-47 gC. Twice m, mixedError, also covers the roundings made here. Rounding to
    // what is stored is monotone: where both ends are stored alike, so is all between them. A total
    // of zero is certain where all alphas are zero, and impossible where mg < 1.
    [[gnu::always_inline]] static unsigned settled(const BatchJob& job, Doubles fx,
                                                   const Neighbours& c, Doubles inverse,
                                                   Mask visible, Colours<Lanes>& colours) {
        const Doubles error = Lanes::all(job.columnError), margin = Lanes::all(job.mixedError);
        const Doubles largest = largestOf(c.c00.a, c.c10.a, c.c01.a, c.c11.a);
        const Doubles gain = Lanes::magnitude(largest * inverse);
        const Doubles reach = margin * gain * (gain + Lanes::all(1.0));
        Mask certain =
            Lanes::both(Lanes::less(gain, Lanes::all(job.gainLimit)), Format::areNumbers(colours));
        Colours<Lanes> high;
        const auto widen = [&](auto component) {
            Doubles most = Lanes::all(Pixel::maxValue);
            if constexpr (std::is_same_v<typename Pixel::Component, float>) {
                most = largestOf(c.c00.*component, c.c10.*component, c.c01.*component,
                                 c.c11.*component);
                // The sign of a mean of zeros depends on the signs of the weights.
                certain = Lanes::without(
                    certain, Lanes::negativeZero(
                                 Lanes::either(Lanes::either(c.c00.*component, c.c10.*component),
                                               Lanes::either(c.c01.*component, c.c11.*component))));
            }
            high.*component = colours.*component + reach * most;
            colours.*component = colours.*component - reach * most;
        };
        widen(&Colours<Lanes>::r);
        widen(&Colours<Lanes>::g);
        widen(&Colours<Lanes>::b);
        high.a = colours.a + margin * largest;
        colours.a = colours.a - margin * largest;
        certain = Lanes::both(certain, Format::alike(colours, high));
        const Mask empty = Lanes::without(Lanes::equal(largest, Lanes::all(0.0)), visible);
        const Mask sameNeighbours =
            Lanes::both(Lanes::lessEqual(error, fx), Lanes::lessEqual(fx, Lanes::all(1.0) - error));
        return Lanes::bits(Lanes::both(sameNeighbours, Lanes::either(certain, empty)));
    }

    // The largest magnitude.
    [[gnu::always_inline]] static Doubles largestOf(Doubles a, Doubles b, Doubles c, Doubles d) {
        return Lanes::max(Lanes::max(Format::magnitude(a), Format::magnitude(b)),
                          Lanes::max(Format::magnitude(c), Format::magnitude(d)));
    }
};

// The region --------------------------------------------------------------------------------------

template <class Lanes, class Sampler, class Pixel, bool Unwraps>
class Renderer {
  public:
    explicit Renderer(const BatchJob& job) : job_(job) {}

    // Visits the region block by block: neighbouring rows read the same part of the input.
    std::int64_t render() {
        double v = job_.firstRow;
        for (std::int64_t top = 0; top < job_.height; top += blockRows) {
            double rows[blockRows];
            const int height =
                static_cast<int>(std::min<std::int64_t>(blockRows, job_.height - top));
            for (int j = 0; j < height; ++j, v += job_.rowStep) rows[j] = v;
            double offset = job_.firstOffset;
            for (std::int64_t left = 0; left < job_.width; left += blockColumns) {
                Columns columns;
                const int width =
                    static_cast<int>(std::min<std::int64_t>(blockColumns, job_.width - left));
                for (int i = 0; i < blockColumns; ++i) {
                    const auto at = static_cast<std::size_t>(left + std::min(i, width - 1));
                    columns.first[i] = job_.first[at];
                    columns.second[i] = Unwraps ? job_.second[at] : offset;
                    if (i < width) offset += job_.offsetStep;
                }
                for (int j = 0; j < height; ++j)
                    renderRow(columns, rows[j], left, width,
                              job_.output + (top + j) * job_.outputRowBytes +
                                  left * std::int64_t{sizeof(Pixel)});
            }
        }
        return redone_;
    }

  private:
    [[gnu::always_inline]] void renderRow(const Columns& columns, double v, std::int64_t left,
                                          int width, unsigned char* out) {
        for (int i = 0; i < width; i += Lanes::count, out += sizeof(Pixel) * Lanes::count) {
            const auto positions = Unwraps ? unwrapped<Lanes>(job_, columns, i, v)
                                           : wrapped<Lanes>(job_, columns, i, v);
            const auto sampled = Sampler::template sample<Unwraps>(job_, positions);
            if (sampled.open == 0 && width - i >= Lanes::count) [[likely]] {
                Sampler::store(out, sampled.pixels);
                continue;
            }
            unsigned char batch[sizeof(Pixel) * Lanes::count];
            Sampler::store(batch, sampled.pixels);
            finish(columns, v, left, i, std::min(Lanes::count, width - i), sampled.open, batch,
                   out);
        }
    }

    // Writes the first `count` pixels of a batch, those that are open by the plain path.
    [[gnu::noinline]] void finish(const Columns& columns, double v, std::int64_t left, int first,
                                  int count, unsigned open, unsigned char* batch,
                                  unsigned char* out) {
        for (int i = 0; i < count; ++i) {
            if ((open >> i & 1) == 0) continue;
            ++redone_;
            job_.renderPixel(job_, v, static_cast<QzLong>(left + first + i),
                             columns.second[first + i],
                             batch + sizeof(Pixel) * static_cast<unsigned>(i));
        }
        std::memcpy(out, batch, sizeof(Pixel) * static_cast<unsigned>(count));
    }

    const BatchJob& job_;
    std::int64_t redone_ = 0;
};

template <class Lanes, class Pixel, class Sampler>
std::int64_t renderWith(const BatchJob& job) {
    return job.unwraps ? Renderer<Lanes, Sampler, Pixel, true>(job).render()
                       : Renderer<Lanes, Sampler, Pixel, false>(job).render();
}

template <class Lanes>
std::int64_t renderBatches(const BatchJob& job) {
    std::int64_t redone = 0;
    visitFormat(job.format, [&]<class Buffer>() {
        using Pixel = typename Buffer::Pixel;
        redone = job.bilinear ? renderWith<Lanes, Pixel, BilinearSampler<Lanes, Pixel>>(job)
                              : renderWith<Lanes, Pixel, NearestSampler<Lanes, Pixel>>(job);
    });
    return redone;
}

}  // namespace
