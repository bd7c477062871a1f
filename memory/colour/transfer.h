// The transfer function between linear and nonlinear values, the roundings, and what a sample means.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "memory/colour/power.h"
#include "memory/frame/lanes.h"

namespace orvi::colour {

/// Linear to nonlinear, for x from 0 up: normalised linear values are never negative.
[[gnu::always_inline]] constexpr double transfer(double x) noexcept {
    constexpr double knee = 0.018;
    const double curve = 1.099 * power(std::max(x, knee), 0.45) - 0.099;
    return x >= knee ? curve : 4.5 * x;
}

/// Nonlinear to linear, also for values below 0. The exponent and the slope are rounded to three places on purpose:
/// this is not quite the inverse of `transfer`.
[[gnu::always_inline]] constexpr double inverseTransfer(double v) noexcept {
    const double size = v < 0 ? -v : v;
    const double curve = power((size + 0.099) / 1.099, 2.222);
    const double signedCurve = v < 0 ? -curve : curve;
    return size >= 0.081 ? signedCurve : v * 0.222F;
}

/// What a sample of a type stands for: 8-bit samples are 0 to 255; 16-bit ones are signed, their lowest value is 0.
template <class Sample>
struct Scale;
template <>
struct Scale<std::uint8_t> {
    static constexpr int zero = 0;
    static constexpr int full = 255;
};
template <>
struct Scale<std::int16_t> {
    static constexpr int zero = -32768;
    static constexpr int full = 65535;
};

/// A quotient, rounded once. In lanes it is a product with the divisor's reciprocal in two parts: all sums of a sample
/// and an offset come to the same.
[[gnu::always_inline]] constexpr float divided(int value, float divisor) noexcept {
    return static_cast<float>(value) / divisor;
}
[[gnu::always_inline]] inline lanes::F32 divided(lanes::I32 value, float divisor) noexcept {
    const float high = 1 / divisor;
    const float low = static_cast<float>(1 / double{divisor} - double{high});
    const lanes::F32 v = lanes::toFloat(value);
    return lanes::multiplyAdd(v, lanes::F32{} + high, v * low);
}

/// A sample as 0 to 1, in single precision.
template <class Sample>
[[gnu::always_inline]] constexpr float normalise(int sample) noexcept {
    return divided(sample - Scale<Sample>::zero, static_cast<float>(Scale<Sample>::full));
}
template <class Sample>
[[gnu::always_inline]] inline lanes::F32 normalise(lanes::I32 sample) noexcept {
    return divided(sample - Scale<Sample>::zero, static_cast<float>(Scale<Sample>::full));
}

/// Rounds half away from zero, the sum in single precision, and then clamps to the sample's range.
template <class Sample>
[[gnu::always_inline]] constexpr int quantise(double v) noexcept {
    constexpr float low = std::numeric_limits<Sample>::min();
    constexpr float high = std::numeric_limits<Sample>::max();
    // Where the lowest sample is 0 the sign does not matter: what is below -0.5 is clamped, what is above comes to 0.
    const double half = low == 0 || v >= 0 ? 0.5 : -0.5;
    const float rounded = static_cast<float>(v + half);
    return static_cast<int>(std::min(std::max(rounded, low), high));
}

/// 0 to 1 as a sample.
template <class Sample>
[[gnu::always_inline]] constexpr int toSample(double v) noexcept {
    return quantise<Sample>(Scale<Sample>::full * v + Scale<Sample>::zero);
}

} // namespace orvi::colour
