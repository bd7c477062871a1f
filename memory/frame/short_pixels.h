// Pixels of three shorts as vectors of words, a word for each pixel, for kernels that mix the bands of a pixel. There
// for the widest vectors alone, which move words from anywhere to anywhere.
#pragma once

#include "memory/frame/lanes.h"

#if defined(__AVX512BW__)
#define ORV_SHORT_PIXELS

namespace orvi::lanes {

inline constexpr std::size_t shortPixels = count<std::uint32_t>;

/// The bands of a vector of pixels: the first two side by side in a word, the third above zeros.
struct PixelShorts {
    I32 firstTwo;
    I32 third;

    I32 band(unsigned b) const noexcept {
        if (b == 0) return firstTwo << 16 >> 16;
        return b == 1 ? firstTwo >> 16 : third >> 16;
    }
    /// The bands times their weights, added.
    I32 sum(const std::int16_t (&weights)[3]) const noexcept {
        const auto weigh = [](I32 shorts, int low, int high) {
            const auto pair = static_cast<std::uint32_t>(high) << 16 | (static_cast<std::uint32_t>(low) & 0xffff);
            return (I32)_mm512_madd_epi16((Raw)shorts, _mm512_set1_epi32(static_cast<int>(pair)));
        };
        return weigh(firstTwo, weights[0], weights[1]) + weigh(third, 0, weights[2]);
    }
};

namespace short_pixels_detail {

/// A part of a vector is 16 bytes, which shuffles of bytes do not leave. Part k of a pair of vectors holds pixels 4k
/// and 4k + 1 in the first, 4k + 2 and 4k + 3 in the second: 12 bytes, or 3 words, each.
struct Places {
    static constexpr unsigned clear = 0x80;

    alignas(64) std::int32_t apart[2][16]; // words of 24, counted through two vectors
    alignas(64) std::int32_t together[2][16];
    alignas(64) std::uint8_t widen[64];       // two pixels' first bands as two words, their third as two others
    alignas(64) std::uint8_t firstTwo[2][64]; // four of the first band and four of the second to pixels
    alignas(64) std::uint8_t third[2][64];    // four of the third
    std::uint64_t thirds = 0;
    // For four bands: the same parts are halves of 64 bits, in the order of the pixels or by turns.
    alignas(64) std::int64_t quarters[2][8];
    alignas(64) std::int64_t turns[2][8];
    alignas(64) std::uint8_t pairs[64]; // four of one band and four of another to pixels

    constexpr Places() noexcept : apart{}, together{}, widen{}, firstTwo{}, third{}, quarters{}, turns{}, pairs{} {
        for (int i = 0; i < 16; ++i) {
            for (int half = 0; half < 2; ++half) {
                apart[half][i] = i % 4 == 3 ? 0 : i / 4 * 6 + half * 3 + i % 4;
                const int word = half * 16 + i;
                if (word < 24) together[half][i] = word % 6 / 3 * 16 + word / 6 * 4 + word % 3;
            }
        }
        for (int i = 0; i < 8; ++i) {
            for (int half = 0; half < 2; ++half) {
                quarters[half][i] = i / 2 * 4 + half * 2 + i % 2;
                const int part = half * 4 + i / 2;
                turns[half][i] = part % 2 * 8 + part / 2 * 2 + i % 2;
            }
        }
        constexpr std::uint8_t widened[] = {0, 1, 2, 3, 6, 7, 8, 9, clear, clear, 4, 5, clear, clear, 10, 11};
        for (unsigned i = 0; i < 64; ++i) {
            const unsigned byte = i % 16;
            widen[i] = widened[byte];
            pairs[i] = static_cast<std::uint8_t>(byte / 4 * 2 + byte / 2 % 2 * 8 + byte % 2);
            for (unsigned half = 0; half < 2; ++half) {
                const unsigned pixel = half * 2 + byte / 6;
                const unsigned band = byte % 6 / 2;
                const auto from = static_cast<std::uint8_t>(pixel * 2 + byte % 2);
                firstTwo[half][i] = byte < 12 && band < 2 ? static_cast<std::uint8_t>(band * 8 + from) : clear;
                third[half][i] = byte < 12 && band == 2 ? from : clear;
            }
            if (byte < 12 && byte % 6 / 2 == 2) thirds |= std::uint64_t{1} << i;
        }
    }
};
inline constexpr Places places;

} // namespace short_pixels_detail

/// A vector of pixels from an address on; nothing behind them is read.
inline PixelShorts loadPixelShorts(const std::int16_t* from) noexcept {
    const auto& places = short_pixels_detail::places;
    const Raw low = load<Raw>(from);
    const Raw high = _mm512_castsi256_si512(load<__m256i>(from + 32));
    const Raw widen = load<Raw>(places.widen);
    const auto part = [&](int half) {
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the table is made by the compiler, whole
        return _mm512_shuffle_epi8(_mm512_permutex2var_epi32(low, load<Raw>(places.apart[half]), high), widen);
    };
    const Raw first = part(0);
    const Raw second = part(1);
    return {(I32)_mm512_maskz_unpacklo_epi64(0xff, first, second),
            (I32)_mm512_maskz_unpackhi_epi64(0xff, first, second)};
}

/// The other way round, from three bands; what is outside the range of shorts saturates.
inline void storePixelShorts(std::int16_t* to, I32 band0, I32 band1, I32 band2) noexcept {
    const auto& places = short_pixels_detail::places;
    const Raw firstTwo = _mm512_packs_epi32((Raw)band0, (Raw)band1);
    const Raw third = _mm512_packs_epi32((Raw)band2, (Raw)band2);
    const auto part = [&](int half) {
        return _mm512_mask_shuffle_epi8(_mm512_shuffle_epi8(firstTwo, load<Raw>(places.firstTwo[half])), places.thirds,
                                        third, load<Raw>(places.third[half]));
    };
    const Raw first = part(0);
    const Raw second = part(1);
    store(to, _mm512_permutex2var_epi32(first, load<Raw>(places.together[0]), second));
    const Raw rest = _mm512_permutex2var_epi32(first, load<Raw>(places.together[1]), second);
    std::memcpy(to + 32, &rest, 32);
}

/// Four bands: two by two, side by side in words.
struct FourShorts {
    I32 firstTwo;
    I32 lastTwo;
};
inline FourShorts loadFourShorts(const std::int16_t* from) noexcept {
    constexpr __mmask16 all = 0xffff;
    const auto part = [&](int half) {
        const Raw order = load<Raw>(short_pixels_detail::places.quarters[half]);
        return (__m512)_mm512_permutex2var_epi64(load<Raw>(from), order, load<Raw>(from + 32));
    };
    constexpr int even = 0x88;
    constexpr int odd = 0xdd;
    return {(I32)_mm512_maskz_shuffle_ps(all, part(0), part(1), even),
            (I32)_mm512_maskz_shuffle_ps(all, part(0), part(1), odd)};
}
inline void storeFourShorts(std::int16_t* to, I32 band0, I32 band1, I32 band2, I32 band3) noexcept {
    constexpr __mmask16 all = 0xffff;
    const auto& places = short_pixels_detail::places;
    const Raw pairs = load<Raw>(places.pairs);
    const Raw firstTwo = _mm512_shuffle_epi8(_mm512_packs_epi32((Raw)band0, (Raw)band1), pairs);
    const Raw lastTwo = _mm512_shuffle_epi8(_mm512_packs_epi32((Raw)band2, (Raw)band3), pairs);
    const Raw first = _mm512_maskz_unpacklo_epi32(all, firstTwo, lastTwo);
    const Raw second = _mm512_maskz_unpackhi_epi32(all, firstTwo, lastTwo);
    for (int half = 0; half < 2; ++half) {
        store(to + 32 * half, _mm512_permutex2var_epi64(first, load<Raw>(places.turns[half]), second));
    }
}

/// One band; what is outside the range of shorts saturates.
inline void storeSaturated(std::int16_t* to, I32 band) noexcept {
    store(to, _mm512_maskz_cvtsepi32_epi16(0xffff, (Raw)band));
}

/// To the nearest integer.
inline I32 nearest(F32 v) noexcept { return (I32)_mm512_maskz_cvtps_epi32(0xffff, (__m512)v); }

/// A bit for each word in which two vectors differ.
inline std::uint16_t unlikeWords(I32 a, I32 b) noexcept { return _mm512_cmpneq_epi32_mask((Raw)a, (Raw)b); }

inline F32 magnitude(F32 v) noexcept { return (F32)((U32)v & 0x7fffffff); }

/// A bit for each word in which two vectors differ by more than a distance.
inline std::uint16_t furtherApart(F32 a, F32 b, F32 distance) noexcept {
    return _mm512_cmp_ps_mask((__m512)magnitude(a - b), (__m512)distance, _CMP_GT_OQ);
}

/// Writes the words whose bits are set one after another, and whatever behind them up to a vector; how many were set.
inline std::size_t storeChosen(std::int32_t* to, std::uint16_t chosen, I32 words) noexcept {
    store(to, _mm512_maskz_compress_epi32(chosen, (Raw)words));
    return static_cast<std::size_t>(__builtin_popcount(chosen));
}

} // namespace orvi::lanes

#endif
