// Each source pixel becomes a block of two by two.

#include <algorithm>
#include <climits>
#include <cstring>

#include "memory/frame/numbers.h"
#include "memory/geometry/fastPaths.h"

namespace orvi {

namespace {

constexpr ScaledRegion::Facts facts{"scale2_NN.cc", 0, {"di-12", 1, 0}, true};

float rounded(float factor) noexcept { return static_cast<float>(toInt(factor + 0.5F, INT_MIN, INT_MAX)); }

/// Doubles dense pixels along a row. `Bands` is the number of bands, 0 for any.
template <unsigned Bands>
void doublePixels(std::uint8_t* to, const std::uint8_t* from, long pixels, unsigned anyBands) noexcept {
    const unsigned bands = Bands != 0 ? Bands : anyBands;
    if constexpr (Bands == 1) {
        for (long i = 0; i < pixels; ++i) to[2 * i] = to[2 * i + 1] = from[i];
        return;
    }
    for (long i = 0; i < pixels; ++i, to += 2 * bands, from += bands) {
        std::memcpy(to, from, bands);
        std::memcpy(to + bands, from, bands);
    }
}

class Doubler {
public:
    explicit Doubler(const ScaledRegion& region) noexcept
        : region_(region),
          dense_(region.src.raster.pixel == static_cast<std::ptrdiff_t>(region.bands) &&
                 region.dst.raster.pixel == static_cast<std::ptrdiff_t>(region.bands)) {}

    void rectangle(const Rect& rect) const noexcept {
        const long bottom = rect.y + static_cast<long>(rect.height);
        for (long y = rect.y; y < bottom; ++y) {
            // The lower half of a source row is a copy of the upper one.
            if (dense_ && y > rect.y && (y & 1) != 0) {
                std::memcpy(to(rect.x, y), to(rect.x, y - 1), std::size_t{rect.width} * region_.bands);
            } else {
                row(rect.x, rect.x + static_cast<long>(rect.width), y);
            }
        }
    }

private:
    std::uint8_t* to(long x, long y) const noexcept { return region_.dst.raster.at<std::uint8_t>(x, y); }
    const std::uint8_t* from(long x, long y) const noexcept {
        return region_.src.raster.at<std::uint8_t>(x >> 1, y >> 1);
    }

    void row(long x, long end, long y) const noexcept {
        if (!dense_) return single(x, end, y);
        const long even = std::min(end, x + (x & 1));
        const long pairs = (end - even) / 2;
        single(x, even, y);
        if (pairs > 0) doubleRow(to(even, y), from(even, y), pairs);
        single(even + 2 * pairs, end, y);
    }

    void doubleRow(std::uint8_t* d, const std::uint8_t* s, long pixels) const noexcept {
        switch (region_.bands) {
        case 1:
            return doublePixels<1>(d, s, pixels, 0);
        case 3:
            return doublePixels<3>(d, s, pixels, 0);
        case 4:
            return doublePixels<4>(d, s, pixels, 0);
        default:
            return doublePixels<0>(d, s, pixels, region_.bands);
        }
    }

    void single(long x, long end, long y) const noexcept {
        for (; x < end; ++x) {
            for (unsigned band = 0; band < region_.bands; ++band) to(x, y)[band] = from(x, y)[band];
        }
    }

    const ScaledRegion& region_;
    bool dense_;
};

} // namespace

OrvStatus scale2_NN(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    ScaledRegion region;
    if (region.open(src, dst, ORV_BYTE, rounded(sx), rounded(sy), facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Doubler doubler(region);
    for (Rect rect{}; region.rects.next(rect);) doubler.rectangle(rect);
    return ORV_SUCCESS;
}

} // namespace orvi
