// Samples of an interleaved image addressed by storage position, for loops that look around.
#pragma once

#include <algorithm>
#include <cstring>

#include "memory/filter/vectors.h"
#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/gaps.h"

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

/// Samples of pixels that are packed before they are converted.
inline constexpr long packedSamples = 1024;

/// Writes the bands of pixels without gaps.
template <class To, class From>
void packRow(To* to, const From* from, std::ptrdiff_t pixel, long bands, long pixels) noexcept {
    if (pixel == bands) return convertRow(to, from, pixels * bands);
    const auto close = [&](From* dense, long first, long count) {
        closeGaps(reinterpret_cast<std::byte*>(dense), reinterpret_cast<const std::byte*>(from + first * pixel),
                  pixel * static_cast<std::ptrdiff_t>(sizeof(From)), static_cast<std::size_t>(bands) * sizeof(From),
                  static_cast<std::size_t>(count));
    };
    if constexpr (std::is_same_v<To, From>) {
        close(to, 0, pixels);
    } else {
        From dense[packedSamples];
        const long most = packedSamples / bands;
        for (long done = 0; done < pixels; done += most) {
            const long count = std::min(most, pixels - done);
            close(dense, done, count);
            convertRow(to + done * bands, dense, count * bands);
        }
    }
}

template <class T>
void unpackRow(T* to, const T* from, std::ptrdiff_t pixel, long bands, long pixels) noexcept {
    if (pixel == bands) {
        std::memcpy(to, from, static_cast<std::size_t>(pixels * bands) * sizeof(T));
        return;
    }
    openGaps(reinterpret_cast<std::byte*>(to), reinterpret_cast<const std::byte*>(from),
             pixel * static_cast<std::ptrdiff_t>(sizeof(T)), static_cast<std::size_t>(bands) * sizeof(T),
             static_cast<std::size_t>(pixels));
}

/// Writes 0 to every band of a rectangle.
template <class T>
void zeroRectangle(const Raster& raster, unsigned bands, const Rect& rect) noexcept {
    const std::size_t pixel = bands * sizeof(T);
    for (long y = 0; y < static_cast<long>(rect.height); ++y) {
        if (raster.pixelOf<T>() == static_cast<std::ptrdiff_t>(bands)) {
            std::memset(raster.at<T>(rect.x, rect.y + y), 0, rect.width * pixel);
            continue;
        }
        for (long x = 0; x < static_cast<long>(rect.width); ++x) {
            std::memset(raster.at<T>(rect.x + x, rect.y + y), 0, pixel);
        }
    }
}

} // namespace orvi
