// Rows of samples that become bits, or are made of them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "memory/frame/Frame.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/sample_bits.h"
#include "memory/frame/walk.h"

#if defined(__AVX512BW__)

namespace orvi {

inline constexpr std::size_t bitsOfByte = 8;

/// The samples of an image as runs beside the first plane's bits of another:
/// `run(BitPosition bits, T* samples, std::size_t pixels)`. False where the pixels lie apart.
template <class T, class Run>
bool besideBits(Frame& frame, const Raster& bits, const Raster& samples, unsigned bands, Run run) noexcept {
    const auto pixel = static_cast<std::ptrdiff_t>(bands * sizeof(T));
    if (samples.pixel != pixel) return false;
    for (Rect rect{}; frame.rects().next(rect);) {
        const bool touch = bitRowsTouch(rect, bits) && samples.stride == pixel * rect.width;
        const std::size_t rows = touch ? 1 : rect.height;
        const std::size_t pixels = touch ? std::size_t{rect.width} * rect.height : rect.width;
        for (std::size_t row = 0; row < rows; ++row) {
            const long y = rect.y + static_cast<long>(row);
            run(bits.bit(rect.x, y, 0), samples.at<T>(rect.x, y), pixels);
        }
    }
    return true;
}

/// Writes a bit for each sample: `bitsOf(const T*)` gives those of a vector, the first one's the highest of the lowest
/// byte.
template <class T, class BitsOf>
inline void packSamples(BitPosition to, const T* from, std::size_t pixels, BitsOf bitsOf) noexcept {
    constexpr std::size_t n = lanes::count<T>;
    const auto few = [&](std::size_t count) {
        T samples[n] = {};
        std::memcpy(samples, from, count * sizeof(T));
        const std::uint64_t bits = bitsOf(samples);
        std::uint8_t bytes[sizeof bits];
        std::memcpy(bytes, &bits, sizeof bytes);
        orv_bit_memcpy(bytes, to.byte, static_cast<unsigned>(count), 0, to.offset);
        from += count;
        pixels -= count;
    };
    if (to.offset != 0) {
        few(std::min<std::size_t>(pixels, bitsOfByte - to.offset));
        to = {to.byte + 1, 0};
    }
    for (; pixels >= n; pixels -= n, from += n, to.byte += bytesOfVector<T>) {
        const std::uint64_t bits = bitsOf(from);
        std::memcpy(to.byte, &bits, bytesOfVector<T>);
    }
    if (pixels > 0) few(pixels);
}

} // namespace orvi

#endif
