// Four lanes, whatever the instruction set: the bands of one pixel. Compilers take the conversions between singles and
// doubles apart, so they are told here, with the plain form beside each. Doubles go by reference: how a function gets
// them differs between instruction sets.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace orvi::quads {

using Floats [[gnu::vector_size(16)]] = float;
using Ints [[gnu::vector_size(16)]] = std::int32_t;
using Doubles [[gnu::vector_size(32)]] = double;

inline void widen(Floats v, Doubles& wide) noexcept {
#if defined(__AVX__)
    wide = (Doubles)_mm256_cvtps_pd((__m128)v);
#else
    wide = __builtin_convertvector(v, Doubles);
#endif
}

/// Four bytes, the lowest of the word first.
inline Floats ofBytes(std::uint32_t word) noexcept {
#if defined(__AVX__)
    return (Floats)_mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(static_cast<int>(word))));
#else
    const Ints bytes = {static_cast<std::int32_t>(word & 255), static_cast<std::int32_t>(word >> 8 & 255),
                        static_cast<std::int32_t>(word >> 16 & 255), static_cast<std::int32_t>(word >> 24)};
    return __builtin_convertvector(bytes, Floats);
#endif
}

/// Rounded to single precision.
inline Floats narrow(const Doubles& v) noexcept {
#if defined(__AVX__)
    return (Floats)_mm256_cvtpd_ps((__m256d)v);
#else
    return __builtin_convertvector(v, Floats);
#endif
}

/// Truncated; the lowest integer where none holds the value.
inline Ints truncate(Floats v) noexcept {
#if defined(__SSE2__)
    return (Ints)_mm_cvttps_epi32((__m128)v);
#else
    constexpr float limit = 2147483648.0F;
    Ints result;
    for (int i = 0; i < 4; ++i) {
        result[i] = v[i] >= -limit && v[i] < limit ? static_cast<std::int32_t>(v[i]) : INT32_MIN;
    }
    return result;
#endif
}

} // namespace orvi::quads
