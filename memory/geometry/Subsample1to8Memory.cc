// Shrinks bits to bytes: each destination pixel counts the set bits of its box of the source.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/gaps.h"
#include "memory/geometry/SubsampleBoxes.h"
#include "memory/geometry/bit_counts.h"

namespace {

using namespace orvi;

/// A count of set bits in boxes of one size, brought to the scale of another: the factor times the count's share, with
/// the quotient in single precision.
struct Rescaled {
    long factor;
    long divisor;

    std::uint8_t operator()(long count) const noexcept {
        const float share = static_cast<float>(count) / static_cast<float>(divisor);
        return static_cast<std::uint8_t>(toInt(static_cast<double>(factor) * static_cast<double>(share), 0, 255));
    }
};

/// Brings the counts of boxes of unlike sizes to the scale of the largest, so that pixels compare.
class CountScale {
public:
    CountScale(float scaleX, float scaleY) noexcept {
        const float ix = 1.0F / scaleX;
        const float iy = 1.0F / scaleY;
        const long wmax = larger(ix);
        const long hmax = larger(iy);
        const long wmin = toInt(ix, 0, INT_MAX);
        const long hmin = toInt(iy, 0, INT_MAX);
        largest_ = wmax * hmax;
        sizes_[0] = {wmax, hmax, {1, 1}};
        sizes_[1] = {wmax, hmin, {hmax, hmin}};
        sizes_[2] = {wmin, hmax, {wmax, wmin}};
        sizes_[3] = {wmin, hmin, {largest_, wmin * hmin}};
    }

    /// Tables of the four sizes; false without memory. Without them, and for counts beyond them, values are computed.
    bool makeTables() noexcept {
        for (Size& size : sizes_) {
            const long entries = std::min(size.width * size.height + 1, mostEntries);
            size.table = Array<std::uint8_t>(static_cast<std::size_t>(entries));
            if (!size.table) return false;
            for (long i = 0; i < entries; ++i) size.table[static_cast<std::size_t>(i)] = size.rescaled(i);
        }
        return true;
    }

    std::uint8_t value(long count, const Box& box) const noexcept {
        for (const Size& size : sizes_) {
            if (box.columns.count != size.width || box.rows.count != size.height) continue;
            return size.table && count < mostEntries ? size.table[static_cast<std::size_t>(count)]
                                                     : size.rescaled(count);
        }
        return Rescaled{largest_, box.area()}(count);
    }

private:
    static constexpr long mostEntries = 0x10000;

    struct Size {
        long width;
        long height;
        Rescaled rescaled;
        Array<std::uint8_t> table = {};
    };

    static long larger(float size) noexcept { return toInt(static_cast<double>(size) + 0.9999, 0, INT_MAX); }

    Size sizes_[4];
    long largest_;
};

/// The side of square boxes that are counted many at a time, or 0.
long squareSide(float x, float y) noexcept {
    const auto third = [](float scale) {
        return static_cast<double>(scale) > 0.32 && static_cast<double>(scale) < 0.34;
    };
    if (x == 0.5F && y == 0.5F) return 2;
    if (x == 0.25F && y == 0.25F) return 4;
    return third(x) && third(y) ? 3 : 0;
}

/// Whether the boxes of some rectangles are squares from their corners on, rather than where the scale puts them.
bool squaresFromCorners(const SubsampleCall& call) noexcept {
    return call.src.bands == 1 && call.dst.bands == 1 && call.dst.pixel == 1 && call.src.offset == 0;
}

/// Whether a rectangle and its image begin at multiples of 8 pixels of their rows.
bool startsOnBytes(const SubsampleCall& call, const Rect& rect) noexcept {
    return ((rect.x + call.src.ox) & 7) == 0 && ((scaledPlace(rect.x, call.scaleX) + call.dst.ox) & 7) == 0;
}

BoxCounter& squareCounter(long side) noexcept {
    constexpr BoxCounter* counters[] = {Subsample1to8_2x2, Subsample1to8_3x3, Subsample1to8_4x4};
    return *counters[side - 2];
}

/// Squares that are counted at a time where they begin at any bit.
constexpr long mostSquares = 1024;
constexpr long mostSide = 4;

/// Counts the set bits of a row of squares, at most so many, from a place of a plane on. Of squares that end with the
/// plane some upper rows alone may count.
void countSquares(const Raster& src, unsigned band, long x, long y, long side, long rows, long squares,
                  std::uint8_t* counts) noexcept {
    constexpr std::ptrdiff_t stride = mostSquares * mostSide / 8;
    std::uint8_t moved[mostSide * stride];
    const auto bits = static_cast<unsigned>(squares * side);
    const auto height = static_cast<unsigned>(side);
    const BitPosition at = src.bit(x, y, band);
    if (at.offset == 0 && rows == side) return squareCounter(side)(at.byte, counts, bits, height, src.stride, 0);
    for (long row = 0; row < side; ++row) {
        std::uint8_t* to = moved + row * stride;
        if (row < rows) {
            combineBits(
                {to, 0}, bits, [](auto v) { return v; }, src.bit(x, y + row, band));
        } else {
            std::memset(to, 0, (bits + 7) / 8);
        }
    }
    squareCounter(side)(moved, counts, bits, height, stride, 0);
}

/// What the counts of boxes of an area become.
class CountTable {
public:
    template <class Value>
    CountTable(long area, Value value) noexcept {
        for (long count = 0; count <= area; ++count) {
            values_[count] = value(count);
            same_ = same_ && values_[count] == count;
        }
    }

    std::uint8_t operator()(long count) const noexcept { return values_[count]; }
    void operator()(std::uint8_t* counts, long boxes) const noexcept {
        if (same_) return;
        for (long i = 0; i < boxes; ++i) counts[i] = values_[counts[i]];
    }

private:
    std::uint8_t values_[mostSide * mostSide + 1];
    bool same_ = true;
};

/// Squares from the corner of a rectangle on; what is left at its right and lower edges is brought to their scale.
class Squares {
public:
    Squares(const SubsampleCall& call, const Rect& rect, long side) noexcept
        : call_(call),
          rect_(rect),
          side_(side),
          toX_(scaledPlace(rect.x, call.scaleX)),
          toY_(scaledPlace(rect.y, call.scaleY)) {}

    void run() const noexcept {
        const long columns = static_cast<long>(rect_.width) / side_;
        const long rows = static_cast<long>(rect_.height) / side_;
        const long right = static_cast<long>(rect_.width) % side_;
        const long lower = static_cast<long>(rect_.height) % side_;
        eachTarget(0, 0, columns, rows,
                   [this](long i, long j, long width, long height) { whole(i, j, width, height); });
        if (lower != 0) {
            eachTarget(0, rows, columns, 1, [&](long i, long j, long width, long) { row(i, j, width, lower); });
        }
        if (right == 0) return;
        eachTarget(columns, 0, 1, rows, [&](long i, long j, long, long height) { column(i, j, height, right, side_); });
        if (lower == 0) return;
        eachTarget(columns, rows, 1, 1, [&](long i, long j, long, long) { column(i, j, 1, right, lower); });
    }

private:
    template <class Visit>
    void eachTarget(long i, long j, long columns, long rows, Visit visit) const noexcept {
        call_.eachTarget(toX_ + i, toY_ + j, columns, rows,
                         [&](long x, long y, long width, long height) { visit(x - toX_, y - toY_, width, height); });
    }

    /// The squares from number `i` of each row and row `j` on.
    void whole(long i, long j, long columns, long rows) const noexcept {
        const BitPosition from = call_.src.bit(rect_.x + i * side_, rect_.y + j * side_, 0);
        if (from.offset == 0) {
            return squareCounter(side_)(from.byte, call_.dst.at<std::uint8_t>(toX_ + i, toY_ + j),
                                        static_cast<unsigned>(columns * side_), static_cast<unsigned>(rows * side_),
                                        call_.src.stride, call_.dst.stride);
        }
        for (long k = 0; k < rows; ++k) row(i, j + k, columns, side_);
    }

    /// One row of them, of which some upper rows of bits are left.
    void row(long i, long j, long columns, long rows) const noexcept {
        const CountTable table(rows * side_, scaleOf(rows * side_));
        for (long done = 0; done < columns; done += mostSquares) {
            const long now = std::min(mostSquares, columns - done);
            std::uint8_t* to = call_.dst.at<std::uint8_t>(toX_ + i + done, toY_ + j);
            countSquares(call_.src, 0, rect_.x + (i + done) * side_, rect_.y + j * side_, side_, rows, now, to);
            table(to, now);
        }
    }

    /// One column of boxes that are no whole squares.
    void column(long i, long j, long boxes, long width, long height) const noexcept {
        const CountTable table(width * height, scaleOf(width * height));
        for (long k = j; k < j + boxes; ++k) {
            const Box box{{rect_.x + i * side_, width, toX_ + i}, {rect_.y + k * side_, height, toY_ + k}};
            *call_.dst.at<std::uint8_t>(box.columns.to, box.rows.to) = table(setBits(call_.src, box, 0));
        }
    }

    Rescaled scaleOf(long area) const noexcept {
        return area == side_ * side_ ? Rescaled{1, 1} : Rescaled{side_ * side_, area};
    }

    const SubsampleCall& call_;
    const Rect& rect_;
    long side_;
    long toX_;
    long toY_;
};

/// The boxes of a rectangle where the scale puts them. Most of a small scale's are squares of one size side by side:
/// those are counted many at a time. The images share no memory.
class ScaledBoxes {
public:
    ScaledBoxes(const SubsampleCall& call, const Rect& rect, const CountScale& scale) noexcept
        : call_(call), rect_(rect), scale_(scale) {}

    void run() const noexcept {
        SpanWalk across(rect_.x, rect_.x + static_cast<long>(rect_.width), call_.scaleX);
        Spans alike{};
        for (Span span{}; across.next(span);) {
            if (alike.count == mostSquares || (alike.count > 0 && span.count != alike.first.count)) {
                down(alike);
                alike.count = 0;
            }
            if (alike.count++ == 0) alike.first = span;
        }
        down(alike);
    }

private:
    /// Spans of one length side by side.
    struct Spans {
        Span first;
        long count;

        Span operator[](long i) const noexcept { return {first.first + i * first.count, first.count, first.to + i}; }
    };

    void down(const Spans& columns) const noexcept {
        SpanWalk rows(rect_.y, rect_.y + static_cast<long>(rect_.height), call_.scaleY);
        for (Span row{}; rows.next(row);) {
            call_.eachTarget(columns.first.to, row.to, columns.count, 1, [&](long x, long, long width, long) {
                boxes({columns[x - columns.first.to], width}, row);
            });
        }
    }

    void boxes(const Spans& columns, const Span& row) const noexcept {
        const long side = columns.first.count;
        std::uint8_t values[mostSquares];
        for (unsigned band = 0; band < call_.bands; ++band) {
            if (side >= 2 && side <= mostSide && row.count <= side) {
                const Box box{columns.first, row};
                countSquares(call_.src, band, columns.first.first, row.first, side, row.count, columns.count, values);
                CountTable(box.area(), [&](long count) { return scale_.value(count, box); })(values, columns.count);
            } else {
                for (long i = 0; i < columns.count; ++i) {
                    const Box box{columns[i], row};
                    values[i] = scale_.value(setBits(call_.src, box, band), box);
                }
            }
            openGaps(call_.dst.at<std::byte>(columns.first.to, row.to) + band,
                     reinterpret_cast<const std::byte*>(values), call_.dst.pixel, 1,
                     static_cast<std::size_t>(columns.count));
        }
    }

    const SubsampleCall& call_;
    const Rect& rect_;
    const CountScale& scale_;
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Subsample1to8(OrvOp* op, int) noexcept {
    SubsampleCall call;
    if (call.open(op, ORV_BIT, ORV_BYTE, "Subsample1to8Memory.cc") != ORV_SUCCESS) return ORV_FAILURE;
    CountScale scale(call.scaleX, call.scaleY);
    const long side = squareSide(call.scaleX, call.scaleY);
    const bool fromCorners = side != 0 && squaresFromCorners(call);
    if (!fromCorners && !scale.makeTables()) return call.outOfMemory();
    if (call.list() != ORV_SUCCESS) return ORV_FAILURE;
    const bool apart = !Extent::ofBits(call.src).overlaps(Extent(call.dst, 1));
    for (Rect rect{}; call.rects.next(rect);) {
        if (fromCorners && startsOnBytes(call, rect)) {
            Squares(call, rect, side).run();
            continue;
        }
        if (side != 0 && apart) {
            ScaledBoxes(call, rect, scale).run();
            continue;
        }
        eachBox(call, rect, [&](const Box& box) {
            std::uint8_t* to = call.dst.at<std::uint8_t>(box.columns.to, box.rows.to);
            for (unsigned band = 0; band < call.bands; ++band) {
                to[band] = scale.value(setBits(call.src, box, band), box);
            }
        });
    }
    return call.close();
}
