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

typedef std::uint8_t U8 __attribute__((vector_size(vectorBytes)));
typedef std::int8_t I8 __attribute__((vector_size(vectorBytes)));
typedef std::uint16_t U16 __attribute__((vector_size(vectorBytes)));
typedef std::int16_t I16 __attribute__((vector_size(vectorBytes)));
typedef std::uint32_t U32 __attribute__((vector_size(vectorBytes)));
typedef std::int32_t I32 __attribute__((vector_size(vectorBytes)));
typedef std::uint64_t U64 __attribute__((vector_size(vectorBytes)));
typedef float F32 __attribute__((vector_size(vectorBytes)));

template <class T>
struct VectorOf {
    typedef T type __attribute__((vector_size(vectorBytes)));
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

// Saturating sums and differences of bytes and shorts.

inline std::uint8_t addSaturated(std::uint8_t a, std::uint8_t b) noexcept { return saturate<std::uint8_t>(a + b); }
inline std::int16_t addSaturated(std::int16_t a, std::int16_t b) noexcept { return saturate<std::int16_t>(a + b); }
inline std::uint8_t subtractSaturated(std::uint8_t a, std::uint8_t b) noexcept { return saturate<std::uint8_t>(a - b); }
inline std::int16_t subtractSaturated(std::int16_t a, std::int16_t b) noexcept { return saturate<std::int16_t>(a - b); }

#if defined(__SSE2__)
inline U8 addSaturated(U8 a, U8 b) noexcept { return (U8)ORV_LANES(adds_epu8)((Raw)a, (Raw)b); }
inline I16 addSaturated(I16 a, I16 b) noexcept { return (I16)ORV_LANES(adds_epi16)((Raw)a, (Raw)b); }
inline U8 subtractSaturated(U8 a, U8 b) noexcept { return (U8)ORV_LANES(subs_epu8)((Raw)a, (Raw)b); }
inline I16 subtractSaturated(I16 a, I16 b) noexcept { return (I16)ORV_LANES(subs_epi16)((Raw)a, (Raw)b); }
#else
template <class V>
inline V eachSample(V a, V b, auto op) noexcept {
    V result;
    for (std::size_t i = 0; i < sizeof(V) / sizeof(a[0]); ++i) result[i] = op(a[i], b[i]);
    return result;
}
inline U8 addSaturated(U8 a, U8 b) noexcept { return a + smaller<U8>(b, ~a); }
inline I16 addSaturated(I16 a, I16 b) noexcept {
    return eachSample(a, b, [](std::int16_t x, std::int16_t y) { return addSaturated(x, y); });
}
inline U8 subtractSaturated(U8 a, U8 b) noexcept { return a - smaller<U8>(a, b); }
inline I16 subtractSaturated(I16 a, I16 b) noexcept {
    return eachSample(a, b, [](std::int16_t x, std::int16_t y) { return subtractSaturated(x, y); });
}
#endif

// Rows of samples: `op` is given vectors of T while there are enough samples, then single ones. A source may be the
// destination itself.

template <class T, class Op>
inline void mapRow(T* to, const T* a, std::size_t samples, Op op) noexcept {
    std::size_t i = 0;
    for (; i + count<T> <= samples; i += count<T>) store(to + i, op(load<Vec<T>>(a + i)));
    for (; i < samples; ++i) to[i] = op(a[i]);
}
template <class T, class Op>
inline void mapRow(T* to, const T* a, const T* b, std::size_t samples, Op op) noexcept {
    std::size_t i = 0;
    for (; i + count<T> <= samples; i += count<T>) store(to + i, op(load<Vec<T>>(a + i), load<Vec<T>>(b + i)));
    for (; i < samples; ++i) to[i] = op(a[i], b[i]);
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

namespace plain {
void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept;
void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept;
void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept;
void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept;
void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept;

template <class T>
inline I32 gather(const T* base, I32 index) noexcept {
    I32 values;
    for (std::size_t i = 0; i < count<std::int32_t>; ++i) values[i] = base[index[i]];
    return values;
}
} // namespace plain

/// base[index] for each lane, bytes or shorts as integers. `last` is the index of the last sample that may be read: a
/// gather reads 32 bits, so lanes near the end read earlier ones and shift.
inline I32 gather(const std::uint8_t* base, I32 index, std::int32_t last) noexcept {
#if defined(__AVX2__)
    if (last < 3) return plain::gather(base, index);
    const I32 start = smaller<I32>(index, last - 3 - I32{});
#if defined(__AVX512BW__)
    const U32 words = (U32)_mm512_i32gather_epi32((Raw)start, base, 1);
#else
    const U32 words = (U32)_mm256_i32gather_epi32(reinterpret_cast<const int*>(base), (Raw)start, 1);
#endif
    return (I32)((words >> (U32)((index - start) << 3)) & 0xffU);
#else
    (void)last;
    return plain::gather(base, index);
#endif
}
inline I32 gather(const std::int16_t* base, I32 index, std::int32_t last) noexcept {
#if defined(__AVX2__)
    if (last < 1) return plain::gather(base, index);
    const I32 start = smaller<I32>(index, last - 1 - I32{});
#if defined(__AVX512BW__)
    const U32 words = (U32)_mm512_i32gather_epi32((Raw)start, base, 2);
#else
    const U32 words = (U32)_mm256_i32gather_epi32(reinterpret_cast<const int*>(base), (Raw)start, 2);
#endif
    return (I32)(words << (U32)((1 - (index - start)) << 4)) >> 16;
#else
    (void)last;
    return plain::gather(base, index);
#endif
}

} // namespace orvi::lanes
