// Transformations that are common enough for code of their own: whole rectangles, row by row, without runs.
#pragma once

#include <algorithm>
#include <cstdint>

#include "memory/frame/gaps.h"
#include "memory/geometry/GeomWalk.h"

namespace orvi {

/// A translation by whole pixels, whatever its fraction. The touched region is not set.
template <class T>
OrvStatus trans_NN(OrvImage* src, OrvImage* dst, const Matrix& m) noexcept;

/// Each source pixel becomes a block of two by two; only the rounded factors are used.
OrvStatus scale2_NN(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept;

/// Pixels between two are their truncated mean, along x first.
OrvStatus orv_bilinear_scale_2x_BYTE(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept;
OrvStatus orv_bilinear_scale_2x_SHORT(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept;

/// Each pixel is the truncated mean of a block of two by two.
OrvStatus orv_bilinear_scale_05x_BYTE(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept;
OrvStatus orv_bilinear_scale_05x_SHORT(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept;

/// What the scale paths share: both images, and the rectangles of the destination that the scaled source covers.
class ScaledRegion {
public:
    struct Facts {
        const char* file;
        int storagePrimary;
        Failure list;
        bool touches; ///< tells the destination what will be written
    };

    /// 2 after a report.
    OrvStatus open(OrvImage* from, OrvImage* to, OrvDataType type, float sx, float sy, const Facts& facts) noexcept;

    /// Whether the pixels of both images lie without gaps.
    template <class T>
    bool dense() const noexcept {
        return src.raster.pixelOf<T>() == bands && dst.raster.pixelOf<T>() == bands;
    }

    /// Whether pixels can go many at a time: dense ones, and others by way of dense blocks, which are read before what
    /// is made of them is written.
    template <class T>
    bool goesByBlocks() const noexcept {
        return dense<T>() || (bands <= mostBlockBands && apart);
    }

    static constexpr long mostBlockBands = 64;

    Picture src;
    Picture dst;
    unsigned bands = 0;
    bool apart = false; ///< the images share no samples
    RectCursor rects;
};

/// Columns from the first up to, and without, the end.
struct Columns {
    long first;
    long end;
};

/// Makes columns of a row by way of dense blocks, where the pixels of an image lie apart.
template <class T, class Rule>
[[gnu::noinline]] void scaleBlocks(const ScaledRegion& region, const Rule& rule, const Columns& columns,
                                   long y) noexcept {
    const auto bands = static_cast<long>(region.bands);
    const Raster& dst = region.dst.raster;
    const bool denseSource = region.src.raster.pixelOf<T>() == bands;
    const bool denseDestination = dst.pixelOf<T>() == bands;
    constexpr long mostSamples = 1024;
    T rows[2][2 * mostSamples];
    T made[mostSamples];
    const long most = mostSamples / bands & ~1L;
    const auto bytes = static_cast<std::size_t>(bands) * sizeof(T);
    const auto closed = [&](T* dense, const T* from, long pixels) -> const T* {
        if (denseSource) return from;
        closeGaps(reinterpret_cast<std::byte*>(dense), reinterpret_cast<const std::byte*>(from),
                  region.src.raster.pixel, bytes, static_cast<std::size_t>(pixels));
        return dense;
    };
    for (long x = columns.first; x < columns.end; x += most) {
        const long now = std::min(most, columns.end - x);
        const T* upper = region.src.nearest<T>(rule.column(x), rule.upper(y));
        const T* lower = region.src.nearest<T>(rule.column(x), rule.lower(y));
        const T* closedUpper = closed(rows[0], upper, rule.pixels(now));
        const T* closedLower = upper == lower ? closedUpper : closed(rows[1], lower, rule.pixels(now));
        T* to = dst.at<T>(x, y);
        rule.many(denseDestination ? to : made, closedUpper, closedLower, now);
        if (denseDestination) continue;
        openGaps(reinterpret_cast<std::byte*>(to), reinterpret_cast<const std::byte*>(made), dst.pixel, bytes,
                 static_cast<std::size_t>(now));
    }
}

/// Makes columns of a row by `rule.many(to, upper, lower, columns)` of dense source rows, those of `rule.upper(y)` and
/// `rule.lower(y)` from `rule.column(x)` on.
template <class T, class Rule>
void scaleMany(const ScaledRegion& region, const Rule& rule, const Columns& columns, long y) noexcept {
    if (!region.dense<T>()) return scaleBlocks<T>(region, rule, columns, y);
    const auto source = [&](long row) { return region.src.nearest<T>(rule.column(columns.first), row); };
    rule.many(region.dst.raster.at<T>(columns.first, y), source(rule.upper(y)), source(rule.lower(y)),
              columns.end - columns.first);
}

/// Makes the pixels of some columns of a row: those that `rule.atOnce(columns)` picks many at a time, the others by
/// `rule.single(to, x, y)`.
template <class T, class Rule>
void scaleRow(const ScaledRegion& region, const Rule& rule, const Columns& columns, long y) noexcept {
    const Columns many = region.goesByBlocks<T>() ? rule.atOnce(columns) : Columns{columns.first, columns.first};
    const auto to = [&](long x) { return region.dst.raster.template at<T>(x, y); };
    for (long x = columns.first; x < many.first; ++x) rule.single(to(x), x, y);
    if (many.first < many.end) scaleMany<T>(region, rule, many, y);
    for (long x = many.end; x < columns.end; ++x) rule.single(to(x), x, y);
}

} // namespace orvi
