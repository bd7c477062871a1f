// Float parameters, one a band, as the arithmetic takes them.
#pragma once

#include <cstdint>

#include "memory/frame/numbers.h"

namespace orvi {

/// NaN counts as 0.
constexpr float constantOf(float value) noexcept { return value == value ? value : 0.0F; }

/// roundTo in the form that vectorises: half added by sign in single precision (equal to the wider sum rounded once,
/// since that is exact wherever it could matter), clamped, truncated; NaN gives 0.
template <class T>
constexpr T roundInLanes(float x) noexcept {
    constexpr float low = lowest<T>;
    constexpr float high = highest<T>;
    float half = x + (x >= 0 ? 0.5F : -0.5F);
    half = half == half ? half : 0.0F;
    half = half < low ? low : half;
    half = half > high ? high : half;
    return static_cast<T>(static_cast<int>(half));
}

} // namespace orvi
