// Vectors of samples, as wide as the instruction set has them, and the few operations on them that compilers do not
// find by themselves. Arithmetic, comparison, shifts and ?: come with the vector types. Each helper has its plain form
// beside it: the overload for a single sample, or the namespace `plain`; both give the same result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "memory/frame/numbers.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace orvi::lanes {

#if defined(__AVX512BW__)
inline constexpr std::size_t vectorBytes = 64;
using Raw = __m512i;
#define ORV_LANES(name) _mm512_##name
#elif defined(__AVX2__)
inline constexpr std::size_t vectorBytes = 32;
using Raw = __m256i;
#define ORV_LANES(name) _mm256_##name
#else
inline constexpr std::size_t vectorBytes = 16;
#if defined(__SSE2__)
using Raw = __m128i;
#define ORV_LANES(name) _mm_##name
#endif
#endif

using U8 [[gnu::vector_size(vectorBytes)]] = std::uint8_t;
using I8 [[gnu::vector_size(vectorBytes)]] = std::int8_t;
using U16 [[gnu::vector_size(vectorBytes)]] = std::uint16_t;
using I16 [[gnu::vector_size(vectorBytes)]] = std::int16_t;
using U32 [[gnu::vector_size(vectorBytes)]] = std::uint32_t;
using I32 [[gnu::vector_size(vectorBytes)]] = std::int32_t;
using U64 [[gnu::vector_size(vectorBytes)]] = std::uint64_t;
using F32 [[gnu::vector_size(vectorBytes)]] = float;

template <class T>
struct VectorOf {
    using type [[gnu::vector_size(vectorBytes)]] = T;
};
/// The vector of samples of a type.
template <class T>
using Vec = typename VectorOf<T>::type;

/// Samples in a vector.
template <class T>
inline constexpr std::size_t count = vectorBytes / sizeof(T);

/// A value or vector from any address.
template <class V>
inline V load(const void* from) noexcept {
    V value;
    std::memcpy(&value, from, sizeof value);
    return value;
}
template <class V>
inline void store(void* to, V value) noexcept {
    std::memcpy(to, &value, sizeof value);
}

/// The same byte in every byte of an unsigned integer or of a vector of 64-bit words.
template <class W>
inline W everyByte(std::uint64_t byte) noexcept {
    const std::uint64_t word = (byte & 0xff) * 0x0101010101010101ULL;
    if constexpr (std::is_integral_v<W>) {
        return static_cast<W>(word);
    } else {
        return word - W{};
    }
}

// Smaller and larger.

template <class T>
inline T smaller(T a, T b) noexcept {
    return a < b ? a : b;
}
template <class T>
inline T larger(T a, T b) noexcept {
    return a > b ? a : b;
}

// Saturating sums, differences and products of bytes and shorts.

inline std::uint8_t addSaturated(std::uint8_t a, std::uint8_t b) noexcept { return saturate<std::uint8_t>(a + b); }
inline std::int16_t addSaturated(std::int16_t a, std::int16_t b) noexcept { return saturate<std::int16_t>(a + b); }
inline std::uint8_t subtractSaturated(std::uint8_t a, std::uint8_t b) noexcept { return saturate<std::uint8_t>(a - b); }
inline std::int16_t subtractSaturated(std::int16_t a, std::int16_t b) noexcept { return saturate<std::int16_t>(a - b); }
inline std::uint8_t multiplySaturated(std::uint8_t a, std::uint8_t b) noexcept { return saturate<std::uint8_t>(a * b); }
inline std::int16_t multiplySaturated(std::int16_t a, std::int16_t b) noexcept { return saturate<std::int16_t>(a * b); }

/// A vector's samples in two vectors of samples twice as wide. Which goes where is the instruction set's affair: the
/// same for all pairs, and undone by narrow.
template <class V>
struct Pair {
    V first;
    V second;
};

#if defined(__SSE2__)

inline U8 addSaturated(U8 a, U8 b) noexcept { return (U8)ORV_LANES(adds_epu8)((Raw)a, (Raw)b); }
inline I16 addSaturated(I16 a, I16 b) noexcept { return (I16)ORV_LANES(adds_epi16)((Raw)a, (Raw)b); }
inline U8 subtractSaturated(U8 a, U8 b) noexcept { return (U8)ORV_LANES(subs_epu8)((Raw)a, (Raw)b); }
inline I16 subtractSaturated(I16 a, I16 b) noexcept { return (I16)ORV_LANES(subs_epi16)((Raw)a, (Raw)b); }

inline Pair<U16> widen(U8 v) noexcept {
    const Raw zero{};
    return {(U16)ORV_LANES(unpacklo_epi8)((Raw)v, zero), (U16)ORV_LANES(unpackhi_epi8)((Raw)v, zero)};
}
inline Pair<I32> widen(U16 v) noexcept {
    const Raw zero{};
    return {(I32)ORV_LANES(unpacklo_epi16)((Raw)v, zero), (I32)ORV_LANES(unpackhi_epi16)((Raw)v, zero)};
}
inline Pair<I32> widen(I16 v) noexcept {
    return {(I32)ORV_LANES(unpacklo_epi16)((Raw)v, (Raw)v) >> 16, (I32)ORV_LANES(unpackhi_epi16)((Raw)v, (Raw)v) >> 16};
}
inline U8 narrow(Pair<I16> v) noexcept { return (U8)ORV_LANES(packus_epi16)((Raw)v.first, (Raw)v.second); }
inline I16 narrow(Pair<I32> v) noexcept { return (I16)ORV_LANES(packs_epi32)((Raw)v.first, (Raw)v.second); }

inline U8 multiplySaturated(U8 a, U8 b) noexcept {
    const Pair<U16> x = widen(a);
    const Pair<U16> y = widen(b);
    return narrow(Pair<I16>{(I16)smaller<U16>(x.first * y.first, 255 - U16{}),
                            (I16)smaller<U16>(x.second * y.second, 255 - U16{})});
}
inline I16 multiplySaturated(I16 a, I16 b) noexcept {
    const Raw low = ORV_LANES(mullo_epi16)((Raw)a, (Raw)b);
    const Raw high = ORV_LANES(mulhi_epi16)((Raw)a, (Raw)b);
    return narrow(Pair<I32>{(I32)ORV_LANES(unpacklo_epi16)(low, high), (I32)ORV_LANES(unpackhi_epi16)(low, high)});
}

/// 1 / v within a factor of 1 +- 1.5/4096; infinite for 0.
inline F32 reciprocalEstimate(F32 v) noexcept {
#if defined(__AVX512BW__)
    return (F32)_mm512_maskz_rcp14_ps(0xffff, (__m512)v);
#elif defined(__AVX2__)
    return (F32)_mm256_rcp_ps((__m256)v);
#else
    return (F32)_mm_rcp_ps((__m128)v);
#endif
}

/// Truncated; the lowest integer where none holds the value.
inline I32 truncate(F32 v) noexcept {
#if defined(__AVX512BW__)
    return (I32)_mm512_maskz_cvttps_epi32(0xffff, (__m512)v);
#elif defined(__AVX2__)
    return (I32)_mm256_cvttps_epi32((__m256)v);
#else
    return (I32)_mm_cvttps_epi32((__m128)v);
#endif
}

#else

template <class V>
inline V eachSample(V a, V b, auto op) noexcept {
    V result;
    for (std::size_t i = 0; i < sizeof(V) / sizeof(a[0]); ++i) result[i] = op(a[i], b[i]);
    return result;
}
template <class Wide, class V>
inline Pair<Wide> halves(V v) noexcept {
    constexpr std::size_t n = sizeof(Wide) / sizeof(Wide{}[0]);
    Pair<Wide> result;
    for (std::size_t i = 0; i < n; ++i) {
        result.first[i] = v[i];
        result.second[i] = v[n + i];
    }
    return result;
}
template <class V, class Wide>
inline V joined(Pair<Wide> v) noexcept {
    constexpr std::size_t n = sizeof(Wide) / sizeof(Wide{}[0]);
    using T = std::remove_cvref_t<decltype(V{}[0])>;
    V result;
    for (std::size_t i = 0; i < n; ++i) {
        result[i] = saturate<T>(v.first[i]);
        result[n + i] = saturate<T>(v.second[i]);
    }
    return result;
}

inline U8 addSaturated(U8 a, U8 b) noexcept { return a + smaller<U8>(b, ~a); }
inline U8 subtractSaturated(U8 a, U8 b) noexcept { return a - smaller<U8>(a, b); }
inline I16 addSaturated(I16 a, I16 b) noexcept {
    return eachSample(a, b, [](std::int16_t x, std::int16_t y) { return addSaturated(x, y); });
}
inline I16 subtractSaturated(I16 a, I16 b) noexcept {
    return eachSample(a, b, [](std::int16_t x, std::int16_t y) { return subtractSaturated(x, y); });
}
inline U8 multiplySaturated(U8 a, U8 b) noexcept {
    return eachSample(a, b, [](std::uint8_t x, std::uint8_t y) { return multiplySaturated(x, y); });
}
inline I16 multiplySaturated(I16 a, I16 b) noexcept {
    return eachSample(a, b, [](std::int16_t x, std::int16_t y) { return multiplySaturated(x, y); });
}
inline Pair<U16> widen(U8 v) noexcept { return halves<U16>(v); }
inline Pair<I32> widen(U16 v) noexcept { return halves<I32>(v); }
inline Pair<I32> widen(I16 v) noexcept { return halves<I32>(v); }
inline U8 narrow(Pair<I16> v) noexcept { return joined<U8>(v); }
inline I16 narrow(Pair<I32> v) noexcept { return joined<I16>(v); }
inline F32 reciprocalEstimate(F32 v) noexcept { return 1.0F / v; }
inline I32 truncate(F32 v) noexcept {
    constexpr float limit = 2147483648.0F;
    I32 result;
    for (std::size_t i = 0; i < count<float>; ++i) {
        result[i] = v[i] >= -limit && v[i] < limit ? static_cast<std::int32_t>(v[i]) : lowest<std::int32_t>;
    }
    return result;
}

#endif

/// Whether multiplyAdd is there: one rounding for product and sum.
#if defined(__FMA__) && (defined(__AVX512BW__) || defined(__AVX2__))
inline constexpr bool hasMultiplyAdd = true;
inline F32 multiplyAdd(F32 a, F32 b, F32 c) noexcept {
#if defined(__AVX512BW__)
    return (F32)_mm512_fmadd_ps((__m512)a, (__m512)b, (__m512)c);
#else
    return (F32)_mm256_fmadd_ps((__m256)a, (__m256)b, (__m256)c);
#endif
}
#else
inline constexpr bool hasMultiplyAdd = false;
inline F32 multiplyAdd(F32 a, F32 b, F32 c) noexcept { return a * b + c; }
#endif

/// a * b + c in double, rounded to single. multiplyAdd gives the same wherever the product and the sum are exact in
/// double.
inline F32 multiplyAddInDouble(F32 a, F32 b, F32 c) noexcept {
    using Doubles [[gnu::vector_size(2 * vectorBytes)]] = double;
    return __builtin_convertvector(__builtin_convertvector(a, Doubles) * __builtin_convertvector(b, Doubles) +
                                       __builtin_convertvector(c, Doubles),
                                   F32);
}

inline F32 toFloat(I32 v) noexcept { return __builtin_convertvector(v, F32); }

// As many samples as a vector has integers, widened; and integers in their range narrowed to samples.

template <class T>
struct Narrow {
    using type [[gnu::vector_size(count<std::int32_t> * sizeof(T))]] = T;
};
template <class T>
inline I32 integersOf(const T* from) noexcept {
#if defined(__AVX512BW__)
    // The plain conversion takes such a vector apart.
    constexpr __mmask16 all = 0xffff;
    if constexpr (sizeof(T) == 1) return (I32)_mm512_maskz_cvtepu8_epi32(all, load<__m128i>(from));
    if constexpr (sizeof(T) == 2) return (I32)_mm512_maskz_cvtepi16_epi32(all, load<__m256i>(from));
#else
    return __builtin_convertvector(load<typename Narrow<T>::type>(from), I32);
#endif
}
template <class T>
inline void storeIntegers(T* to, I32 v) noexcept {
#if defined(__AVX512BW__)
    constexpr __mmask16 all = 0xffff;
    if constexpr (sizeof(T) == 1) store(to, _mm512_maskz_cvtepi32_epi8(all, (Raw)v));
    if constexpr (sizeof(T) == 2) store(to, _mm512_maskz_cvtepi32_epi16(all, (Raw)v));
#else
    store(to, __builtin_convertvector(v, typename Narrow<T>::type));
#endif
}

/// Half added away from zero and truncated, clamped to low..high; NaN gives 0.
inline I32 rounded(F32 v, float low, float high) noexcept {
    const F32 half = v >= 0 ? 0.5F - F32{} : -0.5F - F32{};
    const F32 sum = v + half;
    const F32 clamped = larger<F32>(smaller<F32>(sum, high - F32{}), low - F32{});
    return truncate(v == v ? clamped : F32{}); // NOLINT(misc-redundant-expression): a NaN is not equal to itself
}

/// A bit for each sample that is 0, the lowest for the first sample.
inline std::uint64_t zeroSamples(U8 v) noexcept {
#if defined(__AVX512BW__)
    return _mm512_testn_epi8_mask((Raw)v, (Raw)v);
#elif defined(__AVX2__)
    return static_cast<std::uint32_t>(_mm256_movemask_epi8((Raw)(v == 0)));
#elif defined(__SSE2__)
    return static_cast<std::uint32_t>(_mm_movemask_epi8((Raw)(v == 0)));
#else
    std::uint64_t zeros = 0;
    for (std::size_t i = 0; i < count<std::uint8_t>; ++i) zeros |= std::uint64_t{v[i] == 0} << i;
    return zeros;
#endif
}

/// Whether some bit of a vector is set.
template <class V>
inline bool any(V v) noexcept {
    std::uint64_t words[vectorBytes / 8];
    std::memcpy(words, &v, sizeof v);
    std::uint64_t all = 0;
    for (std::uint64_t word : words) all |= word;
    return all != 0;
}

/// Whether some sample is 0.
inline bool holdsZero(I16 v) noexcept {
#if defined(__AVX512BW__)
    return _mm512_testn_epi16_mask((Raw)v, (Raw)v) != 0;
#else
    return any(v == 0);
#endif
}

// Rows of pixels of three bands. A chunk's three planes and its pixels do not overlap.

/// Takes `pixels` pixels of three bands apart.
void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept;
/// Puts `pixels` pixels of three bands together.
void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept;

// Bits as bytes.

/// Writes the bits of `bytes` bytes, the most significant first, as bytes of 0 and 1.
void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept;
/// Writes `bytes` bytes of bits, each from 8 bytes of the source: 1 where the byte is not 0.
void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept;

// Tables of bytes.

/// to[i] = table[from[i]], with a table of 256 entries. `to` may be `from`.
void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept;
void mapBytes(std::int16_t* to, const std::uint8_t* from, std::size_t samples, const std::int16_t* table) noexcept;
/// The same for pixels of three bands, each with its own table.
void mapThreeBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels,
                   const std::uint8_t* const* tables) noexcept;

namespace plain {
void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept;
void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept;
void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept;
void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept;
void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept;
void mapBytes(std::int16_t* to, const std::uint8_t* from, std::size_t samples, const std::int16_t* table) noexcept;
void mapThreeBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels,
                   const std::uint8_t* const* tables) noexcept;

template <class T>
inline I32 gather(const T* base, I32 index) noexcept {
    I32 values;
    for (std::size_t i = 0; i < count<std::int32_t>; ++i) values[i] = base[index[i]];
    return values;
}

inline U32 gatherWords(const std::byte* base, I32 offset) noexcept {
    U32 words;
    for (std::size_t i = 0; i < count<std::int32_t>; ++i) words[i] = load<std::uint32_t>(base + offset[i]);
    return words;
}
} // namespace plain

/// Four bytes from each byte offset, as the processor holds a 32-bit word. What a gather leaves unwritten it takes from
/// an operand, and waits for it: an empty one that the compiler cannot drop, or every gather waits for the one before.
inline U32 gatherWords(const std::byte* base, I32 offset) noexcept {
#if defined(__AVX512BW__)
    Raw none{};
    asm("" : "+v"(none)); // NOLINT(hicpp-no-assembler): no instruction, and nothing else hides a value
    return (U32)_mm512_mask_i32gather_epi32(none, 0xffff, (Raw)offset, base, 1);
#elif defined(__AVX2__)
    return (U32)_mm256_i32gather_epi32(reinterpret_cast<const int*>(base), (Raw)offset, 1);
#else
    return plain::gatherWords(base, offset);
#endif
}

/// base[index] for each lane.
inline I32 gather(const std::int32_t* base, I32 index) noexcept {
    return (I32)gatherWords(reinterpret_cast<const std::byte*>(base), index << 2);
}

} // namespace orvi::lanes
