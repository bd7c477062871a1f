// Translation by whole pixels.

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "memory/frame/Extent.h"
#include "memory/frame/gaps.h"
#include "memory/frame/numbers.h"
#include "memory/geometry/PixelTiles.h"
#include "memory/geometry/fast_paths.h"

namespace orvi {

namespace {

constexpr const char* file = "trans_NN.cc";
constexpr PictureFailures failures{{"di-9", 1, 0}, {"di-10", 1, 0}, {"di-6", 1, 1}};
constexpr Failure noList{"di-8", 1, 1};

/// The nearest whole number, halves upward.
long rounded(float v) noexcept { return toInt(std::floor(v + 0.5F), INT_MIN, INT_MAX); }

/// Copies rows of pixels of `size` bytes. The rows of one image may be those of the other.
void movePixels(const Raster& to, long x, long y, const Raster& from, long fromX, long fromY, long width, long height,
                std::size_t size, bool apart) noexcept {
    const bool dense = to.pixel == static_cast<std::ptrdiff_t>(size) && from.pixel == static_cast<std::ptrdiff_t>(size);
    if (apart && dense) {
        return copyRows(to.at<std::byte>(x, y), to.stride, from.at<std::byte>(fromX, fromY), from.stride,
                        width * static_cast<std::ptrdiff_t>(size), height);
    }
    for (long row = 0; row < height; ++row) {
        std::byte* d = to.at<std::byte>(x, y + row);
        const std::byte* s = from.at<std::byte>(fromX, fromY + row);
        if (apart) {
            copyAcrossGaps(d, to.pixel, s, from.pixel, size, static_cast<std::size_t>(width));
        } else if (dense) {
            std::memmove(d, s, static_cast<std::size_t>(width) * size);
        } else {
            for (long column = 0; column < width; ++column, d += to.pixel, s += from.pixel) std::memmove(d, s, size);
        }
    }
}

} // namespace

template <class T>
OrvStatus trans_NN(OrvImage* from, OrvImage* to, const Matrix& m) noexcept {
    Picture src;
    Picture dst;
    if (readPictures(src, dst, from, to, dataTypeOf<T>, failures, file) != ORV_SUCCESS) return ORV_FAILURE;
    OrvRoiList* list = src.roi->getRectList();
    if (list == nullptr) return fail(from, noList, file);
    RectCursor sources(list);

    const long dx = rounded(m.p[4]);
    const long dy = rounded(m.p[5]);
    const std::size_t size = std::min(src.raster.bands, dst.raster.bands) * sizeof(T);
    const bool apart = !Extent(src.raster, sizeof(T)).overlaps(Extent(dst.raster, sizeof(T)));
    for (Rect s{}; sources.next(s);) {
        list = dst.roi->getRectList();
        if (list == nullptr) return fail(to, noList, file);
        RectCursor targets(list);
        for (Rect d{}; targets.next(d);) {
            const long x1 = std::max(s.x + dx, d.x);
            const long y1 = std::max(s.y + dy, d.y);
            const long x2 = std::min(s.x + dx + static_cast<long>(s.width), d.x + static_cast<long>(d.width));
            const long y2 = std::min(s.y + dy + static_cast<long>(s.height), d.y + static_cast<long>(d.height));
            if (x1 >= x2 || y1 >= y2) continue;
            movePixels(dst.raster, x1, y1, src.raster, x1 - dx, y1 - dy, x2 - x1, y2 - y1, size, apart);
        }
    }
    return ORV_SUCCESS;
}

template OrvStatus trans_NN<std::uint8_t>(OrvImage*, OrvImage*, const Matrix&) noexcept;
template OrvStatus trans_NN<std::int16_t>(OrvImage*, OrvImage*, const Matrix&) noexcept;

} // namespace orvi
