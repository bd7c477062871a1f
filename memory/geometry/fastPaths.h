// Transformations that are common enough for code of their own: whole rectangles, row by row, without runs.
#pragma once

#include <cstdint>

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
        const auto pixel = static_cast<std::ptrdiff_t>(bands);
        return src.raster.pixelOf<T>() == pixel && dst.raster.pixelOf<T>() == pixel;
    }

    Picture src;
    Picture dst;
    unsigned bands = 0;
    RectCursor rects;
};

/// Columns from the first up to, and without, the end.
struct Columns {
    long first;
    long end;
};

/// Makes the pixels of some columns of a row: of dense images those that `rule.atOnce(columns)` picks, by
/// `rule.many(to, x, y, columns)`, the others by `rule.single(to, x, y)`.
template <class T, class Rule>
void scaleRow(const ScaledRegion& region, const Rule& rule, const Columns& columns, long y) noexcept {
    const Columns many = region.dense<T>() ? rule.atOnce(columns) : Columns{columns.first, columns.first};
    const auto to = [&](long x) { return region.dst.raster.template at<T>(x, y); };
    for (long x = columns.first; x < many.first; ++x) rule.single(to(x), x, y);
    if (many.first < many.end) rule.many(to(many.first), many.first, y, many.end - many.first);
    for (long x = many.end; x < columns.end; ++x) rule.single(to(x), x, y);
}

} // namespace orvi
