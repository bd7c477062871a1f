// Float parameters, one a band, as the arithmetic takes them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "memory/frame/BandPattern.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"

namespace orvi {

/// NaN counts as 0.
constexpr float constantOf(float value) noexcept { return value == value ? value : 0.0F; }

/// As many samples of a type as a vector of floats has: what ops that compute in floats work on.
template <class T>
struct FloatLanes {
    static constexpr std::size_t count = lanes::count<float>;
    using Samples [[gnu::vector_size(count * sizeof(T))]] = T;
    using Floats = lanes::F32;

    static Floats load(const T* from) noexcept { return __builtin_convertvector(lanes::load<Samples>(from), Floats); }

    /// roundTo: half added by sign in single precision (equal to the wider sum rounded once, since that is exact
    /// wherever it could matter), clamped, truncated; NaN gives 0.
    static Samples round(Floats x) noexcept {
#if defined(__AVX512BW__)
        if constexpr (std::is_same_v<T, std::int16_t>) return roundToShorts(x);
#endif
        const Floats zero = {};
        Floats half = x + (x >= zero ? zero + 0.5F : zero - 0.5F);
        half = half == half ? half : zero;
        half = half < lowest<T> + zero ? lowest<T> + zero : half;
        half = half > highest<T> + zero ? highest<T> + zero : half;
        const lanes::I32 whole = __builtin_convertvector(half, lanes::I32);
        return __builtin_convertvector(whole, Samples);
    }

#if defined(__AVX512BW__)
private:
    /// The same in fewer steps: the half takes the sign bit of x, what is too low saturates as it narrows. The forms
    /// with masks are for compilers that take the plain ones' unset operand for a fault.
    static Samples roundToShorts(Floats x) noexcept {
        constexpr __mmask16 all = 0xffff;
        constexpr std::uint32_t half = 0x3f000000;
        const Floats sum = x + (Floats)(((lanes::U32)x & 0x80000000U) | half);
        const __m512 capped = _mm512_maskz_min_ps(all, (__m512)sum, _mm512_set1_ps(highest<std::int16_t>));
        const __mmask16 numbers = _mm512_cmp_ps_mask((__m512)sum, (__m512)sum, _CMP_ORD_Q);
        return (Samples)_mm512_maskz_cvtsepi32_epi16(all, _mm512_maskz_cvttps_epi32(numbers, capped));
    }
#endif
};

/// to[i] = op(samples from from + i as floats, those of the patterns for their bands...) of FloatLanes<T>. `to` may be
/// `from`.
template <class T, class Op, class... Patterns>
void mapFloatsWithBands(T* to, const T* from, std::size_t samples, Op op, const Patterns&... patterns) noexcept {
    using Lanes = FloatLanes<T>;
    overPeriods(samples, std::min({patterns.period()...}), [&](std::size_t first, std::size_t count) {
        T* const d = to + first;
        const T* const s = from + first;
        std::size_t i = 0;
        for (; i + Lanes::count <= count; i += Lanes::count) {
            lanes::store(d + i, op(Lanes::load(s + i), lanes::load<typename Lanes::Floats>(patterns.get() + i)...));
        }
        if (i == count) return;
        T rest[Lanes::count] = {};
        std::memcpy(rest, s + i, (count - i) * sizeof(T));
        // A pattern's storage holds whole vectors.
        lanes::store(rest, op(Lanes::load(rest), lanes::load<typename Lanes::Floats>(patterns.get() + i)...));
        std::memcpy(d + i, rest, (count - i) * sizeof(T));
    });
}

} // namespace orvi
