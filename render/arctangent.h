// The arctangents of the batches.
#pragma once

#include "render/Lanes.h"

namespace polar {
namespace {

// atan(t) / t for |t| <= tan(pi / 8), z = t * t; times t, it is within 0.3e-16 of the arctangent,
// and roundings.
template <class Lanes>
[[gnu::always_inline]] inline typename Lanes::Doubles smallArctangent(typename Lanes::Doubles z) {
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
    auto sum = all<typename Lanes::Doubles>(coefficients[0]);
    for (int i = 1; i < 11; ++i)
        sum = Lanes::Target::fma(sum, z, all<typename Lanes::Doubles>(coefficients[i]));
    return sum;
}

// atan2(y, x) for finite arguments that are not both zero.
//
// Within 9e-16 of the true one, in units of 1e-16: the argument is reduced to |t| <=
// tan(pi / 8), with three roundings that move the angle by 1.4; the polynomial is within 0.3 of the
// arctangent and rounds by 0.6; the sums with pi / 4, pi / 2 and pi round by 0.6, 1.1 and 2.2; and
// these constants are off by 0.3, 0.6 and 1.2. Together less than 9.
template <class Lanes>
[[gnu::always_inline]] inline typename Lanes::Doubles arctangent(typename Lanes::Doubles y,
                                                                 typename Lanes::Doubles x) {
    using Doubles = typename Lanes::Doubles;
    const Doubles ax = magnitude(x), ay = magnitude(y);
    const Doubles low = smaller(ax, ay), high = larger(ax, ay);
    const auto far = high * 0.4142135623730951 < low;
    const Doubles t = (far ? low - high : low) / (far ? low + high : high);
    const Doubles sum = smallArctangent<Lanes>(t * t);
    const Doubles first = far ? all<Doubles>(0.7853981633974483) : Doubles{};
    Doubles angle = Lanes::Target::fma(sum, t, first);
    angle = ax < ay ? 1.5707963267948966 - angle : angle;
    angle = x < Doubles{} ? 3.141592653589793 - angle : angle;
    using Words = typename Lanes::Words;
    return as<Doubles>(as<Words>(angle) | (as<Words>(y) & as<Words>(-Doubles{})));
}

template <class Lanes>
void arctangents(const double* y, const double* x, double* angles) {
    using Doubles = typename Lanes::Doubles;
    for (int i = 0; i < 8; i += Lanes::count)
        store(angles + i, arctangent<Lanes>(load<Doubles>(y + i), load<Doubles>(x + i)));
}

}  // namespace
}  // namespace polar
