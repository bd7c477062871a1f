// Rows of bits one below the other.
#pragma once

#include <cstddef>

#include "memory/frame/Raster.h"

namespace orvi {

/// Where the first row begins, and how far on the next: each begins at the same bit of its byte.
struct BitRows {
    BitPosition first;
    std::ptrdiff_t stride;

    BitPosition row(std::size_t i) const noexcept {
        return {first.byte + static_cast<std::ptrdiff_t>(i) * stride, first.offset};
    }
    /// The same rows from the last to the first.
    BitRows upwards(std::size_t rows) const noexcept { return {row(rows - 1), -stride}; }
};

} // namespace orvi
