// A power function of our own: C libraries differ in the last bit, and a conversion must give the same bytes on every
// build and processor. Plain multiplies and adds, so it may stand in a constant expression, and no branch, so that a
// loop over it becomes lanes.
#pragma once

#include <bit>
#include <cstdint>

namespace orvi::colour {

namespace power_detail {

inline constexpr std::uint64_t one = 0x3ff0000000000000;
inline constexpr std::uint64_t rootOfHalf = 0x3fe6a09e667f3bcd;
inline constexpr std::uint64_t mantissa = 0x000fffffffffffff;
inline constexpr int exponentBias = 1023;
inline constexpr int mantissaBits = 52;
inline constexpr double log2e = 1.4426950408889634074;
inline constexpr double ln2 = 0.69314718055994530942;
inline constexpr double twoTo52 = 0x1p52;
inline constexpr double roundsToInteger = 0x1.8p52; // added, it leaves the nearest integer in the low bits

/// 1 / (2i + 1), the series of (1/2) ln((1 + f) / (1 - f)) / f in powers of f * f.
inline constexpr double logSeries[] = {1.0,      1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9, 1.0 / 11,
                                       1.0 / 13, 1.0 / 15, 1.0 / 17, 1.0 / 19, 1.0 / 21};

/// 1 / i!, the series of e to the x.
inline constexpr double expSeries[] = {
    1.0,        1.0,         1.0 / 2,      1.0 / 6,       1.0 / 24,       1.0 / 120,       1.0 / 720,
    1.0 / 5040, 1.0 / 40320, 1.0 / 362880, 1.0 / 3628800, 1.0 / 39916800, 1.0 / 479001600, 1.0 / 6227020800};

template <std::size_t N>
[[gnu::always_inline]] constexpr double polynomial(const double (&series)[N], double x) noexcept {
    double sum = series[N - 1];
#pragma GCC unroll 16
    for (std::size_t i = N - 1; i > 0; --i) sum = sum * x + series[i - 1];
    return sum;
}

} // namespace power_detail

/// The logarithm to base 2 of a positive normal number.
[[gnu::always_inline]] constexpr double logarithm2(double x) noexcept {
    using namespace power_detail;
    // The number as 2 to the k times m, m around 1 between the roots of 1/2 and 2.
    const std::uint64_t shifted = std::bit_cast<std::uint64_t>(x) + (one - rootOfHalf);
    const double biased =
        std::bit_cast<double>((shifted >> mantissaBits) | std::bit_cast<std::uint64_t>(twoTo52)) - twoTo52;
    const double m = std::bit_cast<double>((shifted & mantissa) + rootOfHalf);
    const double f = (m - 1) / (m + 1);
    return (biased - exponentBias) + (2 * log2e) * f * polynomial(logSeries, f * f);
}

/// 2 to the x, for results in the normal range.
[[gnu::always_inline]] constexpr double exponential2(double x) noexcept {
    using namespace power_detail;
    const double magic = x + roundsToInteger;
    const double rest = (x - (magic - roundsToInteger)) * ln2;
    const std::uint64_t scale = std::bit_cast<std::uint64_t>(magic) << mantissaBits;
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(polynomial(expSeries, rest)) + scale);
}

/// x to the power e, for a positive normal x and a result in the normal range; within a few units of the last place.
[[gnu::always_inline]] constexpr double power(double x, double e) noexcept { return exponential2(e * logarithm2(x)); }

} // namespace orvi::colour
