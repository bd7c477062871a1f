// When a sum of weighted integer samples, rounded to single precision after each term, may be had by fused
// multiply-adds.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>

namespace orvi {

/// Whether each product of a sample up to `largest` in magnitude and a weight, and each sum of such products and
/// earlier sums rounded to single precision, is exact in double. A fused multiply-add in single precision then rounds
/// what the computation in double rounds.
inline bool exactInDouble(const float* weights, std::size_t count, double largest) noexcept {
    double magnitude = 0;
    double unit = std::numeric_limits<double>::infinity(); // the weight of the lowest bit that any term has
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(weights[i])) return false;
        if (weights[i] == 0) continue;
        int exponent = 0;
        const double fraction = std::frexp(std::fabs(static_cast<double>(weights[i])), &exponent);
        const auto bits = static_cast<unsigned long>(fraction * 0x1p24);
        unit = std::fmin(unit, std::ldexp(1.0, exponent - 24 + __builtin_ctzl(bits)));
        magnitude += std::fabs(static_cast<double>(weights[i]));
    }
    return largest * magnitude < 0x1p53 * unit;
}

} // namespace orvi
