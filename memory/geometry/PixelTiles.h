// Copies of rectangles of pixels from a source that is stepped through in any direction.
#pragma once

#include <cstddef>

namespace orvi {

/// The source of a rectangle: its first pixel, and the bytes to its neighbours for a step right and a step down.
struct PixelSteps {
    const std::byte* first;
    std::ptrdiff_t right;
    std::ptrdiff_t down;

    const std::byte* at(std::ptrdiff_t x, std::ptrdiff_t y) const noexcept { return first + x * right + y * down; }
};

/// Copies rows of bytes that are not their own.
void copyRows(std::byte* to, std::ptrdiff_t stride, const std::byte* from, std::ptrdiff_t fromStride,
              std::ptrdiff_t bytes, std::ptrdiff_t rows) noexcept;

/// Copies `width` by `height` pixels of `size` bytes each to pixels `pixel` bytes apart in rows `stride` bytes apart.
void copyPixels(std::byte* to, std::ptrdiff_t pixel, std::ptrdiff_t stride, const PixelSteps& from, std::size_t size,
                std::size_t width, std::size_t height) noexcept;

} // namespace orvi
