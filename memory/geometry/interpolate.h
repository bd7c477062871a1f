// The arithmetic of interpolated samples. Samples carry 7 fractional bits; every product is a float product, truncated
// toward zero, and the order of the truncations is part of the result.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

#include "memory/frame/numbers.h"

namespace orvi {

inline constexpr int fractionBits = 7;

template <class T>
constexpr int widen(T sample) noexcept {
    return int{sample} * (1 << fractionBits);
}

/// The product of an integer and a fraction of 0 to 1.
inline int part(int value, float fraction) noexcept { return static_cast<int>(static_cast<float>(value) * fraction); }

/// On the way from a to b.
inline int between(int a, int b, float fraction) noexcept { return a + part(b - a, fraction); }

/// Four widened samples, left to right and top to bottom.
inline int bilinear(int a, int b, int c, int d, float fx, float fy) noexcept {
    return between(between(a, b, fx), between(c, d, fx), fy) >> fractionBits;
}

/// (1 - f) * f, the weight of the cubic's correction.
inline float cubicWeight(float f) noexcept {
    return static_cast<float>((1.0 - static_cast<double>(f)) * static_cast<double>(f));
}

/// The Catmull-Rom cubic between p0 and p1, one multiplication and one truncation a stage. `t` is cubicWeight(f).
inline int cubic(int m, int p0, int p1, int p2, float f, float t) noexcept {
    const int line = between(p0, p1, f);
    const int outer = (p1 + m) + part((p2 + p0) - (p1 + m), f);
    return line + part(line - (outer >> 1), t);
}

/// A widened value cut to the range of a sample.
template <class T>
constexpr T narrow(long value) noexcept {
    constexpr long low = widen(std::numeric_limits<T>::min());
    constexpr long high = widen(std::numeric_limits<T>::max());
    return static_cast<T>(std::clamp(value, low, high) >> fractionBits);
}

/// A float product truncated; weights may be anything.
inline int product(int value, float weight) noexcept {
    return toInt(static_cast<float>(value) * weight, INT_MIN, INT_MAX);
}

/// A sum of products as a 32-bit value.
constexpr int confinedSum(long sum) noexcept { return static_cast<int>(std::clamp(sum, long{INT_MIN}, long{INT_MAX})); }

} // namespace orvi
