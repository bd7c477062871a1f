// Where an image's samples lie in memory.
#pragma once

#include <functional>

#include "memory/frame/Raster.h"

namespace orvi {

/// The bytes from the first to the last sample of an image of bytes or shorts.
struct Extent {
    const std::byte* first;
    const std::byte* last;

    Extent(const Raster& raster, std::ptrdiff_t sampleSize) noexcept
        : first(raster.data),
          last(raster.data + static_cast<std::ptrdiff_t>(raster.image->getHeight() - 1) * raster.stride +
               static_cast<std::ptrdiff_t>(raster.image->getWidth() - 1) * raster.pixel + raster.bands * sampleSize -
               1) {}

    /// The same of an image of bits, whose planes follow one another.
    static Extent ofBits(const Raster& raster) noexcept {
        Extent extent(raster, 0);
        const auto lastBit = static_cast<std::ptrdiff_t>(raster.image->getWidth() - 1) + raster.offset;
        extent.last = raster.data + static_cast<std::ptrdiff_t>(raster.bands - 1) * raster.bandStride +
                      static_cast<std::ptrdiff_t>(raster.image->getHeight() - 1) * raster.stride + (lastBit >> 3);
        return extent;
    }

    bool overlaps(const Extent& other) const noexcept {
        const std::less<const std::byte*> before;
        return !before(last, other.first) && !before(other.last, first);
    }
};

} // namespace orvi
