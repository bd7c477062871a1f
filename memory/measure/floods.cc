#include "memory/measure/floods.h"

#include "memory/frame/numbers.h"
#include "orv/device/OrvOp.h"

namespace orvi {

Seed seedOf(OrvOp* op, const Raster& image) noexcept {
    const auto place = [](float seed) {
        return static_cast<long>(toInt(addHalf(seed), lowest<std::int32_t>, highest<std::int32_t>));
    };
    return {place(op->getFloatParam(1)) + image.ox, place(op->getFloatParam(2)) + image.oy};
}

namespace {

/// Closes the run of open pixels about a pixel, and answers it. Where the pixel itself is closed the run starts right
/// of it, and may be empty.
Run closeRun(ClosedRows& rows, long column, long row) noexcept {
    if (rows.isOpen(column, row)) return rows.closeRun(row, column);
    const Run run{column + 1, rows.firstClosed(row, column + 1, rows.width())};
    rows.close(row, run.from, run.end);
    return run;
}

/// Whether a flood can start: a seed one column left of the image has the image's first column to its right, one
/// farther out has nothing.
bool reaches(const ClosedRows& rows, Seed seed) noexcept {
    return rows.hasRow(seed.row) && seed.column >= -1 && seed.column < rows.width();
}

/// Pushes what a run found in a frame's row leads to.
void pushShadows(FrameStack<SpanFrame>& stack, const SpanFrame& frame, Run run) noexcept {
    const int left = static_cast<int>(run.from);
    const int right = static_cast<int>(run.end) - 1;
    const int onward = frame.row + frame.direction;
    const int back = frame.row - frame.direction;
    stack.push({left, right, left - 1, right + 1, onward, frame.direction});
    if (right > frame.parentRight) {
        stack.push({frame.parentRight + 1, right, left - 1, right + 1, back, -frame.direction});
    }
    if (left < frame.parentLeft) {
        stack.push({left, frame.parentLeft - 1, left - 1, right + 1, back, -frame.direction});
    }
}

/// Floods the runs of a row that begin in a frame's span, or reach into its first pixel. They may end beyond it.
void floodSpan(ClosedRows& rows, FrameStack<SpanFrame>& stack, const SpanFrame& frame) noexcept {
    const long spanEnd = frame.right + 1L;
    long column = frame.left;
    bool open = rows.isOpen(column, frame.row);
    for (;;) {
        if (open) {
            const Run run = rows.closeRun(frame.row, column);
            pushShadows(stack, frame, run);
            column = run.end;
        }
        column = rows.firstOpen(frame.row, column + 1, spanEnd);
        if (column >= spanEnd) return;
        open = true;
    }
}

/// Pushes the runs of a neighbouring row that the run of a frame touches; what the frame's own parent covered is left
/// out on its row.
bool scanRow(ClosedRows& rows, FrameStack<RunFrame>& stack, const RunFrame& frame, Run run, int row) noexcept {
    if (!rows.hasRow(row)) return true;
    long from = run.from;
    long end = run.end;
    if (row == frame.parentRow) {
        if (frame.parentLeft <= run.from) from = frame.parentRight + 1L;
        if (frame.parentRight >= run.end - 1) end = frame.parentLeft;
    }
    return rows.eachOpenRun(row, from, end, [&](long column) {
        return stack.push(
            {static_cast<int>(column), row, static_cast<int>(run.from), static_cast<int>(run.end) - 1, frame.row});
    });
}

bool floodRun(ClosedRows& rows, FrameStack<RunFrame>& stack, const RunFrame& frame) noexcept {
    const Run run = closeRun(rows, frame.column, frame.row);
    return scanRow(rows, stack, frame, run, frame.row + 1) && scanRow(rows, stack, frame, run, frame.row - 1);
}

} // namespace

void floodSpans(ClosedRows& rows, FrameStack<SpanFrame>& stack, Seed seed) noexcept {
    if (!reaches(rows, seed)) return;
    const Run run = closeRun(rows, seed.column, seed.row);
    const int left = static_cast<int>(run.from);
    const int right = static_cast<int>(run.end) - 1;
    const int row = static_cast<int>(seed.row);
    stack.push({left, right, left - 1, right + 1, row + 1, 1});
    stack.push({left, right, left - 1, right + 1, row - 1, -1});
    for (SpanFrame frame{}; stack.pop(frame);) {
        if (rows.hasRow(frame.row)) floodSpan(rows, stack, frame);
    }
}

OrvStatus floodRuns(ClosedRows& rows, FrameStack<RunFrame>& stack, Seed seed) noexcept {
    if (!reaches(rows, seed)) return ORV_SUCCESS;
    const int column = static_cast<int>(seed.column);
    const int row = static_cast<int>(seed.row);
    if (!floodRun(rows, stack, {column, row, column, column, row})) return ORV_FAILURE;
    for (RunFrame frame{}; stack.pop(frame);) {
        if (rows.isOpen(frame.column, frame.row) && !floodRun(rows, stack, frame)) return ORV_FAILURE;
    }
    return ORV_SUCCESS;
}

} // namespace orvi
