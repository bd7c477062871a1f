// The two floods: from a seed outward until closed pixels stop them.
#pragma once

#include "memory/measure/ClosedRows.h"
#include "memory/measure/FrameStack.h"

namespace orvi {

/// A flood's seed as a storage position; it may lie outside the image.
struct Seed {
    long column;
    long row;
};

/// The seed of an op's first two parameters, in the common space, moved by an image's origin.
Seed seedOf(OrvOp* op, const Raster& image) noexcept;

/// A span of a row to examine, the span that it comes from widened by a pixel at either side, and the direction of
/// travel from that one's row.
struct SpanFrame {
    int left;
    int right;
    int parentLeft;
    int parentRight;
    int row;
    int direction;
};

/// The pixel where a run of open pixels starts. The run that it was found from is closed by the time it is examined, so
/// nothing need be known of it.
struct RunFrame {
    int column;
    int row;
};

/// The flood by spans with shadows: each run found is followed onward, and back where it overhangs the span that it was
/// found from. A shadow that finds no memory is lost, and the flood goes on with the others. The seed's row is inside
/// the image; where the seed itself is closed, what lies right of it is flooded. The rows keep what was flooded.
void floodSpans(ClosedRows& rows, FrameStack<SpanFrame>& stack, Seed seed) noexcept;

/// The flood by runs: each frame is one run of a row, found anew when its turn comes. 2 where it runs out of memory. A
/// seed outside the image counts as closed. The rows keep what was flooded.
/// What is flooded does not depend on the order, as long as there is memory: regions of many runs are flooded by
/// sweeps, which need none, and the memory that the runs might have needed is asked for all the same.
OrvStatus floodRuns(ClosedRows& rows, FrameStack<RunFrame>& stack, Seed seed) noexcept;

} // namespace orvi
