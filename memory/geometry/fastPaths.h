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

    Picture src;
    Picture dst;
    unsigned bands = 0;
    RectCursor rects;
};

} // namespace orvi
