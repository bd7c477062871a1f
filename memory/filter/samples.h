// Samples of an interleaved image addressed by storage position, for loops that look around.
#pragma once

#include <algorithm>
#include <cstring>

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
