// Conversions and roundings that every family shares.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

namespace orvi {

template <class T>
inline constexpr int lowest = std::numeric_limits<T>::min();
template <class T>
inline constexpr int highest = std::numeric_limits<T>::max();

/// A 32-bit result clamped to the range of a sample.
template <class T>
constexpr T saturate(int value) noexcept {
    if (value < lowest<T>) return std::numeric_limits<T>::min();
    if (value > highest<T>) return std::numeric_limits<T>::max();
    return static_cast<T>(value);
}

/// A float truncated to an integer after a clamp to low..high; NaN gives 0.
constexpr int toInt(double x, int low, int high) noexcept {
    if (!(x == x)) return 0;
    if (x <= low) return low;
    if (x >= high) return high;
    return static_cast<int>(x);
}

/// Half added away from zero, rounded to single precision: what precedes most truncations.
constexpr float addHalf(float x) noexcept { return static_cast<float>(x >= 0 ? x + 0.5 : x - 0.5); }

/// A float rounded half away from zero and clamped to the range of a sample; NaN gives 0.
template <class T>
constexpr T roundTo(float x) noexcept {
    return static_cast<T>(toInt(addHalf(x), lowest<T>, highest<T>));
}

/// A float as a bit: 1 from 0.5 up, NaN gives 0.
constexpr bool toBit(float x) noexcept { return x >= 0.5F; }

} // namespace orvi
