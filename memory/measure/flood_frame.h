// What every fill does about its flood: images, scratch, and the visit of what was flooded.
#pragma once

#include <algorithm>

#include "memory/frame/Frame.h"
#include "memory/measure/ClosedRows.h"

namespace orvi {

/// How all fills report what they cannot have.
inline constexpr Failure noFillMemory{"di-1", 1, 0};

template <class S>
constexpr FrameFacts fillFacts(const char* file) noexcept {
    return {file, oneSourceFetches<S, S>, {"di-8", 1, 0}, src1};
}

/// visit(long row, long begin, long end) for each row of the rectangles that the flood came to, in storage positions of
/// the source.
template <class Visit>
void eachFloodedRow(RectCursor& rects, const ClosedRows& rows, const Raster& source, Visit visit) noexcept {
    for (Rect rect{}; rects.next(rect);) {
        const long firstRow = std::max(rect.y + source.oy, rows.firstRow());
        const long endRow = std::min(rect.y + source.oy + static_cast<long>(rect.height), rows.endRow());
        const long begin = rect.x + source.ox;
        for (long row = firstRow; row < endRow; ++row) visit(row, begin, begin + static_cast<long>(rect.width));
    }
}

/// visit(long x, long y, long pixels) for each run of flooded pixels in the rectangles, in the common space. The rows
/// keep the flooded pixels alone by now.
template <class Visit>
void eachFlooded(RectCursor& rects, ClosedRows& rows, const Raster& source, Visit visit) noexcept {
    eachFloodedRow(rects, rows, source, [&](long row, long begin, long end) {
        for (long from = begin; (from = rows.firstClosed(row, from, end)) < end;) {
            const long runEnd = rows.firstOpen(row, from, end);
            visit(from - source.ox, row - source.oy, runEnd - from);
            from = runEnd;
        }
    });
}

} // namespace orvi
