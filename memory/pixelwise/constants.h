// Float parameters, one a band, as the arithmetic takes them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/apart_rows.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"

namespace orvi {

/// NaN counts as 0.
constexpr float constantOf(float value) noexcept { return value == value ? value : 0.0F; }

#if defined(__AVX512BW__)
/// Half added away from zero: the half takes the sign bit. The forms with masks are for compilers that take the plain
/// ones' unset operand for a fault.
inline lanes::F32 withHalf(lanes::F32 x) noexcept {
    constexpr int signOrThird = 0xea;
    const __m512i half = _mm512_ternarylogic_epi32((__m512i)x, _mm512_set1_epi32(lowest<std::int32_t>),
                                                   (__m512i)_mm512_set1_ps(0.5F), signOrThird);
    return x + (lanes::F32)half;
}

/// A vector of floats as shorts, rounded as roundTo does, but that what is too low saturates only as it narrows.
inline lanes::I32 roundedShort(lanes::F32 x) noexcept {
    constexpr __mmask16 all = 0xffff;
    const lanes::F32 sum = withHalf(x);
    const __m512 capped = _mm512_maskz_min_ps(all, (__m512)sum, _mm512_set1_ps(highest<std::int16_t>));
    const __mmask16 numbers = _mm512_cmp_ps_mask((__m512)sum, (__m512)sum, _CMP_ORD_Q);
    return (lanes::I32)_mm512_maskz_cvttps_epi32(numbers, capped);
}
#endif

/// What is known of the floats that become shorts.
enum class Floats {
    any,
    small, ///< numbers up to smallLimit
};
inline constexpr float smallLimit = 0x1p30F;

#if defined(__AVX512BW__)
/// The same, of small ones too high or too low as they come: they saturate as they narrow.
template <Floats known>
inline lanes::I32 toShort(lanes::F32 x) noexcept {
    return known == Floats::small ? lanes::truncate(withHalf(x)) : roundedShort(x);
}
#endif

/// dst = op(src1 as a float, the values), rounded, for images of one band with a gap of a sample; false where they are
/// not such.
template <class Op, class... Values>
bool mappedRoundedWords([[maybe_unused]] Frame& frame, [[maybe_unused]] Op op,
                        [[maybe_unused]] Values... values) noexcept {
#if defined(__AVX512BW__)
    using T = std::int16_t;
    const auto rounded = [&](lanes::I32 words) {
        const lanes::I32 samples = words << 16 >> 16;
        return lanes::larger<lanes::I32>(roundedShort(op(lanes::toFloat(samples), lanes::F32{} + values...)),
                                         lanes::I32{} + lowest<T>);
    };
    return commonBands(frame[dst], frame[src1]) == 1 &&
           mappedWords<lanes::I32>(frame.rects(), rounded, ImageOf<T>{frame[dst]}, ImageOf<T>{frame[src1]});
#else
    return false;
#endif
}

/// Two vectors of floats as shorts, rounded as roundTo does: half added by sign in single precision (equal to the wider
/// sum rounded once, since that is exact wherever it could matter), clamped, truncated; NaN gives 0.
template <Floats known>
inline void storeRounded(std::int16_t* to, lanes::F32 first, lanes::F32 second) noexcept {
#if defined(__AVX512BW__)
    // Narrowing takes turns with the quarters of its operands.
    const lanes::Raw inTurns =
        _mm512_packs_epi32((lanes::Raw)toShort<known>(first), (lanes::Raw)toShort<known>(second));
    const lanes::Raw order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
    lanes::store(to, _mm512_maskz_permutexvar_epi64(0xff, order, inTurns));
#else
    constexpr float low = lowest<std::int16_t>;
    constexpr float high = highest<std::int16_t>;
    lanes::storeIntegers(to, lanes::rounded(first, low, high));
    lanes::storeIntegers(to + lanes::count<float>, lanes::rounded(second, low, high));
#endif
}

/// to[i] = op(from[i] as a float, the patterns' values for its band...), rounded. `to` may be `from`. Every other
/// vector of floats may be made in another way.
template <Floats known, class Op, class Other, class... Patterns>
void mapRoundedInTurns(std::int16_t* to, const std::int16_t* from, std::size_t samples, Op op, Other other,
                       const Patterns&... patterns) noexcept {
    constexpr std::size_t half = lanes::count<float>;
    const auto two = [&](std::int16_t* d, const std::int16_t* s, std::size_t i) {
        const lanes::F32 first =
            op(lanes::toFloat(lanes::integersOf(s)), lanes::load<lanes::F32>(patterns.get() + i)...);
        const lanes::F32 second =
            other(lanes::toFloat(lanes::integersOf(s + half)), lanes::load<lanes::F32>(patterns.get() + i + half)...);
        storeRounded<known>(d, first, second);
    };
    overPeriods(samples, std::min({patterns.period()...}), [&](std::size_t first, std::size_t count) {
        std::int16_t* const d = to + first;
        const std::int16_t* const s = from + first;
        std::size_t i = 0;
        for (; i + 2 * half <= count; i += 2 * half) {
            fetchAhead<1>(s + i);
            two(d + i, s + i, i);
        }
        if (i == count) return;
        std::int16_t rest[2 * half] = {};
        std::memcpy(rest, s + i, (count - i) * sizeof *s);
        two(rest, rest, i);
        std::memcpy(d + i, rest, (count - i) * sizeof *d);
    });
}

template <Floats known, class Op, class... Patterns>
void mapRounded(std::int16_t* to, const std::int16_t* from, std::size_t samples, Op op,
                const Patterns&... patterns) noexcept {
    mapRoundedInTurns<known>(to, from, samples, op, op, patterns...);
}

} // namespace orvi
