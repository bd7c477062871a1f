// Dilation and erosion of bit images. Positions outside the source are no part of the neighbourhood.
//
// As with bytes the runs of the element's columns are combined first, here by whole bytes of bits as they lie in the
// source; each column of the element then brings the bits of its run, shifted.

#include <array>

#include "memory/filter/ColumnRuns.h"
#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

/// Bytes of bits combined; `start` is what a pixel without neighbours becomes.
struct BitDilation {
    template <class T>
    static constexpr T start = 0;
    template <class T>
    static T of(T a, T b) noexcept {
        return static_cast<T>(a | b);
    }
};
struct BitErosion {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::max();
    template <class T>
    static T of(T a, T b) noexcept {
        return static_cast<T>(a & b);
    }
};

/// A row of bits and where in its first byte the first one lies.
struct ShiftedRow {
    const std::uint8_t* from;
    std::uint16_t shift;
};

constexpr long vectorBytes = static_cast<long>(lanes::vectorBytes);

/// The bits of some rows combined, for `Count` vectors from byte `at` on.
template <class Operation, int Count>
void combineShiftedAt(std::uint8_t* to, const ShiftedRow* rows, long rowCount, long at) noexcept {
    using lanes::U16;
    using lanes::U8;
    U8 results[Count];
#pragma GCC unroll 4
    for (U8& result : results) result = U8{} + Operation::template start<std::uint8_t>;
    for (long row = 0; row < rowCount; ++row) {
        const auto [from, shift] = rows[row];
        const auto rest = static_cast<std::uint16_t>(8 - shift);
        const auto lowBits = static_cast<std::uint8_t>((1U << shift) - 1);
        const U8 low = U8{} + lowBits;
#pragma GCC unroll 4
        for (int i = 0; i < Count; ++i) {
            const std::uint8_t* bytes = from + at + i * vectorBytes;
            const auto first = (U8)(lanes::load<U16>(bytes) << shift);
            const auto second = (U8)(lanes::load<U16>(bytes + 1) >> rest);
            results[i] = Operation::of(results[i], (first & ~low) | (second & low));
        }
    }
#pragma GCC unroll 4
    for (int i = 0; i < Count; ++i) lanes::store(to + at + i * vectorBytes, results[i]);
}

/// The same for a row, in whole vectors. Of every row the byte behind the last one is read as well.
template <class Operation>
void combineShifted(std::uint8_t* to, const ShiftedRow* rows, long rowCount, long bytes) noexcept {
    constexpr int together = 4;
    long at = 0;
    for (; at + together * vectorBytes <= bytes; at += together * vectorBytes) {
        combineShiftedAt<Operation, together>(to, rows, rowCount, at);
    }
    for (; at < bytes; at += vectorBytes) combineShiftedAt<Operation, 1>(to, rows, rowCount, at);
}

template <class Operation>
class BitRunWalk {
public:
    BitRunWalk(const Raster& from, const Raster& to, const ColumnRuns& runs) noexcept
        : from_(from), to_(to), runs_(runs), reach_(from) {
        while (stripPixels_ > leastPixels && !holds(nearBytes)) stripPixels_ /= 2;
    }

    /// Whether there is room for the runs.
    bool fits() const noexcept { return holds(static_cast<long>(stripBytes)); }

    void rectangle(const Rect& rect, unsigned band) noexcept {
        const long width = rect.width;
        for (long x = 0; x < width; x += stripPixels_) {
            strip({rect.x + x, rect.y, static_cast<unsigned>(std::min(stripPixels_, width - x)), rect.height}, band);
        }
    }

private:
    static constexpr long rowsTogether = 2;
    /// Strips are as wide as lets their runs stay in the first cache: memory is slow to bring short pieces of rows.
    static constexpr long leastPixels = 2048;
    static constexpr long mostPixels = 16384;
    static constexpr long nearBytes = 12288;

    bool holds(long bytes) const noexcept { return (1 + rowsTogether * runCount()) * rowBytes() <= bytes; }
    long rowBytes() const noexcept { return bytesFor(stripPixels_) + 2 * vectorBytes; }
    /// For the windows of so many pixels, with a byte more at the front and room for a start within a byte.
    long bytesFor(long pixels) const noexcept { return (pixels + runs_.furtherColumns()) / 8 + 4; }

    void strip(const Rect& rect, unsigned band) noexcept {
        const long left = rect.x + from_.ox + runs_.firstColumn();
        const Reach::Part inside = reach_.part(left, 0, rect.width + runs_.furtherColumns());
        const long offset = from_.offset;
        usedBytes_ = bytesFor(rect.width);
        firstByte_ = ((left + offset) >> 3) - 1;
        insideFirst_ = left + inside.first + offset;
        insideEnd_ = left + inside.end + offset;
        std::fill_n(memory(0), (1 + rowsTogether * runCount()) * rowBytes(), start);
        const long height = rect.height;
        for (long y = 0; y < height; y += rowsTogether) {
            if (insideFirst_ < insideEnd_) makeRuns(rect.y + y + from_.oy, band);
            for (long i = 0; i < std::min(rowsTogether, height - y); ++i) {
                useRuns(i, left, to_.bit(rect.x, rect.y + y + i, band), rect.width);
            }
        }
    }

    /// The runs of two output rows, the first of which reads about the source's row `row`.
    void makeRuns(long row, unsigned band) noexcept {
        const long first = insideFirst_ >> 3;
        const long bytes = ((insideEnd_ + 7) >> 3) - first;
        for (long i = 0; i < runCount(); ++i) {
            const ColumnRuns::Run& run = runs_.runs()[static_cast<std::size_t>(i)];
            std::uint8_t* to[] = {runRow(i, 0), runRow(i, 1)};
            if (run.narrower != ColumnRuns::none) {
                for (long k = 0; k < rowsTogether; ++k) widen(run, to[k], k);
                continue;
            }
            for (std::uint8_t*& bits : to) bits += first - firstByte_;
            makeRun<Operation>(run, to[0], to[1], bytes, [&](long k) { return sourceRow(row + k, band, first); });
            for (std::uint8_t* bits : to) {
                keepBits(bits[0], 0xffU >> (insideFirst_ & 7));
                keepBits(bits[bytes - 1], 0xff00U >> (((insideEnd_ - 1) & 7) + 1));
            }
        }
    }

    void widen(const ColumnRuns::Run& run, std::uint8_t* to, long index) noexcept {
        const std::uint8_t* narrower = runRow(run.narrower, index);
        const ShiftedRow rows[] = {{narrower, 0},
                                   {narrower + run.columns / 8, static_cast<std::uint16_t>(run.columns % 8)}};
        combineShifted<Operation>(to, rows, 2, usedBytes_ - run.columns / 8);
    }

    /// Only these bits of a byte are samples.
    static void keepBits(std::uint8_t& byte, unsigned mask) noexcept {
        byte = static_cast<std::uint8_t>((byte & mask) | (start & ~mask));
    }

    /// An output row from the runs of the element's columns.
    void useRuns(long index, long left, BitPosition to, unsigned pixels) noexcept {
        static std::array<ShiftedRow, ColumnRuns::mostUses> rows;
        alignas(64) static std::uint8_t results[mostPixels / 8 + 1 + vectorBytes];
        // The results lie in their bytes as in the destination's.
        const long first = left + static_cast<long>(from_.offset) - 8 * firstByte_ - static_cast<long>(to.offset);
        long count = 0;
        for (const ColumnRuns::Use& use : runs_.uses()) {
            const long position = first + use.column - runs_.firstColumn();
            rows[static_cast<std::size_t>(count++)] = {runRow(use.run, index) + (position >> 3),
                                                       static_cast<std::uint16_t>(position & 7)};
        }
        combineShifted<Operation>(results, rows.data(), count,
                                  (static_cast<long>(to.offset) + static_cast<long>(pixels) + 7) >> 3);
        combineBits(
            to, pixels, [](auto bits) { return bits; }, BitPosition{results, to.offset});
    }

    /// A byte of a source row, or of one of start values.
    const std::uint8_t* sourceRow(long row, unsigned band, long byte) const noexcept {
        if (row < 0 || row >= reach_.height) return memory(0);
        return reinterpret_cast<const std::uint8_t*>(from_.data) + band * from_.bandStride + row * from_.stride + byte;
    }

    long runCount() const noexcept { return static_cast<long>(runs_.runs().size()); }
    std::uint8_t* memory(long row) const noexcept {
        return reinterpret_cast<std::uint8_t*>(stripMemory) + row * rowBytes();
    }
    std::uint8_t* runRow(long run, long index) const noexcept { return memory(1 + rowsTogether * run + index); }

    static constexpr std::uint8_t start = Operation::template start<std::uint8_t>;

    const Raster& from_;
    const Raster& to_;
    const ColumnRuns& runs_;
    Reach reach_;
    long stripPixels_ = mostPixels;
    long usedBytes_ = 0;
    long firstByte_ = 0;   ///< of a source row: what the first byte of a run's row stands for
    long insideFirst_ = 0; ///< the bits of a source row that a strip reads
    long insideEnd_ = 0;
};

/// The plain walk, for elements that have no room in the fast one and for images that share samples: there each result
/// is read by the pixels after it.
template <class Operation>
void filterPixels(const Raster& from, const Raster& to, const Offsets& offsets, const Rect& rect,
                  unsigned band) noexcept {
    const Reach reach(from);
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
            unsigned result = Operation::template start<std::uint8_t>;
            for (std::size_t i = 0; i < offsets.count; ++i) {
                const long column = x + offsets.columns[i];
                const long row = y + offsets.rows[i];
                if (!reach.contains(column + from.ox, row + from.oy)) continue;
                const BitPosition neighbour = from.bit(column, row, band);
                const bool set = (*neighbour.byte & bit_mask[neighbour.offset]) != 0;
                result = Operation::of(result, set ? 0xffU : 0U);
            }
            const BitPosition pixel = to.bit(x, y, band);
            bit_rows::mergeBits(pixel.byte, pixel.offset, 1, result);
        }
    }
}

template <class Operation>
OrvStatus bitMorphology(OrvOp* op, const char* file) noexcept {
    const FrameFacts facts = morphologyFacts<Bit>(file);
    Frame frame(op);
    auto* const element = static_cast<OrvSel*>(op->getPtrParam(1));
    Offsets offsets;
    if (!offsets.read(element)) return fail(frame.image(src1), noMemory, facts.file);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;

    const unsigned bands = commonBands(frame[dst], frame[src1]);
    ColumnRuns runs;
    const bool apart = !Extent::ofBits(frame[src1]).overlaps(Extent::ofBits(frame[dst]));
    const bool found = apart && runs.find(element);
    BitRunWalk<Operation> walk(frame[src1], frame[dst], runs);
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < bands; ++band) {
            if (found && walk.fits()) {
                walk.rectangle(rect, band);
            } else {
                filterPixels<Operation>(frame[src1], frame[dst], offsets, rect, band);
            }
        }
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Dilate1(OrvOp* op, int) noexcept {
    return bitMorphology<BitDilation>(op, "Dilate1Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Erode1(OrvOp* op, int) noexcept {
    return bitMorphology<BitErosion>(op, "Erode1Memory.cc");
}
