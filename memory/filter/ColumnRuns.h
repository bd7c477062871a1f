// The fast walk of dilation and erosion.
//
// An element is taken apart into runs of members within its columns. Many columns have the same run: the greatest (or
// least) samples of a run are made once, for a strip of columns and two output rows at a time, and every column that
// has the run reads them from where it lies. What lies outside the source holds the start value there, so that no
// loop asks.
#pragma once

#include <array>

#include "memory/filter/Element.h"
#include "memory/filter/samples.h"
#include "memory/filter/strips.h"

namespace orvi {

/// The runs of an element.
struct ColumnRuns {
    struct Run {
        long first; ///< row of its first member, from the key
        long count;
    };
    struct Use {
        long column; ///< from the key
        long run;
    };
    static constexpr long mostRuns = 256;
    static constexpr long mostUses = 4096;
    static constexpr long mostRows = 512;

    /// False where the element has too much of something: then its members are used one by one.
    bool find(OrvSel* element) noexcept {
        const unsigned width = element->getWidth();
        const unsigned height = element->getHeight();
        const unsigned* values = element->getValue();
        if (height > mostRows) return false;
        for (unsigned column = 0; column < width; ++column) {
            for (unsigned row = 0; row < height; ++row) {
                unsigned end = row;
                while (end < height && values[std::size_t{end} * width + column] != 0) ++end;
                if (end == row) continue;
                const Run run{static_cast<std::int32_t>(row - element->getKeyY()), end - row};
                if (!add(static_cast<std::int32_t>(column - element->getKeyX()), run)) return false;
                row = end;
            }
        }
        return true;
    }

    /// Columns and rows from the first to the last that the element reads.
    long columns() const noexcept { return useCount == 0 ? 0 : lastColumn - firstColumn + 1; }
    long rows() const noexcept { return useCount == 0 ? 0 : lastRow - firstRow + 1; }

    std::array<Run, mostRuns> runs;
    std::array<Use, mostUses> uses;
    long runCount = 0;
    long useCount = 0;
    long firstColumn = 0;
    long lastColumn = 0;
    long firstRow = 0;
    long lastRow = 0;

private:
    bool add(long column, const Run& run) noexcept {
        const auto same = [&](const Run& other) { return other.first == run.first && other.count == run.count; };
        const auto found = std::find_if(runs.begin(), runs.begin() + runCount, same);
        if (found == runs.end() || useCount == mostUses) return false;
        *found = run;
        runCount = std::max(runCount, static_cast<long>(found - runs.begin()) + 1);
        const long lastOfRun = run.first + run.count - 1;
        firstRow = useCount == 0 ? run.first : std::min(firstRow, run.first);
        lastRow = useCount == 0 ? lastOfRun : std::max(lastRow, lastOfRun);
        firstColumn = useCount == 0 ? column : std::min(firstColumn, column);
        lastColumn = useCount == 0 ? column : std::max(lastColumn, column);
        uses[static_cast<std::size_t>(useCount++)] = {column, found - runs.begin()};
        return true;
    }
};

/// `Count` vectors, or samples, of the greatest or least of some rows; `finish(at, V)` takes them.
template <class Operation, class V, int Count, class T, class Finish>
inline void combineAt(const T* const* rows, long rowCount, long at, Finish finish) noexcept {
    constexpr long step = sizeof(V) / sizeof(T);
    V results[Count];
#pragma GCC unroll 4
    for (V& result : results) result = static_cast<V>(V{} + Operation::template start<T>);
    for (long row = 0; row < rowCount; ++row) {
        const T* samples = rows[row] + at;
#pragma GCC unroll 4
        for (int i = 0; i < Count; ++i) results[i] = Operation::of(results[i], lanes::load<V>(samples + i * step));
    }
#pragma GCC unroll 4
    for (int i = 0; i < Count; ++i) finish(at + i * step, results[i]);
}

/// The greatest or least of some rows. Samples may be made more than once.
template <class Operation, class T, class Finish>
inline void combineRows(const T* const* rows, long rowCount, long samples, Finish finish) noexcept {
    using Vector = lanes::Vec<T>;
    constexpr long step = lanes::count<T>;
    constexpr int together = 4;
    long at = 0;
    for (; at + together * step <= samples; at += together * step) {
        combineAt<Operation, Vector, together>(rows, rowCount, at, finish);
    }
    for (; at + step <= samples; at += step) combineAt<Operation, Vector, 1>(rows, rowCount, at, finish);
    if (at == samples) return;
    if (samples >= step) return combineAt<Operation, Vector, 1>(rows, rowCount, samples - step, finish);
    for (; at < samples; ++at) combineAt<Operation, T, 1>(rows, rowCount, at, finish);
}

template <class T, class Operation>
class ColumnRunWalk {
public:
    ColumnRunWalk(const Raster& from, const Raster& to, long bands, const ColumnRuns& runs) noexcept
        : from_(from), to_(to), bands_(bands), runs_(runs), reach_(from), source_(from, reach_.width, reach_.height) {
        const bool packs = source_.pixel != bands;
        packedRows_ = packs ? runs.rows() + rowsTogether - 1 : 0;
        const long rows = firstRunRow + rowsTogether * runs.runCount + packedRows_;
        rowSamples_ = static_cast<long>(stripBytes / sizeof(T)) / rows & ~63L;
        const long wanted = std::max(leastSamples, static_cast<long>(cacheBytes / sizeof(T)) / rows);
        const long room = rowSamples_ - std::max(0L, runs.columns() - 1) * bands;
        stripPixels_ = std::min(room, wanted) / bands;
    }

    /// Whether the rows of a strip have room for what the element reads.
    bool fits() const noexcept { return stripPixels_ > 0; }

    void rectangle(const Rect& rect) noexcept {
        const long width = rect.width;
        for (long x = 0; x < width; x += stripPixels_) {
            strip({rect.x + x, rect.y, static_cast<unsigned>(std::min(stripPixels_, width - x)), rect.height});
        }
    }

private:
    static constexpr long rowsTogether = 2;
    // The rows of memory: start values, results of a destination whose pixels lie apart, the runs, packed source rows.
    static constexpr long outsideRow = 0;
    static constexpr long resultRow = 1;
    static constexpr long firstRunRow = 2;
    static constexpr long leastSamples = 256;
    static constexpr std::size_t cacheBytes = std::size_t{1} << 14;

    void strip(const Rect& rect) noexcept {
        const long pixels = rect.width;
        left_ = rect.x + from_.ox + runs_.firstColumn;
        inside_ = reach_.part(left_, 0, pixels + std::max(0L, runs_.columns() - 1));
        const long samples = (pixels + std::max(0L, runs_.columns() - 1)) * bands_;
        std::fill_n(memory(outsideRow), samples, Operation::template start<T>);
        for (long i = 0; i < rowsTogether * runs_.runCount; ++i) {
            std::fill_n(memory(firstRunRow + i), samples, Operation::template start<T>);
        }
        packedEnd_ = std::max(0L, rect.y + from_.oy + runs_.firstRow);
        const long height = rect.height;
        for (long y = 0; y < height; y += rowsTogether) {
            makeRuns(rect.y + y + from_.oy);
            for (long i = 0; i < std::min(rowsTogether, height - y); ++i) useRuns(i, rect.x, rect.y + y + i, pixels);
        }
    }

    /// The runs of two output rows, the first of which reads about the source's row `row`.
    void makeRuns(long row) noexcept {
        const long samples = (inside_.end - inside_.first) * bands_;
        if (samples == 0) return;
        if (packedRows_ > 0) pack(row + runs_.lastRow + rowsTogether - 1);
        for (long i = 0; i < runs_.runCount; ++i) {
            const ColumnRuns::Run& run = runs_.runs[static_cast<std::size_t>(i)];
            const T* rows[ColumnRuns::mostRows + 1];
            for (long k = 0; k <= run.count; ++k) rows[k] = sourceRow(row + run.first + k);
            const T* above = rows[0];
            const T* below = rows[run.count];
            T* first = runRow(i, 0) + inside_.first * bands_;
            T* second = runRow(i, 1) + inside_.first * bands_;
            combineRows<Operation>(rows + 1, run.count - 1, samples, [=]<class V>(long at, V common) {
                lanes::store<V>(first + at, Operation::of(common, lanes::load<V>(above + at)));
                lanes::store<V>(second + at, Operation::of(common, lanes::load<V>(below + at)));
            });
        }
    }

    /// An output row from the runs of the element's columns.
    void useRuns(long index, long x, long y, long pixels) noexcept {
        const T* rows[ColumnRuns::mostUses];
        for (long i = 0; i < runs_.useCount; ++i) {
            const ColumnRuns::Use& use = runs_.uses[static_cast<std::size_t>(i)];
            rows[i] = runRow(use.run, index) + (use.column - runs_.firstColumn) * bands_;
        }
        T* pixel = to_.at<T>(x, y);
        const bool dense = to_.pixelOf<T>() == bands_;
        T* results = dense ? pixel : memory(resultRow);
        combineRows<Operation>(rows, runs_.useCount, pixels * bands_,
                               [results]<class V>(long at, V result) { lanes::store<V>(results + at, result); });
        if (!dense) unpackRow(pixel, results, to_.pixelOf<T>(), bands_, pixels);
    }

    /// The samples of a strip in a source row, from its first column inside the source on.
    const T* sourceRow(long row) const noexcept {
        if (row < 0 || row >= reach_.height) return memory(outsideRow);
        return packedRows_ > 0 ? packedRow(row) : source_.at(left_ + inside_.first, row);
    }

    void pack(long lastRow) noexcept {
        for (; packedEnd_ <= std::min(lastRow, reach_.height - 1); ++packedEnd_) {
            packRow(packedRow(packedEnd_), source_.at(left_ + inside_.first, packedEnd_), source_.pixel, bands_,
                    inside_.end - inside_.first);
        }
    }

    T* memory(long row) const noexcept { return reinterpret_cast<T*>(stripMemory) + row * rowSamples_; }
    T* runRow(long run, long index) const noexcept { return memory(firstRunRow + rowsTogether * run + index); }
    T* packedRow(long row) const noexcept {
        return memory(firstRunRow + rowsTogether * runs_.runCount + row % packedRows_);
    }

    const Raster& from_;
    const Raster& to_;
    long bands_;
    const ColumnRuns& runs_;
    Reach reach_;
    Samples<const T> source_;
    long packedRows_ = 0;
    long packedEnd_ = 0; ///< the first source row that is not packed yet
    long rowSamples_ = 0;
    long stripPixels_ = 0;
    long left_ = 0;        ///< the column that the element's first column reads for the first pixel of a strip
    Reach::Part inside_{}; ///< the columns of a strip that lie inside the source
};

} // namespace orvi
