// Each source pixel becomes a block of two by two.

#include <climits>

#include "memory/frame/numbers.h"
#include "memory/geometry/fastPaths.h"

namespace orvi {

namespace {

constexpr ScaledRegion::Facts facts{"scale2_NN.cc", 0, {"di-12", 1, 0}, true};

float rounded(float factor) noexcept { return static_cast<float>(toInt(factor + 0.5F, INT_MIN, INT_MAX)); }

void doubleRow(const ScaledRegion& region, const Rect& rect, long y) noexcept {
    for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
        const std::uint8_t* from = region.src.raster.at<std::uint8_t>(x >> 1, y >> 1);
        std::uint8_t* to = region.dst.raster.at<std::uint8_t>(x, y);
        for (unsigned band = 0; band < region.bands; ++band) to[band] = from[band];
    }
}

} // namespace

OrvStatus scale2_NN(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    ScaledRegion region;
    if (region.open(src, dst, ORV_BYTE, rounded(sx), rounded(sy), facts) != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; region.rects.next(rect);) {
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) doubleRow(region, rect, y);
    }
    return ORV_SUCCESS;
}

} // namespace orvi
