// Pixels of three bytes as vectors of words, a pixel in each: its first band in the lowest byte, 0 in the highest. For
// kernels that mix the bands of a pixel; where the bands stay apart, planes hold more samples in a vector.
#pragma once

#include "memory/frame/lanes.h"
#include "memory/frame/sample_rows.h"

namespace orvi::lanes {

/// Whether the instruction set moves bytes about: without that, words of pixels cost more than they save.
#if defined(__AVX2__)
inline constexpr bool hasPixelWords = true;
#else
inline constexpr bool hasPixelWords = false;
#endif

inline constexpr std::size_t wordPixels = count<std::uint32_t>;

namespace plain {

inline U32 loadPixels(const std::uint8_t* from) noexcept {
    U32 pixels;
    for (std::size_t i = 0; i < wordPixels; ++i, from += 3) {
        pixels[i] = from[0] | static_cast<std::uint32_t>(from[1]) << 8 | static_cast<std::uint32_t>(from[2]) << 16;
    }
    return pixels;
}

inline void storePixels(std::uint8_t* to, U32 pixels) noexcept {
    for (std::size_t i = 0; i < wordPixels; ++i) {
        for (unsigned band = 0; band < 3; ++band) *to++ = static_cast<std::uint8_t>(pixels[i] >> 8 * band);
    }
}

inline void storeLowBytes(std::uint8_t* to, U32 words) noexcept {
    for (std::size_t i = 0; i < wordPixels; ++i) to[i] = static_cast<std::uint8_t>(words[i]);
}

inline I32 pairSums(I16 a, I16 b) noexcept {
    I32 sums;
    for (std::size_t i = 0; i < wordPixels; ++i) sums[i] = a[2 * i] * b[2 * i] + a[2 * i + 1] * b[2 * i + 1];
    return sums;
}

} // namespace plain

#if defined(__AVX2__)

namespace words_detail {

/// The words of the pixels are moved to the part of the vector they are for, and their bytes about within it: a part
/// holds four pixels, and shuffles of bytes do not leave it.
struct Places {
    static constexpr unsigned clear = 0x80;

    alignas(64) std::int32_t apart[16]; // words of three in each part
    alignas(64) std::int32_t together[16];
    alignas(64) std::uint8_t widen[64]; // three bytes to a word
    alignas(64) std::uint8_t narrow[64];
    alignas(64) std::uint8_t widenShorts[64]; // three shorts to two words
    alignas(64) std::uint8_t lowest[64];      // the lowest byte of each word
    alignas(16) std::uint8_t thrice[48];      // each of 16 bytes three times

    constexpr Places() noexcept : apart{}, together{}, widen{}, narrow{}, widenShorts{}, lowest{}, thrice{} {
        for (int i = 0; i < 16; ++i) {
            apart[i] = i % 4 == 3 ? 0 : i / 4 * 3 + i % 4;
            together[i] = i < 12 ? i / 3 * 4 + i % 3 : 0;
        }
        for (unsigned i = 0; i < 64; ++i) {
            const unsigned byte = i % 16;
            widen[i] = static_cast<std::uint8_t>(byte % 4 == 3 ? clear : byte / 4 * 3 + byte % 4);
            narrow[i] = static_cast<std::uint8_t>(byte < 12 ? byte / 3 * 4 + byte % 3 : clear);
            widenShorts[i] = static_cast<std::uint8_t>(byte % 8 > 5 ? clear : byte / 8 * 6 + byte % 8);
            lowest[i] = static_cast<std::uint8_t>(byte < 4 ? byte * 4 : clear);
        }
        for (unsigned i = 0; i < 48; ++i) thrice[i] = static_cast<std::uint8_t>(i / 3);
    }
};
inline constexpr Places places;

} // namespace words_detail

#endif

#if defined(__AVX2__)

namespace words_detail {

/// Twelve bytes in each part of a vector; no byte behind them is read.
inline Raw loadApart(const void* from) noexcept {
#if defined(__AVX512BW__)
    const Raw packed = _mm512_maskz_loadu_epi32(0xfff, from);
    return _mm512_maskz_permutexvar_epi32(0xffff, load<Raw>(places.apart), packed);
#else
    const Raw packed = _mm256_inserti128_si256(_mm256_castsi128_si256(load<__m128i>(from)),
                                               _mm_loadu_si64(static_cast<const std::uint8_t*>(from) + 16), 1);
    return _mm256_permutevar8x32_epi32(packed, load<Raw>(places.apart));
#endif
}

} // namespace words_detail

/// Half a vector of pixels, three shorts each from an address on, with a 0 behind each.
inline U64 loadShortPixels(const std::int16_t* from) noexcept {
    return (U64)ORV_LANES(shuffle_epi8)(words_detail::loadApart(from), load<Raw>(words_detail::places.widenShorts));
}

#endif

/// A vector of pixels, three bytes each from an address on; no byte behind them is read.
inline U32 loadPixels(const std::uint8_t* from) noexcept {
#if defined(__AVX2__)
    return (U32)ORV_LANES(shuffle_epi8)(words_detail::loadApart(from), load<Raw>(words_detail::places.widen));
#else
    return plain::loadPixels(from);
#endif
}

/// The other way round; the highest bytes do not count.
inline void storePixels(std::uint8_t* to, U32 pixels) noexcept {
#if defined(__AVX2__)
    const auto& places = words_detail::places;
    const Raw apart = ORV_LANES(shuffle_epi8)((Raw)pixels, load<Raw>(places.narrow));
#if defined(__AVX512BW__)
    const Raw packed = _mm512_maskz_permutexvar_epi32(0xffff, load<Raw>(places.together), apart);
    _mm512_mask_storeu_epi32(to, 0xfff, packed);
#else
    const Raw packed = _mm256_permutevar8x32_epi32(apart, load<Raw>(places.together));
    store(to, _mm256_castsi256_si128(packed));
    _mm_storeu_si64(to + 16, _mm256_extracti128_si256(packed, 1));
#endif
#else
    plain::storePixels(to, pixels);
#endif
}

/// The lowest byte of each word.
inline void storeLowBytes(std::uint8_t* to, U32 words) noexcept {
#if defined(__AVX512BW__)
    store(to, _mm512_maskz_cvtepi32_epi8(0xffff, (Raw)words));
#elif defined(__AVX2__)
    const Raw bytes = _mm256_shuffle_epi8((Raw)words, load<Raw>(words_detail::places.lowest));
    store(to, _mm_cvtsi128_si32(_mm256_castsi256_si128(bytes)));
    store(to + 4, _mm_cvtsi128_si32(_mm256_extracti128_si256(bytes, 1)));
#else
    plain::storeLowBytes(to, words);
#endif
}

/// The products of two neighbouring shorts, added.
inline I32 pairSums(I16 a, I16 b) noexcept {
#if defined(__SSE2__)
    return (I32)ORV_LANES(madd_epi16)((Raw)a, (Raw)b);
#else
    return plain::pairSums(a, b);
#endif
}

/// Pixels of three bands, all of them a byte of the source.
inline void repeatBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels) noexcept {
    std::size_t i = 0;
#if defined(__AVX2__)
    const auto& thrice = words_detail::places.thrice;
    for (; i + 16 <= pixels; i += 16) {
        const __m128i bytes = load<__m128i>(from + i);
        for (std::size_t part = 0; part < 48; part += 16) {
            store(to + 3 * i + part, _mm_shuffle_epi8(bytes, load<__m128i>(thrice + part)));
        }
    }
#endif
    plain::joinBands(from + i, from + i, from + i, to + 3 * i, pixels - i);
}

/// Pixels of three samples with their bands in the opposite order and all bits inverted, whole vectors of each band;
/// how many pixels that were. The source may be the destination.
template <class T>
std::size_t reverseInverted([[maybe_unused]] T* to, [[maybe_unused]] const T* from,
                            [[maybe_unused]] std::size_t pixels) noexcept {
    std::size_t i = 0;
#if defined(__AVX512BW__)
    // The outer bands come from two samples further and two samples before: three loads, and no sample is moved about.
    constexpr std::uint64_t everyThird = 0x9249249249249249ULL;
    const auto over = [](Raw others, std::uint64_t mask, const T* at) {
        if constexpr (sizeof(T) == 1) return _mm512_mask_loadu_epi8(others, mask, at);
        if constexpr (sizeof(T) == 2) return _mm512_mask_loadu_epi16(others, static_cast<__mmask32>(mask), at);
    };
    for (; i + count<T> <= pixels; i += count<T>) {
        const T* const at = from + 3 * i;
        fetchAhead<3>(at);
        Raw made[3];
        for (unsigned v = 0; v < 3; ++v) {
            const T* const here = at + v * count<T>;
            // The first sample of a vector is of this band.
            const auto band = static_cast<unsigned>(v * count<T> % 3);
            const std::uint64_t first = everyThird << (3 - band) % 3;
            const std::uint64_t third = everyThird << (2 - band);
            made[v] = ~over(over(load<Raw>(here), first, here + 2), third, here - 2);
        }
        for (unsigned v = 0; v < 3; ++v) store(to + 3 * i + v * count<T>, made[v]);
    }
#endif
    return i;
}

} // namespace orvi::lanes
