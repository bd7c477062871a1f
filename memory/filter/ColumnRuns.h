// The fast walk of dilation and erosion.
//
// An element is taken apart into runs of members within its columns. Many columns have the same run: the greatest (or
// least) samples of a run are made once, for a strip of columns and two output rows at a time, and every column that
// has the run reads them from where it lies. What lies outside the source holds the start value there, so that no
// loop asks.
#pragma once

#include <array>
#include <span>

#include "memory/filter/Element.h"
#include "memory/filter/samples.h"
#include "memory/filter/strips.h"
#include "memory/frame/row_moves.h"

namespace orvi {

/// The runs of an element. Where many columns side by side have the same run, those of two columns, of four and so on
/// are combined in turn, and two of the widest cover them all.
class ColumnRuns {
public:
    struct Run {
        long first; ///< row of its first member, from the key
        long count;
        long narrower =
            none; ///< the run that this one combines with itself, some columns on; it has no rows of its own
        long columns = 1;
    };
    struct Use {
        long column; ///< from the key
        long run;
    };
    static constexpr long none = -1;
    static constexpr long mostRuns = 256;
    static constexpr long mostUses = 2048;
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
        return std::all_of(spans_.begin(), spans_.begin() + spanCount_, [&](const Span& span) { return use(span); });
    }

    std::span<const Run> runs() const noexcept { return {runs_.data(), static_cast<std::size_t>(runCount_)}; }
    std::span<const Use> uses() const noexcept { return {uses_.data(), static_cast<std::size_t>(useCount_)}; }

    /// The first column and row that the element reads, from the key, and how much farther it reaches.
    long firstColumn() const noexcept { return firstColumn_; }
    long furtherColumns() const noexcept { return lastColumn_ - firstColumn_; }
    long firstRow() const noexcept { return firstRow_; }
    long furtherRows() const noexcept { return lastRow_ - firstRow_; }

private:
    /// Columns side by side that have the same run.
    struct Span {
        long column;
        long columns;
        long run;
    };
    static constexpr long leastShared = 8;

    bool add(long column, const Run& run) noexcept {
        const long lastOfRun = run.first + run.count - 1;
        const bool first = spanCount_ == 0;
        firstRow_ = first ? run.first : std::min(firstRow_, run.first);
        lastRow_ = first ? lastOfRun : std::max(lastRow_, lastOfRun);
        firstColumn_ = first ? column : std::min(firstColumn_, column);
        lastColumn_ = first ? column : std::max(lastColumn_, column);

        const auto same = [&](const Run& other) { return other.first == run.first && other.count == run.count; };
        const long index = findOrAdd(run, same);
        if (index == none) return false;
        Span*& latest = latest_[static_cast<std::size_t>(index)];
        if (latest != nullptr && latest->column + latest->columns == column) {
            ++latest->columns;
            return true;
        }
        if (spanCount_ == mostUses) return false;
        latest = &spans_[static_cast<std::size_t>(spanCount_++)];
        *latest = {column, 1, index};
        return true;
    }

    template <class Same>
    long findOrAdd(const Run& run, Same same) noexcept {
        Run* const end = runs_.data() + runCount_;
        Run* const found = std::find_if(runs_.data(), end, same);
        if (found == end) {
            if (runCount_ == mostRuns) return none;
            *found = run;
            ++runCount_;
        }
        return found - runs_.data();
    }

    bool use(const Span& span) noexcept {
        long run = span.run;
        long width = 1;
        while (span.columns >= leastShared && 2 * width <= span.columns) {
            const long wider = findOrAdd({0, 0, run, width}, [run](const Run& other) { return other.narrower == run; });
            if (wider == none) break;
            run = wider;
            width *= 2;
        }
        const long last = span.column + span.columns - width;
        for (long column = span.column;; column = std::min(column + width, last)) {
            if (useCount_ == mostUses) return false;
            uses_[static_cast<std::size_t>(useCount_++)] = {column, run};
            if (column == last) return true;
        }
    }

    std::array<Run, mostRuns> runs_;
    std::array<Use, mostUses> uses_;
    std::array<Span, mostUses> spans_;
    std::array<Span*, mostRuns> latest_{}; ///< of each run
    long runCount_ = 0;
    long useCount_ = 0;
    long spanCount_ = 0;
    long firstColumn_ = 0;
    long lastColumn_ = 0;
    long firstRow_ = 0;
    long lastRow_ = 0;
};

/// `Count` vectors, or samples, of the greatest or least of some rows; `finish(at, V)` takes them.
template <class Operation, class V, int Count, class T, class Finish>
inline void combineAt(const T* const* rows, long rowCount, long at, Finish finish) noexcept {
    constexpr long step = std::is_same_v<V, T> ? 1 : static_cast<long>(lanes::count<T>);
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

/// A run for an output row and for the one below it; `row(k)` is the source row that lies k below that of the first
/// one's pixel.
template <class Operation, class T, class Row>
inline void makeRun(const ColumnRuns::Run& run, T* first, T* second, long samples, Row row) noexcept {
    const T* rows[ColumnRuns::mostRows + 1];
    for (long k = 0; k <= run.count; ++k) rows[k] = row(run.first + k);
    const T* above = rows[0];
    const T* below = rows[run.count];
    combineRows<Operation>(rows + 1, run.count - 1, samples, [=]<class V>(long at, V common) {
        lanes::store<V>(first + at, Operation::of(common, lanes::load<V>(above + at)));
        lanes::store<V>(second + at, Operation::of(common, lanes::load<V>(below + at)));
    });
}

template <class T, class Operation>
class ColumnRunWalk {
public:
    ColumnRunWalk(const Raster& from, const Raster& to, long bands, const ColumnRuns& runs) noexcept
        : from_(from),
          to_(to),
          own_(bands),
          bands_(leavesGaps(from.pixelOf<T>(), to.pixelOf<T>(), bands) ? from.pixelOf<T>() : bands),
          runs_(runs),
          reach_(from),
          source_(from, reach_.width, reach_.height) {
        const bool packs = source_.pixel != bands_;
        packedRows_ = packs ? runs.furtherRows() + rowsTogether : 0;
        const long rows = firstRunRow + rowsTogether * runCount() + packedRows_;
        rowSamples_ = static_cast<long>(stripBytes / sizeof(T)) / rows & ~63L;
        const long wanted =
            std::max(leastSamples, static_cast<long>(cacheBytes / sizeof(T)) / (rows + runs.furtherRows()));
        const long room = rowSamples_ - runs.furtherColumns() * bands;
        stripPixels_ = std::min(room, wanted) / bands;
    }

    /// Whether the rows of a strip have room for what the element reads.
    bool fits() const noexcept { return stripPixels_ > 0; }

    void rectangle(const Rect& rect) noexcept {
        const long width = rect.width;
        past_ =
            to_.pixelOf<T>() == own_ && goesPast(static_cast<std::size_t>(width * bands_) * rect.height * sizeof(T));
        for (long x = 0; x < width; x += stripPixels_) {
            strip({rect.x + x, rect.y, static_cast<unsigned>(std::min(stripPixels_, width - x)), rect.height});
        }
        if (past_) endPast();
    }

private:
    static constexpr long rowsTogether = 2;
    // The rows of memory: start values, results that do not go straight to their destination, the runs, packed source
    // rows.
    static constexpr long outsideRow = 0;
    static constexpr long resultRow = 1;
    static constexpr long firstRunRow = 2;
    static constexpr long leastSamples = 256;
    static constexpr std::size_t cacheBytes = std::size_t{1} << 15;

    /// Whether gaps count as bands: where they are small, to close and open them takes longer than to make them too.
    static bool leavesGaps(std::ptrdiff_t from, std::ptrdiff_t to, long bands) noexcept {
        return from == to && 3 * from <= 4 * bands;
    }

    void strip(const Rect& rect) noexcept {
        const long pixels = rect.width;
        left_ = rect.x + from_.ox + runs_.firstColumn();
        inside_ = reach_.part(left_, 0, pixels + runs_.furtherColumns());
        stripSamples_ = (pixels + runs_.furtherColumns()) * bands_;
        std::fill_n(memory(outsideRow), stripSamples_, Operation::template start<T>);
        for (long i = 0; i < rowsTogether * runCount(); ++i) {
            std::fill_n(memory(firstRunRow + i), stripSamples_, Operation::template start<T>);
        }
        packedEnd_ = std::max(0L, rect.y + from_.oy + runs_.firstRow());
        const long height = rect.height;
        for (long y = 0; y < height; y += rowsTogether) {
            makeRuns(rect.y + y + from_.oy);
            for (long i = 0; i < std::min(rowsTogether, height - y); ++i) useRuns(i, rect.x, rect.y + y + i, pixels);
        }
    }

    /// The runs of two output rows, the first of which reads about the source's row `row`.
    void makeRuns(long row) noexcept {
        if (inside_.end == inside_.first) return;
        // The last pixel has no gap.
        const long samples = (inside_.end - inside_.first - 1) * bands_ + own_;
        if (packedRows_ > 0) pack(row + runs_.firstRow() + packedRows_ - 1);
        for (long i = 0; i < runCount(); ++i) {
            const ColumnRuns::Run& run = runs_.runs()[static_cast<std::size_t>(i)];
            if (run.narrower == ColumnRuns::none) {
                makeRun<Operation>(run, runRow(i, 0) + inside_.first * bands_, runRow(i, 1) + inside_.first * bands_,
                                   samples, [&](long k) { return sourceRow(row + k); });
            } else {
                for (long k = 0; k < rowsTogether; ++k) widen(run, runRow(i, k), k);
            }
        }
    }

    void widen(const ColumnRuns::Run& run, T* to, long index) noexcept {
        const T* narrower = runRow(run.narrower, index);
        const T* rows[] = {narrower, narrower + run.columns * bands_};
        combineRows<Operation>(rows, 2, stripSamples_ - run.columns * bands_, store(to));
    }

    /// An output row from the runs of the element's columns.
    void useRuns(long index, long x, long y, long pixels) noexcept {
        const T* rows[ColumnRuns::mostUses];
        long count = 0;
        for (const ColumnRuns::Use& use : runs_.uses()) {
            rows[count++] = runRow(use.run, index) + (use.column - runs_.firstColumn()) * bands_;
        }
        T* pixel = to_.at<T>(x, y);
        const bool straight = to_.pixelOf<T>() == own_ && !past_;
        T* results = straight ? pixel : memory(resultRow);
        combineRows<Operation>(rows, count, pixels * bands_, store(results));
        if (past_) {
            copyPast(pixel, results, static_cast<std::size_t>(pixels * bands_) * sizeof(T));
        } else if (!straight) {
            constexpr auto size = static_cast<long>(sizeof(T));
            copyAcrossGaps(reinterpret_cast<std::byte*>(pixel), to_.pixel, reinterpret_cast<const std::byte*>(results),
                           bands_ * size, static_cast<std::size_t>(own_ * size), static_cast<std::size_t>(pixels));
        }
    }

    static auto store(T* to) noexcept {
        return [to]<class V>(long at, V result) { lanes::store<V>(to + at, result); };
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

    long runCount() const noexcept { return static_cast<long>(runs_.runs().size()); }
    T* memory(long row) const noexcept { return reinterpret_cast<T*>(stripMemory) + row * rowSamples_; }
    T* runRow(long run, long index) const noexcept { return memory(firstRunRow + rowsTogether * run + index); }
    T* packedRow(long row) const noexcept {
        return memory(firstRunRow + rowsTogether * runCount() + row % packedRows_);
    }

    const Raster& from_;
    const Raster& to_;
    long own_;   ///< bands that are a pixel's
    long bands_; ///< with those of a gap
    const ColumnRuns& runs_;
    Reach reach_;
    Samples<const T> source_;
    bool past_ = false; ///< results go past the caches
    long packedRows_ = 0;
    long packedEnd_ = 0; ///< the first source row that is not packed yet
    long rowSamples_ = 0;
    long stripPixels_ = 0;
    long stripSamples_ = 0; ///< that a strip's windows reach
    long left_ = 0;         ///< the column that the element's first column reads for the first pixel of a strip
    Reach::Part inside_{};  ///< the columns of a strip that lie inside the source
};

} // namespace orvi
