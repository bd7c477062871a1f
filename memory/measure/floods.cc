#include "memory/measure/floods.h"

#include "memory/frame/numbers.h"
#include "memory/measure/flood_sweeps.h"
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

using SpanStack = FrameStack<SpanFrame>::Top;
using RunStack = FrameStack<RunFrame>::Top;

/// What a run found in a frame's row leads to: onward, and back where it overhangs what the frame comes from.
struct Shadows {
    const SpanFrame& frame;
    int left;
    int right;
    bool overhangsRight;
    bool overhangsLeft;

    Shadows(const SpanFrame& found, int from, int to) noexcept
        : frame(found),
          left(from),
          right(to),
          overhangsRight(to > found.parentRight),
          overhangsLeft(from < found.parentLeft) {}

    bool turns() const noexcept { return overhangsRight || overhangsLeft; }
    SpanFrame onward() const noexcept { return span(left, right, frame.direction); }
    SpanFrame backRight() const noexcept { return span(frame.parentRight + 1, right, -frame.direction); }
    SpanFrame backLeft() const noexcept { return span(left, frame.parentLeft - 1, -frame.direction); }
    /// The last of those that there are.
    SpanFrame last() const noexcept {
        return span(overhangsRight && !overhangsLeft ? frame.parentRight + 1 : left,
                    overhangsLeft ? frame.parentLeft - 1 : right, turns() ? -frame.direction : frame.direction);
    }

private:
    SpanFrame span(int from, int to, int direction) const noexcept {
        return {from, to, left - 1, right + 1, frame.row + direction, direction};
    }
};

/// Pushes what a run leads to. A push that fails loses what it would have led to.
void pushShadows(SpanStack& stack, const Shadows& shadows) noexcept {
    stack.push(shadows.onward());
    if (shadows.overhangsRight) stack.push(shadows.backRight());
    if (shadows.overhangsLeft) stack.push(shadows.backLeft());
}

/// The closed pixels of a row's window. Beside the image all are.
std::uint64_t closedIn(ClosedRows& rows, long first, int row) noexcept {
    return rows.hasRow(row) ? rows.window(first, row) : ~std::uint64_t{0};
}

/// Floods the runs of a row that begin in a frame's span, or reach into its first pixel. They may end beyond it.
void floodSpan(ClosedRows& rows, SpanStack& stack, const SpanFrame& frame) noexcept {
    const long spanEnd = frame.right + 1L;
    long column = frame.left;
    bool open = rows.isOpen(column, frame.row);
    for (;;) {
        if (open) {
            const Run run = rows.closeRun(frame.row, column);
            pushShadows(stack, Shadows(frame, static_cast<int>(run.from), static_cast<int>(run.end) - 1));
            column = run.end;
        }
        column = rows.firstOpen(frame.row, column + 1, spanEnd);
        if (column >= spanEnd) return;
        open = true;
    }
}

/// Floods a span, and then those that the stack would give next, as long as one window holds them with their runs:
/// these need not go through the stack.
void floodSpansFrom(ClosedRows& rows, SpanStack& stack, SpanFrame frame) noexcept {
    if (!rows.hasWindows() || frame.left >= rows.width()) return floodSpan(rows, stack, frame);
    const auto first = static_cast<int>(rows.windowAbout(frame.left));
    std::uint64_t closed = closedIn(rows, first, frame.row);
    for (;;) {
        const int from = frame.left - first;
        const int to =
            std::max(frame.left, frame.right) - first; // a span without pixels has its first one all the same
        if (to >= window::pixels) return floodSpan(rows, stack, frame);
        std::uint64_t open = ~closed & window::span(from, to);
        if (open == 0) return;
        window::Run run{};
        for (;;) {
            run = window::runAbout(closed, std::countl_zero(open));
            if (!run.whole) return floodSpan(rows, stack, frame);
            const std::uint64_t pixels = window::span(run.from, run.to);
            closed |= pixels;
            open &= ~pixels;
            rows.setWindow(first, frame.row, closed);
            if (open == 0) break;
            pushShadows(stack, Shadows(frame, first + run.from, first + run.to));
        }
        const std::uint64_t closedOnward = closedIn(rows, first, frame.row + frame.direction);
        const std::uint64_t closedBack = closedIn(rows, first, frame.row - frame.direction);
        const Shadows shadows(frame, first + run.from, first + run.to);
        if (!stack.hasRoom(3)) return pushShadows(stack, shadows);
        stack.pushIf(shadows.turns(), shadows.onward());
        stack.pushIf(shadows.overhangsRight && shadows.overhangsLeft, shadows.backRight());
        closed = shadows.turns() ? closedBack : closedOnward;
        frame = shadows.last();
    }
}

/// Pushes the runs of a neighbouring row that a run touches. What the run was itself found from is closed by now.
bool scanRow(ClosedRows& rows, RunStack& stack, Run run, long row) noexcept {
    if (!rows.hasRow(row)) return true;
    return rows.eachOpenRun(row, run.from, run.end, [&](long column) {
        return stack.push({static_cast<int>(column), static_cast<int>(row)});
    });
}

bool floodRun(ClosedRows& rows, RunStack& stack, const RunFrame& frame) noexcept {
    const Run run = closeRun(rows, frame.column, frame.row);
    return scanRow(rows, stack, run, frame.row + 1L) && scanRow(rows, stack, run, frame.row - 1L);
}

/// Pushes a frame for each of the marked columns of a window.
bool pushStarts(RunStack& stack, std::uint64_t starts, int first, int row) noexcept {
    for (; starts != 0; starts &= ~window::bit(std::countl_zero(starts))) {
        if (!stack.push({first + std::countl_zero(starts), row})) return false;
    }
    return true;
}

constexpr bool atMostOne(std::uint64_t bits) noexcept { return (bits & (bits - 1)) == 0; }

/// Floods the run of a frame, and then those that the stack would give next, as long as one window holds them: these
/// need not go through the stack.
bool floodRunsFrom(ClosedRows& rows, RunStack& stack, RunFrame frame, std::size_t& walked) noexcept {
    if (!rows.hasWindows()) return floodRun(rows, stack, frame);
    const auto first = static_cast<int>(rows.windowAbout(frame.column));
    std::uint64_t closed = closedIn(rows, first, frame.row);
    int pixel = frame.column - first;
    int row = frame.row;
    for (;; ++walked) {
        const auto run = window::runAbout(closed, pixel);
        if (!run.whole) return floodRun(rows, stack, {first + pixel, row});
        const std::uint64_t pixels = window::span(run.from, run.to);
        rows.setWindow(first, row, closed | pixels);
        const std::uint64_t closedBelow = closedIn(rows, first, row + 1);
        const std::uint64_t closedAbove = closedIn(rows, first, row - 1);
        const std::uint64_t below = window::starts(pixels & ~closedBelow);
        const std::uint64_t above = window::starts(pixels & ~closedAbove);
        if ((below | above) == 0) return true;
        const bool goesUp = above != 0;
        const std::uint64_t last = goesUp ? above : below;
        if (atMostOne(below) && atMostOne(above) && stack.hasRoom(2)) {
            stack.pushIf(goesUp && below != 0, {first + std::countl_zero(below), row + 1});
        } else {
            const std::uint64_t othersBelow = goesUp ? below : below & (below - 1);
            const std::uint64_t othersAbove = goesUp ? above & (above - 1) : 0;
            if (!pushStarts(stack, othersBelow, first, row + 1)) return false;
            if (!pushStarts(stack, othersAbove, first, row - 1)) return false;
            if (!stack.hasRoom(1)) return pushStarts(stack, last & -last, first, goesUp ? row - 1 : row + 1);
        }
        closed = goesUp ? closedAbove : closedBelow;
        pixel = window::pixels - 1 - std::countr_zero(last);
        row += goesUp ? -1 : 1;
    }
}

} // namespace

void floodSpans(ClosedRows& rows, FrameStack<SpanFrame>& frames, Seed seed) noexcept {
    if (!reaches(rows, seed)) return; // no row is made
    const Run run = closeRun(rows, seed.column, seed.row);
    const int left = static_cast<int>(run.from);
    const int right = static_cast<int>(run.end) - 1;
    const int row = static_cast<int>(seed.row);
    SpanStack stack = frames.top();
    stack.push({left, right, left - 1, right + 1, row + 1, 1});
    stack.push({left, right, left - 1, right + 1, row - 1, -1});
    for (SpanFrame frame{}; stack.pop(frame);) {
        if (rows.hasRow(frame.row)) floodSpansFrom(rows, stack, frame);
    }
    rows.keepFlooded();
}

namespace {

enum class Walk { done, outOfMemory, tooLong };

/// Floods from run to run, to the end or until sweeps over whole rows seem to take less time.
Walk walkRuns(ClosedRows& rows, RunStack stack, RunFrame frame, bool toTheEnd) noexcept {
    constexpr std::size_t fewRuns = 32;
    constexpr std::size_t wordsInTimeOfRun = 2;
    if (!floodRun(rows, stack, frame)) return Walk::outOfMemory;
    for (std::size_t walked = 0; stack.pop(frame); ++walked) {
        if (!rows.isOpen(frame.column, frame.row)) continue;
        if (!floodRunsFrom(rows, stack, frame, walked)) return Walk::outOfMemory;
        if (toTheEnd || walked < fewRuns) continue;
        const auto height = static_cast<std::size_t>(rows.endRow() - rows.firstRow());
        if (walked * wordsInTimeOfRun > rows.words() * height) return Walk::tooLong;
    }
    return Walk::done;
}

/// Floods by sweeps what the walk has left, and asks for the memory that it would have asked for. False where that
/// cannot be had.
bool floodBySweeps(ClosedRows& rows, FrameStack<RunFrame>& frames) noexcept {
    const bool complete = sweep(rows) || eachOpenBesideFlooded(rows, [&](long column, long row) {
                              const RunFrame frame{static_cast<int>(column), static_cast<int>(row)};
                              return walkRuns(rows, frames.trialTop(), frame, true) == Walk::done;
                          });
    if (!complete) return false;
    rows.keepFlooded();
    return frames.reserve(mostRunsInWait(rows));
}

} // namespace

OrvStatus floodRuns(ClosedRows& rows, FrameStack<RunFrame>& frames, Seed seed) noexcept {
    if (!reaches(rows, seed)) return ORV_SUCCESS;
    const RunFrame frame{static_cast<int>(seed.column), static_cast<int>(seed.row)};
    Walk walk = walkRuns(rows, frames.top(), frame, rows.words() > SweptRow::mostWords);
    if (walk == Walk::tooLong) {
        if (floodBySweeps(rows, frames)) return ORV_SUCCESS;
        rows.forget(); // where memory runs out the walk ends, wherever it is
        walk = walkRuns(rows, frames.top(), frame, true);
    }
    rows.keepFlooded();
    return walk == Walk::done ? ORV_SUCCESS : ORV_FAILURE;
}

} // namespace orvi
