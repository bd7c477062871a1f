// How the vectors of a strip are summed: the sums of sums.h, many at a time, with the same result to the bit.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>

#include "memory/filter/strips.h"
#include "memory/filter/sums.h"

namespace orvi {

#if defined(__FMA__)
inline constexpr bool hasFusedMultiplyAdd = true;
#else
inline constexpr bool hasFusedMultiplyAdd = false;
#endif

/// a * b + c, rounded once where the build has an instruction for it: for use where that makes no difference.
template <class V>
inline V multiplyAdd(V a, V b, V c) noexcept {
#if defined(__AVX512F__)
    if constexpr (sizeof(V) == 64 && sizeof(a[0]) == 4) return (V)_mm512_fmadd_ps((__m512)a, (__m512)b, (__m512)c);
    if constexpr (sizeof(V) == 64 && sizeof(a[0]) == 8) return (V)_mm512_fmadd_pd((__m512d)a, (__m512d)b, (__m512d)c);
#elif defined(__FMA__)
    if constexpr (sizeof(a[0]) == 4) return (V)_mm256_fmadd_ps((__m256)a, (__m256)b, (__m256)c);
    if constexpr (sizeof(a[0]) == 8) return (V)_mm256_fmadd_pd((__m256d)a, (__m256d)b, (__m256d)c);
#endif
    return a * b + c;
}

/// Sums rounded half away from zero and cut to the range of T; what is not a number becomes the lowest value.
template <class T, class Floats>
inline auto roundedSamples(Floats sum) noexcept {
    using Ints [[gnu::vector_size(sizeof(Floats))]] = std::int32_t;
    const Floats zero{};
    const Floats low = zero + static_cast<float>(lowest<T>);
    const Floats high = zero + static_cast<float>(highest<T>);
    Floats rounded = sum + (sum < zero ? zero - 0.5F : zero + 0.5F);
    rounded = rounded > high ? high : rounded;
    rounded = rounded >= low ? rounded : low;
    return __builtin_convertvector(rounded, Ints);
}

/// Sums of products in one precision.
template <class Float>
struct ProductSums {
    using Element = Float;
    using Tap = Float;
    using Vector = typename Lanes<Float>::Vector;
    static Vector start() noexcept { return Vector{}; }
    static Vector add(Vector sum, Vector samples, Float tap) noexcept {
        return multiplyAdd(samples, Vector{} + tap, sum);
    }
};
using FloatSums = ProductSums<float>;

/// Rounded to single precision after every weight, where the products and sums are exact enough (see SumFacts).
template <class T>
struct FloatRule : FloatSums {
    static auto finish(Vector sum) noexcept { return roundedSamples<T>(sum); }
};

/// Set samples of bits set one half; weights are finite.
struct BitRule : FloatSums {
    static auto finish(Vector sum) noexcept {
        const Lanes<float>::Ints below = sum < 0.5F;
        return below + 1;
    }
};

/// The same for every kernel. The product of a sample and a weight is exact in double precision.
template <class T>
struct RoundedRule {
    using Element = double;
    using Tap = double;
    using Vector = Lanes<double>::Vector;
    using Floats = Lanes<double>::Floats;
    static Vector start() noexcept { return Vector{}; }
    static Vector add(Vector sum, Vector samples, double tap) noexcept {
        return convertLanes<Vector>(convertLanes<Floats>(multiplyAdd(samples, Vector{} + tap, sum)));
    }
    static auto finish(Vector sum) noexcept { return roundedSamples<T>(convertLanes<Floats>(sum)); }
};

/// Sums that are rounded to single precision after every weight, had from multiply-adds in single precision. They come
/// near: a vector with a sum so close to the middle between two levels that it might round the other way is doubtful,
/// and is made anew by the rule `Exact`.
template <class T>
struct NearRule : FloatRule<T> {
    using typename FloatSums::Vector;
    using Exact = RoundedRule<T>;
    static bool doubtful(Vector sum, float doubt) noexcept {
        constexpr float whole = 0x1.8p23F; // floats of this size have no fraction
        const Vector raised = sum + 0.5F;
        const Vector off = raised - ((raised + whole) - whole);
        return anyBelow(off < 0.0F ? -off : off, doubt);
    }
};

/// Rounded to single precision once.
template <class T>
struct WholeRule : ProductSums<double> {
    static auto finish(Vector sum) noexcept { return roundedSamples<T>(convertLanes<Lanes<double>::Floats>(sum)); }
};

/// A weight as (sample * factor) >> shift with a sign: the product in 16.16 fixed point, truncated toward zero.
struct FixedTap {
    std::uint32_t factor = 0;
    std::uint32_t sign = 0; ///< all bits of a negative weight
    int shift = 0;

    FixedTap() noexcept = default;
    explicit FixedTap(float tap) noexcept {
        if (!std::isfinite(tap) || tap == 0) return;
        int exponent = 0;
        const auto mantissa = static_cast<std::uint32_t>(std::ldexp(std::frexp(std::fabs(tap), &exponent), 24));
        sign = tap < 0 ? ~0U : 0U;
        const int right = 8 - exponent;
        if (right > 31 || right < -31) return; // nothing of any product is within the 32 bits
        factor = right < 0 ? mantissa << -right : mantissa;
        shift = right < 0 ? 0 : right;
    }
};

/// Sums in fixed point, rounded down to a byte.
template <class Ints>
inline Ints fixedSamples(Ints sum) noexcept {
    const Ints zero{};
    const Ints level = sum >> 16;
    const Ints low = level < zero ? zero : level;
    return low > 255 ? zero + 255 : low;
}

/// Truncated fixed-point products in 32-bit integers.
struct FixedRule {
    using Element = std::uint32_t;
    using Tap = FixedTap;
    using Vector = Lanes<std::uint32_t>::Vector;
    static Vector start() noexcept { return Vector{}; }
    static Vector add(Vector sum, Vector samples, FixedTap tap) noexcept {
        return sum + ((((samples * tap.factor) >> tap.shift) ^ tap.sign) - tap.sign);
    }
    static auto finish(Vector sum) noexcept { return fixedSamples((Lanes<std::uint32_t>::Ints)sum); }
};

/// Fixed-point products of weights that leave no fraction, where all sums are exact in single precision: rounded down.
struct FloorRule : FloatSums {
    static auto finish(Vector sum) noexcept {
        const Vector zero{};
        const Vector low = sum > zero ? sum : zero;
        return __builtin_convertvector(low < zero + 255.0F ? low : zero + 255.0F, Lanes<float>::Ints);
    }
};

#if defined(__AVX512F__)
/// Truncated products in floats whose last bit counts 1, a row of the window at a time: what DirectedRule does, with
/// twice the lanes, for kernels whose rows weigh little enough. Without negative weights the sums may take the whole
/// range of such floats, else half of it to either side.
template <bool Negative>
struct RowRule {
    using Element = float;
    using Tap = float; ///< the weight in units of 1/65536
    using Vector = Lanes<float>::Vector;
    using RowSums = Lanes<float>::Ints;
    static constexpr float unit = Negative ? 0x1.8p23F : 0x1p23F;
    static Vector start() noexcept { return Vector{} + unit; }
    static Vector add(Vector sum, Vector samples, float tap) noexcept {
        const Vector weight = Vector{} + tap;
        if (Negative && tap < 0) {
            return _mm512_fmadd_round_ps(samples, weight, sum, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
        }
        return _mm512_fmadd_round_ps(samples, weight, sum, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    }
    static RowSums addRow(RowSums sums, Vector row) noexcept { return sums + ((RowSums)row - (RowSums)start()); }
    static auto finish(RowSums sums) noexcept { return fixedSamples(sums); }
};

/// The same in doubles whose last bit counts 1: a multiply-add that rounds down, for a negative weight up, truncates
/// its product and adds it in one instruction. `Mixed` is for kernels with negative weights that leave a fraction;
/// without those, rounding down serves all.
template <bool Mixed>
struct DirectedRule {
    using Element = double;
    using Tap = double; ///< the weight in units of 1/65536
    using Vector = Lanes<double>::Vector;
    static constexpr double unit = 0x1.8p52;
    static Vector start() noexcept { return Vector{} + unit; }
    static Vector add(Vector sum, Vector samples, double tap) noexcept {
        const Vector weight = Vector{} + tap;
        if (Mixed && tap < 0) {
            return _mm512_fmadd_round_pd(samples, weight, sum, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
        }
        return _mm512_fmadd_round_pd(samples, weight, sum, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    }
    static auto finish(Vector sum) noexcept {
        using Longs [[gnu::vector_size(sizeof(Vector))]] = std::int64_t;
        return fixedSamples(__builtin_convertvector((Longs)sum, Lanes<double>::Ints));
    }
};
#endif

/// What decides which rule gives a kernel's sums.
struct SumFacts {
    double magnitude = 0;   ///< the sum of the weights without their signs; not a number where a weight is not
    double grain = 1;       ///< all weights are multiples of this power of two
    bool fractions = false; ///< some negative weight is no multiple of 1/65536
    bool negative = false;  ///< some weight is negative

    explicit SumFacts(std::span<const float> taps) noexcept {
        bool any = false;
        for (const float tap : taps) {
            magnitude += std::fabs(static_cast<double>(tap));
            if (tap == 0 || !std::isfinite(tap)) continue;
            int exponent = 0;
            const double mantissa = std::ldexp(std::frexp(std::fabs(tap), &exponent), 24);
            const int zeros = std::countr_zero(static_cast<std::uint32_t>(mantissa));
            const double own = std::ldexp(1.0, exponent - 24 + zeros);
            grain = any ? std::min(grain, own) : own;
            any = true;
            fractions = fractions || (tap < 0 && own < 0x1p-16);
            negative = negative || tap < 0;
        }
    }

    /// Whether every product and sum of samples up to `largest` fits `bits` bits, so that no rounding takes place at
    /// that precision (with one bit to spare for sums that were rounded to fewer).
    bool exactWithin(double largest, int bits) const noexcept {
        const double reach = largest * magnitude;
        return reach < std::ldexp(grain, bits - 1) && reach < 0x1p126;
    }
    /// Whether truncated fixed-point products of bytes are whole, and their sum is exact in single precision.
    bool floorServes() const noexcept { return grain >= 0x1p-16 && 255 * magnitude < 32768 && exactWithin(255, 24); }
    /// Whether multiply-adds in single precision give the sums that are rounded after every weight.
    bool floatServes(double largest) const noexcept { return exactWithin(largest, hasFusedMultiplyAdd ? 53 : 24); }
    /// Whether sums of bytes never fall from one weight to the next, nor rise to where floats have no fraction.
    bool growing() const noexcept { return !negative && magnitude < 4096; }
};

/// How often a sum of bytes with weights that are not negative may differ, by a unit in its last place, between
/// multiply-adds in single precision and products and sums in double, rounded to single after every weight. What once
/// differs by a unit goes on differing by no more.
///
/// A fused multiply-add rounds once what the other rounds twice, which differs only where the exact sum lies beside the
/// middle between two floats, by 2^-30 of their distance at most. Unless the product is some 2^27 times the sum so far
/// (11 times in all the range of floats), that sum is a multiple of half the distance: then the product, of 32 bits,
/// itself lies within 4 units of a multiple of 2^29. No product of most kernels does.
inline double unlikeRoundings(std::span<const float> taps) noexcept {
    if (!hasFusedMultiplyAdd) return 1.5 * static_cast<double>(taps.size());
    const auto nearMiddle = [](float tap) {
        int exponent = 0;
        const auto mantissa = static_cast<std::uint32_t>(std::ldexp(std::frexp(tap, &exponent), 24));
        bool any = false;
        for (std::uint32_t sample = 1; sample < 256; ++sample) {
            const std::uint32_t product = sample * mantissa;
            const std::uint32_t beside = (product + 4) & ((1U << 29) - 1);
            any |= product >= 1U << 28 && beside <= 8 && beside != 4;
        }
        return any;
    };
    return 11 + static_cast<double>(std::count_if(taps.begin(), taps.end(), nearMiddle));
}

} // namespace orvi
