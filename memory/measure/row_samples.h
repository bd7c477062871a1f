// Samples of one band at neighbouring pixels of a row, taken out to be worked on many at a time, and put back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "memory/frame/Raster.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_bit_utils.h"

namespace orvi {

/// Pixels that are worked on together.
inline constexpr unsigned rowChunk = 512;

/// Takes the samples of up to rowChunk pixels that lie `step` pixels apart, from (x, y) of the common space on.
template <class S, class Value>
void takeSamples(const Raster& raster, long x, long y, unsigned band, long step, unsigned pixels,
                 Value* values) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        const BitPosition row = raster.bit(x, y, band);
        if (step == 1) {
            std::uint8_t bits[rowChunk];
            unpackBits(row.byte, row.offset, bits, 1, pixels);
            for (unsigned i = 0; i < pixels; ++i) values[i] = static_cast<Value>(bits[i]);
            return;
        }
        for (unsigned i = 0; i < pixels; ++i) {
            const std::size_t bit = row.offset + i * static_cast<std::size_t>(step);
            values[i] = static_cast<Value>((row.byte[bit >> 3] & bit_mask[bit & 7]) != 0 ? 1 : 0);
        }
    } else {
        const S* const from = raster.at<S>(x, y) + band;
        const std::ptrdiff_t apart = step * raster.pixelOf<S>();
        if (apart == 1) {
            for (unsigned i = 0; i < pixels; ++i) values[i] = static_cast<Value>(from[i]);
            return;
        }
        for (unsigned i = 0; i < pixels; ++i) values[i] = static_cast<Value>(from[i * apart]);
    }
}

/// Puts up to rowChunk samples, each in the range of its type, into a row.
template <class S>
void putSamples(const Raster& raster, long x, long y, unsigned band, unsigned pixels,
                const std::int32_t* values) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        const BitPosition row = raster.bit(x, y, band);
        std::uint8_t bits[rowChunk];
        for (unsigned i = 0; i < pixels; ++i) bits[i] = static_cast<std::uint8_t>(values[i]);
        packBits(bits, 1, row.byte, row.offset, pixels);
    } else {
        S* const to = raster.at<S>(x, y) + band;
        const std::ptrdiff_t apart = raster.pixelOf<S>();
        if (apart == 1) {
            for (unsigned i = 0; i < pixels; ++i) to[i] = static_cast<S>(values[i]);
            return;
        }
        for (unsigned i = 0; i < pixels; ++i) to[i * apart] = static_cast<S>(values[i]);
    }
}

/// What floats become as samples of a type: rounded half away from zero and clamped, for bits 1 from 0.5 up.
template <class S>
void toSamples(const float* from, std::int32_t* to, unsigned pixels) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        for (unsigned i = 0; i < pixels; ++i) to[i] = toBit(from[i]) ? 1 : 0;
    } else {
        constexpr unsigned group = lanes::count<float>;
        unsigned i = 0;
        for (; i + group <= pixels; i += group) {
            lanes::store(to + i, lanes::rounded(lanes::load<lanes::F32>(from + i), static_cast<float>(lowest<S>),
                                                static_cast<float>(highest<S>)));
        }
        for (; i < pixels; ++i) to[i] = roundTo<S>(from[i]);
    }
}

} // namespace orvi
