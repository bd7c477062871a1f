// The part of a source that a tile of its destination takes samples from, copied together. A walk across a source reads
// a little of each of many rows; rows a power of two apart share places in the caches and drive one another out of
// them.
#pragma once

#include <algorithm>
#include <cstring>

#include "memory/frame/Raster.h"

namespace orvi {

/// Positions of storage, the last ones included.
struct Reach {
    long left;
    long top;
    long right;
    long bottom;
};

/// Room for the samples of a tile; there is one call at a time.
inline constexpr std::size_t blockBytes = std::size_t{1} << 15;
alignas(64) inline std::byte blockMemory[blockBytes];

class SourceBlock {
public:
    SourceBlock(const Raster& source, long height, std::size_t pixelBytes) noexcept
        : source_(source),
          block_(source),
          pixelBytes_(static_cast<std::ptrdiff_t>(pixelBytes)),
          worth_(height * source.stride > static_cast<std::ptrdiff_t>(blockBytes)) {
        block_.data = blockMemory;
    }

    /// Copies a part, of which so many pixels are read; false where there is no gain in it.
    bool copy(const Reach& part, long pixels) noexcept {
        const std::ptrdiff_t rows = part.bottom - part.top + 1;
        const std::ptrdiff_t columns = part.right - part.left + 1;
        if (!worth_ || rows * columns > mostUnused * pixels) return false;
        const std::ptrdiff_t bytes = (columns - 1) * source_.pixel + pixelBytes_;
        block_.stride = ((bytes + lineBytes - 1) / lineBytes | 1) * lineBytes; // no power of two
        if (rows * block_.stride > static_cast<std::ptrdiff_t>(blockBytes)) return false;
        const std::byte* from = source_.data + part.top * source_.stride + part.left * source_.pixel;
        std::byte* to = block_.data;
        for (std::ptrdiff_t row = 0; row < rows; ++row, from += source_.stride, to += block_.stride) {
            std::memcpy(to, from, static_cast<std::size_t>(bytes));
        }
        return true;
    }

    /// What was copied last, from its first pixel on.
    const Raster& raster() const noexcept { return block_; }

private:
    static constexpr std::ptrdiff_t lineBytes = 64;
    static constexpr long mostUnused = 4; ///< samples copied for one that is read

    const Raster& source_;
    Raster block_;
    std::ptrdiff_t pixelBytes_;
    bool worth_;
};

} // namespace orvi
