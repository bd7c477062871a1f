// Samples of an interleaved image addressed by storage position, for loops that look around.
#pragma once

#include <algorithm>
#include <cstring>

#include "memory/filter/vectors.h"
#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"

namespace orvi {

template <class T>
struct Samples {
    T* data;
    std::ptrdiff_t stride; ///< in samples
    std::ptrdiff_t pixel;
    long width;
    long height;

    Samples(const Raster& raster, long columns, long rows) noexcept
        : data(reinterpret_cast<T*>(raster.data)),
          stride(raster.strideOf<T>()),
          pixel(raster.pixelOf<T>()),
          width(columns),
          height(rows) {}

    T* row(long index) const noexcept { return data + index * stride; }
    T* at(long column, long index) const noexcept { return row(index) + column * pixel; }

    /// The nearest pixel inside the image.
    T* nearest(long column, long index) const noexcept {
        return at(std::clamp(column, 0L, width - 1), std::clamp(index, 0L, height - 1));
    }
};

/// Samples as numbers.
template <class To, class From>
void convertRow(To* to, const From* from, long samples) noexcept {
    long i = 0;
    if constexpr (!std::is_same_v<To, From>) {
        constexpr long step = Lanes<To>::count;
        for (; i + step <= samples; i += step) {
            const auto values = loadSamples<typename Lanes<To>::Ints>(from + i);
            lanes::store(to + i, convertLanes<typename Lanes<To>::Vector>(values));
        }
    }
    for (; i < samples; ++i) to[i] = static_cast<To>(from[i]);
}

/// Writes the bands of pixels without gaps.
template <class To, class From>
void packRow(To* to, const From* from, std::ptrdiff_t pixel, long bands, long pixels) noexcept {
    if (pixel == bands) return convertRow(to, from, pixels * bands);
    for (long i = 0; i < pixels; ++i) {
        for (long band = 0; band < bands; ++band) *to++ = static_cast<To>(from[i * pixel + band]);
    }
}

template <class T>
void unpackRow(T* to, const T* from, std::ptrdiff_t pixel, long bands, long pixels) noexcept {
    if (pixel == bands) {
        std::memcpy(to, from, static_cast<std::size_t>(pixels * bands) * sizeof(T));
        return;
    }
    for (long i = 0; i < pixels; ++i) {
        for (long band = 0; band < bands; ++band) to[i * pixel + band] = *from++;
    }
}

/// Writes 0 to every band of a rectangle.
template <class T>
void zeroRectangle(const Raster& raster, unsigned bands, const Rect& rect) noexcept {
    for (long y = 0; y < static_cast<long>(rect.height); ++y) {
        for (long x = 0; x < static_cast<long>(rect.width); ++x) {
            std::memset(raster.at<T>(rect.x + x, rect.y + y), 0, bands * sizeof(T));
        }
    }
}

} // namespace orvi
