// What the transposes of all data types share: where a pixel comes from, and the region of work.
#pragma once

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "orv/device/OrvOp.h"

namespace orvi {

inline constexpr int flipCount = 7;

/// A flip by its steps: by how many columns and rows the source moves for a step right and a step down in the
/// destination.
struct Flip {
    int columnRight;
    int columnDown;
    int rowRight;
    int rowDown;

    bool turnsRows() const noexcept { return columnRight == 0; }
};

/// About the x axis, the y axis, the main diagonal, the anti-diagonal; by 90, 180 and 270 degrees.
inline constexpr Flip flips[flipCount] = {
    {1, 0, 0, -1}, {-1, 0, 0, 1}, {0, 1, 1, 0}, {0, -1, -1, 0}, {0, -1, 1, 0}, {-1, 0, 0, -1}, {0, 1, -1, 0},
};

/// One call: both images, and the rectangles of the destination's storage that have a source.
class TransposeCall {
public:
    Raster src;
    Raster dst;
    unsigned bands = 0; ///< that both images have
    Flip flip{};
    int fliptype = 0;
    RectCursor rects;

    /// 2 after a report, or, for a flip that there is not, without one.
    OrvStatus open(OrvOp* op, OrvDataType type, const char* file) noexcept;

    /// The source's storage position of a storage position of the destination.
    long column(long x, long y) const noexcept { return firstColumn_ + flip.columnRight * x + flip.columnDown * y; }
    long row(long x, long y) const noexcept { return firstRow_ + flip.rowRight * x + flip.rowDown * y; }

private:
    OrvStatus findRects(OrvRoi* source, OrvRoi* destination, const char* file) noexcept;
    OrvRoi* flipped(OrvRoi* source) const noexcept;

    long width_ = 0;
    long height_ = 0;
    long firstColumn_ = 0;
    long firstRow_ = 0;
};

} // namespace orvi
