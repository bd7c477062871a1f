// How the weighted samples of a window become a result.
#pragma once

#include <cmath>
#include <cstdint>

#include "memory/frame/numbers.h"

namespace orvi {

/// A sum rounded half away from zero and cut to the range of a sample; what is not a number becomes the lowest value.
template <class T>
T sampleOf(float sum) noexcept {
    const float rounded = addHalf(sum);
    if (rounded > static_cast<float>(highest<T>)) return std::numeric_limits<T>::max();
    if (rounded >= static_cast<float>(lowest<T>)) return static_cast<T>(rounded);
    return std::numeric_limits<T>::min();
}

/// The product of a byte and a weight in 16.16 fixed point, truncated toward zero; only its low 32 bits count.
inline std::uint32_t fixedProduct(unsigned sample, float tap) noexcept {
    const double product = static_cast<double>(sample << 16) * static_cast<double>(tap);
    if (!(std::abs(product) < 0x1p63)) return 0;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(product));
}

/// Rounded to single precision after every weight.
template <class T>
struct RoundedSum {
    float sum = 0;
    void add(T sample, float tap) noexcept {
        sum = static_cast<float>(static_cast<double>(sum) + static_cast<double>(sample) * static_cast<double>(tap));
    }
    T result() const noexcept { return sampleOf<T>(sum); }
};

/// Rounded to single precision once, at the end.
template <class T>
struct WholeSum {
    double sum = 0;
    void add(T sample, float tap) noexcept { sum += static_cast<double>(sample) * static_cast<double>(tap); }
    T result() const noexcept { return sampleOf<T>(static_cast<float>(sum)); }
};

/// Fixed-point products, each truncated; the whole is rounded down.
struct TruncatedSum {
    std::uint32_t sum = 0;
    void add(std::uint8_t sample, float tap) noexcept { sum += fixedProduct(sample, tap); }
    static std::uint8_t store(std::uint32_t sum) noexcept {
        return saturate<std::uint8_t>(static_cast<std::int32_t>(sum) >> 16);
    }
    std::uint8_t result() const noexcept { return store(sum); }
};

} // namespace orvi
