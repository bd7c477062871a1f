// Each source pixel becomes a block of two by two.

#include <algorithm>
#include <climits>
#include <cstring>

#include "memory/frame/numbers.h"
#include "memory/geometry/by_bands.h"
#include "memory/geometry/fast_paths.h"

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

class Doubling {
public:
    explicit Doubling(const ScaledRegion& region) noexcept : region_(region) {}

    static Columns atOnce(const Columns& columns) noexcept {
        const long even = std::min(columns.end, columns.first + (columns.first & 1));
        return {even, columns.end - ((columns.end - even) & 1)};
    }

    static long column(long x) noexcept { return x >> 1; }
    static long upper(long y) noexcept { return y >> 1; }
    static long lower(long y) noexcept { return y >> 1; }
    static long pixels(long columns) noexcept { return columns / 2; }

    void many(std::uint8_t* to, const std::uint8_t* from, const std::uint8_t*, long columns) const noexcept {
        byBands(region_.bands, [&](auto bands) { doublePixels<bands>(to, from, columns / 2, region_.bands); });
    }

    void single(std::uint8_t* to, long x, long y) const noexcept {
        std::memcpy(to, region_.src.nearest<std::uint8_t>(column(x), upper(y)), region_.bands);
    }

private:
    const ScaledRegion& region_;
};

void doubleRectangle(const ScaledRegion& region, const Rect& rect) noexcept {
    const Doubling rule(region);
    const Columns columns{rect.x, rect.x + static_cast<long>(rect.width)};
    const Raster& dst = region.dst.raster;
    const auto to = [&](long y) { return dst.at<std::byte>(rect.x, y); };
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        // The lower half of a source row is a copy of the upper one.
        if (region.goesByBlocks<std::uint8_t>() && y > rect.y && (y & 1) != 0) {
            copyAcrossGaps(to(y), dst.pixel, to(y - 1), dst.pixel, region.bands, rect.width);
        } else {
            scaleRow<std::uint8_t>(region, rule, columns, y);
        }
    }
}

} // namespace

OrvStatus scale2_NN(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    ScaledRegion region;
    if (region.open(src, dst, ORV_BYTE, rounded(sx), rounded(sy), facts) != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; region.rects.next(rect);) doubleRectangle(region, rect);
    return ORV_SUCCESS;
}

} // namespace orvi
