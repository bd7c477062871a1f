// Many pixels at once, a pixel a lane: how lanes read a source, and the arithmetic of interpolated samples in lanes,
// operation by operation what the plain one is.
#pragma once

#include <bit>
#include <climits>
#include <cstddef>
#include <cstring>

#include "memory/frame/Raster.h"
#include "memory/frame/lanes.h"
#include "memory/geometry/interpolate.h"

namespace orvi {

using lanes::F32;
using lanes::I32;
using lanes::U32;

inline constexpr std::size_t laneCount = lanes::count<std::int32_t>;

inline F32 toFloats(I32 v) noexcept { return __builtin_convertvector(v, F32); }
inline I32 part(I32 value, F32 fraction) noexcept { return __builtin_convertvector(toFloats(value) * fraction, I32); }
inline I32 between(I32 a, I32 b, F32 fraction) noexcept { return a + part(b - a, fraction); }

inline I32 cubic(I32 m, I32 p0, I32 p1, I32 p2, F32 f, F32 t) noexcept {
    const I32 line = between(p0, p1, f);
    const I32 outer = (p1 + m) + part((p2 + p0) - (p1 + m), f);
    return line + part(line - (outer >> 1), t);
}

inline F32 cubicWeight(F32 f) noexcept {
    using F64 [[gnu::vector_size(2 * lanes::vectorBytes)]] = double;
    const F64 wide = __builtin_convertvector(f, F64);
    return __builtin_convertvector((1.0 - wide) * wide, F32);
}

/// Stores the lanes as samples of a type whose range holds them.
template <class T>
inline void storeSamples(T* to, I32 v) noexcept {
#if defined(__AVX512BW__)
    if constexpr (sizeof(T) == 1) {
        lanes::store(to, _mm512_maskz_cvtepi32_epi8(0xffff, (lanes::Raw)v));
    } else {
        lanes::store(to, _mm512_maskz_cvtepi32_epi16(0xffff, (lanes::Raw)v));
    }
#elif defined(__SSE2__)
#if defined(__AVX2__)
    const __m128i shorts =
        _mm_packs_epi32(_mm256_castsi256_si128((lanes::Raw)v), _mm256_extracti128_si256((lanes::Raw)v, 1));
#else
    const __m128i shorts = _mm_packs_epi32((lanes::Raw)v, (lanes::Raw)v);
#endif
    const __m128i packed = sizeof(T) == 1 ? _mm_packus_epi16(shorts, shorts) : shorts;
    std::memcpy(to, &packed, sizeof(T) * laneCount);
#else
    for (std::size_t i = 0; i < laneCount; ++i) to[i] = static_cast<T>(v[i]);
#endif
}

/// One axis of the position of every lane. The whole part is a storage column or row, which a source clamps to its
/// image before anything is read, so that lanes whose pixels do not count may lie anywhere.
struct LanePlace {
    I32 whole;
    F32 fraction;
};

/// The most bands that lanes take on.
inline constexpr unsigned maxLaneBands = 8;

/// A source as lanes read it: words of four bytes at byte offsets, out of which samples are shifted.
template <class T>
class LaneSource {
public:
    static constexpr unsigned samplesPerWord = 4 / sizeof(T);

    LaneSource(const Raster& raster, long width, long height, unsigned bands) noexcept
        : base_(raster.data),
          bands_(bands),
          stride_(raster.stride),
          pixel_(raster.pixel),
          width_(width),
          height_(height) {
        const std::ptrdiff_t free = 4 - static_cast<std::ptrdiff_t>(bands * sizeof(T));
        tapsPerWord_ = free > 0 && pixel_ > 0 ? static_cast<int>(1 + free / pixel_) : 1;
    }

    /// Offsets fit a lane, and there is a word to read.
    bool fits() const noexcept { return lastByte() >= 3 && lastByte() < INT_MAX; }

    I32 columnOffset(I32 column) const noexcept { return clamped(column, width_) * static_cast<std::int32_t>(pixel_); }
    I32 rowOffset(I32 row) const noexcept { return clamped(row, height_) * static_cast<std::int32_t>(stride_); }

    /// Up to samplesPerWord bands of N pixels of a row, from left to right. Pixels share a word where they fit into it.
    template <int N>
    class Taps {
    public:
        Taps(const LaneSource& source, const I32 (&columns)[N], I32 row, unsigned firstBand) noexcept {
            const I32 from = row + static_cast<std::int32_t>(firstBand * sizeof(T));
            const std::int32_t lastWord = static_cast<std::int32_t>(source.lastByte() - 3);
            I32 start{};
            U32 word{};
            for (int i = 0, left = 0; i < N; ++i, --left) {
                const I32 offset = from + columns[i];
                if (left == 0) {
                    start = lanes::smaller<I32>(offset, lastWord - I32{});
                    word = firstLowest(lanes::gatherWords(source.base_, start));
                    left = source.tapsPerWord_;
                }
                words_[i] = word;
                shifts_[i] = (offset - start) << 3;
            }
        }

        I32 sample(int tap, unsigned band) const noexcept {
            constexpr std::int32_t bits = 8 * sizeof(T);
            const U32 top = words_[tap] << (U32)(32 - bits * static_cast<std::int32_t>(band + 1) - shifts_[tap]);
            if constexpr (sizeof(T) == 1) {
                return (I32)(top >> 24);
            } else {
                return (I32)top >> 16;
            }
        }
        I32 widened(int tap, unsigned band) const noexcept { return sample(tap, band) << fractionBits; }

    private:
        /// The word with its first sample in the low bits, whatever the processor's byte order.
        static U32 firstLowest(U32 word) noexcept {
            if constexpr (std::endian::native == std::endian::little) return word;
            const U32 halves = (word << 16) | (word >> 16);
            return sizeof(T) == 2 ? halves : ((halves & 0x00FF00FF) << 8) | ((halves >> 8) & 0x00FF00FF);
        }

        U32 words_[N];
        I32 shifts_[N];
    };

private:
    std::ptrdiff_t lastByte() const noexcept {
        return (height_ - 1) * stride_ + (width_ - 1) * pixel_ + static_cast<std::ptrdiff_t>(bands_ * sizeof(T)) - 1;
    }
    static I32 clamped(I32 v, long size) noexcept {
        const I32 last = static_cast<std::int32_t>(size - 1) - I32{};
        return lanes::larger<I32>(lanes::smaller<I32>(v, last), I32{});
    }

    const std::byte* base_;
    unsigned bands_;
    std::ptrdiff_t stride_;
    std::ptrdiff_t pixel_;
    long width_;
    long height_;
    int tapsPerWord_;
};

} // namespace orvi
