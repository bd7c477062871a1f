// A region cut to a rectangle.
#pragma once

#include "orv/device/OrvRoi.h"

/// The part of `roi` inside the rectangle between two corners, both inclusive and in any order: the caller destroys it.
/// Null on failure, which is reported.
OrvRoi* orvi_roi_clip(OrvRoi* roi, long x1, long y1, long x2, long y2) noexcept;
