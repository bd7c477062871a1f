// Vectors of the numbers that samples are summed in.
#pragma once

#include <cstdint>
#include <type_traits>

#include "memory/frame/lanes.h"

namespace orvi {

/// A vector of `Element` and integers of as many lanes.
template <class Element>
struct Lanes {
    static constexpr std::size_t count = lanes::vectorBytes / sizeof(Element);
    using Vector [[gnu::vector_size(lanes::vectorBytes)]] = Element;
    using Ints [[gnu::vector_size(count * sizeof(std::int32_t))]] = std::int32_t;
    using Floats [[gnu::vector_size(count * sizeof(float))]] = float;
};

/// As many samples as `Ints` has lanes, as integers, and integers in the range of a sample as samples. Compilers take
/// conversions of vectors of unlike sizes apart, lane by lane.
template <class Ints, class T>
inline Ints loadSamples(const T* from) noexcept {
#if defined(__AVX512BW__) && defined(__AVX512VL__)
    constexpr bool bytes = sizeof(T) == 1;
    if constexpr (sizeof(Ints) == 64 && bytes) {
        return (Ints)_mm512_maskz_cvtepu8_epi32(0xffff, _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
    } else if constexpr (sizeof(Ints) == 64) {
        return (Ints)_mm512_maskz_cvtepi16_epi32(0xffff, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
    } else if constexpr (bytes) {
        return (Ints)_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
    } else {
        return (Ints)_mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
    }
#else
    using Packed [[gnu::vector_size(sizeof(Ints) / sizeof(std::int32_t) * sizeof(T))]] = T;
    return __builtin_convertvector(lanes::load<Packed>(from), Ints);
#endif
}
template <class T, class Ints>
inline void storeSamples(T* to, Ints values) noexcept {
#if defined(__AVX512BW__) && defined(__AVX512VL__)
    constexpr bool bytes = sizeof(T) == 1;
    if constexpr (sizeof(Ints) == 64 && bytes) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm512_maskz_cvtepi32_epi8(0xffff, (__m512i)values));
    } else if constexpr (sizeof(Ints) == 64) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_maskz_cvtepi32_epi16(0xffff, (__m512i)values));
    } else if constexpr (bytes) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm256_maskz_cvtepi32_epi8(0xff, (__m256i)values));
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_maskz_cvtepi32_epi16(0xff, (__m256i)values));
    }
#else
    using Packed [[gnu::vector_size(sizeof(Ints) / sizeof(std::int32_t) * sizeof(T))]] = T;
    lanes::store(to, __builtin_convertvector(values, Packed));
#endif
}

/// Conversions between lanes, which the compiler takes apart into single samples where the vectors differ in size.
template <class To, class From>
inline To convertLanes(From from) noexcept {
#if defined(__AVX512F__)
    using Source = std::remove_cvref_t<decltype(from[0])>;
    using Target = std::remove_cvref_t<decltype(To{}[0])>;
    if constexpr (std::is_same_v<Source, double> && std::is_same_v<Target, float>) {
        return (To)_mm512_maskz_cvtpd_ps(0xff, (__m512d)from);
    } else if constexpr (std::is_same_v<Source, float> && std::is_same_v<Target, double>) {
        return (To)_mm512_maskz_cvtps_pd(0xff, (__m256)from);
    } else if constexpr (std::is_same_v<Source, std::int32_t> && std::is_same_v<Target, double>) {
        return (To)_mm512_maskz_cvtepi32_pd(0xff, (__m256i)from);
    } else {
        return __builtin_convertvector(from, To);
    }
#else
    return __builtin_convertvector(from, To);
#endif
}

// Products of shorts, summed in pairs.

/// The samples of two vectors in turn, in two vectors; which come first is the instruction set's affair, and
/// lanes::narrow undoes it.
inline lanes::Pair<lanes::I16> inTurn(lanes::I16 a, lanes::I16 b) noexcept {
#if defined(__SSE2__)
    return {(lanes::I16)ORV_LANES(unpacklo_epi16)((lanes::Raw)a, (lanes::Raw)b),
            (lanes::I16)ORV_LANES(unpackhi_epi16)((lanes::Raw)a, (lanes::Raw)b)};
#else
    constexpr std::size_t half = lanes::count<std::int16_t> / 2;
    lanes::Pair<lanes::I16> result;
    for (std::size_t i = 0; i < half; ++i) {
        result.first[2 * i] = a[i];
        result.first[2 * i + 1] = b[i];
        result.second[2 * i] = a[half + i];
        result.second[2 * i + 1] = b[half + i];
    }
    return result;
#endif
}

/// The products of two neighbours each, added up.
inline lanes::I32 pairProducts(lanes::I16 a, lanes::I16 b) noexcept {
#if defined(__SSE2__)
    return (lanes::I32)ORV_LANES(madd_epi16)((lanes::Raw)a, (lanes::Raw)b);
#else
    lanes::I32 result;
    for (std::size_t i = 0; i < lanes::count<std::int32_t>; ++i) {
        result[i] = int{a[2 * i]} * b[2 * i] + int{a[2 * i + 1]} * b[2 * i + 1];
    }
    return result;
#endif
}

/// The upper halves of products.
inline lanes::I16 upperProducts(lanes::I16 a, lanes::I16 b) noexcept {
#if defined(__SSE2__)
    return (lanes::I16)ORV_LANES(mulhi_epi16)((lanes::Raw)a, (lanes::Raw)b);
#else
    return lanes::eachSample(a, b, [](int x, int y) { return static_cast<std::int16_t>(x * y >> 16); });
#endif
}

/// Whether some lane of two vectors is below a limit.
inline bool someBelow(lanes::I32 a, lanes::I32 b, std::int32_t limit) noexcept {
#if defined(__AVX512BW__)
    const __m512i limits = _mm512_set1_epi32(limit);
    return _mm512_kortestz(_mm512_cmplt_epi32_mask((__m512i)a, limits), _mm512_cmplt_epi32_mask((__m512i)b, limits)) ==
           0;
#elif defined(__AVX2__)
    return _mm256_movemask_epi8((__m256i)((a < limit) | (b < limit))) != 0;
#elif defined(__SSE2__)
    return _mm_movemask_epi8((__m128i)((a < limit) | (b < limit))) != 0;
#else
    return lanes::any((a < limit) | (b < limit));
#endif
}

/// The lanes that are set, a bit each.
inline std::uint32_t lanesOf(lanes::I32 set) noexcept {
#if defined(__AVX512BW__)
    return _mm512_movepi32_mask((__m512i)set);
#elif defined(__AVX2__)
    return static_cast<std::uint32_t>(_mm256_movemask_ps((__m256)set));
#elif defined(__SSE2__)
    return static_cast<std::uint32_t>(_mm_movemask_ps((__m128)set));
#else
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < lanes::count<std::int32_t>; ++i) bits |= set[i] != 0 ? 1U << i : 0U;
    return bits;
#endif
}

/// Whether some lane is below a limit, or not a number.
inline bool anyBelow(Lanes<float>::Vector values, float limit) noexcept {
#if defined(__AVX512F__)
    return _mm512_cmp_ps_mask((__m512)values, _mm512_set1_ps(limit), _CMP_NGE_UQ) != 0;
#elif defined(__AVX2__)
    return _mm256_movemask_ps(_mm256_cmp_ps((__m256)values, _mm256_set1_ps(limit), _CMP_NGE_UQ)) != 0;
#elif defined(__SSE2__)
    return _mm_movemask_ps(_mm_cmpnge_ps((__m128)values, _mm_set1_ps(limit))) != 0;
#else
    bool any = false;
    for (std::size_t i = 0; i < Lanes<float>::count; ++i) any = any || !(values[i] >= limit);
    return any;
#endif
}

} // namespace orvi
