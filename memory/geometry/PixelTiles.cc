#include "memory/geometry/PixelTiles.h"

#include <algorithm>
#include <cstring>

namespace orvi {

namespace {

struct Target {
    std::byte* first;
    std::ptrdiff_t pixel;
    std::ptrdiff_t stride;

    std::byte* at(std::ptrdiff_t x, std::ptrdiff_t y) const noexcept { return first + x * pixel + y * stride; }
};

/// `Size` is the bytes of a pixel where they are known beforehand, else 0.
template <std::size_t Size>
void copyTile(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
              std::ptrdiff_t height) noexcept {
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        std::byte* d = to.at(0, y);
        const std::byte* s = from.at(0, y);
        for (std::ptrdiff_t x = 0; x < width; ++x, d += to.pixel, s += from.right) {
            std::memcpy(d, s, Size != 0 ? Size : size);
        }
    }
}

using TileCopy = void (*)(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
                          std::ptrdiff_t height);

TileCopy tileCopyFor(std::size_t size) noexcept {
    switch (size) {
    case 1:
        return copyTile<1>;
    case 2:
        return copyTile<2>;
    case 3:
        return copyTile<3>;
    case 4:
        return copyTile<4>;
    case 6:
        return copyTile<6>;
    case 8:
        return copyTile<8>;
    default:
        return copyTile<0>;
    }
}

/// Tiles of this side keep the lines of both images in the first cache, however the source is stepped.
constexpr std::ptrdiff_t side = 32;

} // namespace

void copyPixels(std::byte* to, std::ptrdiff_t pixel, std::ptrdiff_t stride, const PixelSteps& from, std::size_t size,
                std::size_t width, std::size_t height) noexcept {
    const TileCopy copy = tileCopyFor(size);
    const Target target{to, pixel, stride};
    const auto columns = static_cast<std::ptrdiff_t>(width);
    const auto rows = static_cast<std::ptrdiff_t>(height);
    for (std::ptrdiff_t y = 0; y < rows; y += side) {
        for (std::ptrdiff_t x = 0; x < columns; x += side) {
            copy({target.at(x, y), pixel, stride}, {from.at(x, y), from.right, from.down}, size,
                 std::min(side, columns - x), std::min(side, rows - y));
        }
    }
}

} // namespace orvi
