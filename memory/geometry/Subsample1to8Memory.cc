// Shrinks bits to bytes: each destination pixel counts the set bits of its box of the source.

#include <cstdint>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
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

/// The side of square boxes that have a way of their own, or 0.
long squareSide(const SubsampleCall& call) noexcept {
    const float x = call.scaleX;
    const float y = call.scaleY;
    const auto third = [](float scale) {
        return static_cast<double>(scale) > 0.32 && static_cast<double>(scale) < 0.34;
    };
    if (call.src.bands != 1 || call.dst.bands != 1 || call.dst.pixel != 1 || call.src.offset != 0) return 0;
    if (x == 0.5F && y == 0.5F) return 2;
    if (x == 0.25F && y == 0.25F) return 4;
    return third(x) && third(y) ? 3 : 0;
}

/// Whether a rectangle and its image begin at multiples of 8 pixels of their rows.
bool startsOnBytes(const SubsampleCall& call, const Rect& rect) noexcept {
    return ((rect.x + call.src.ox) & 7) == 0 && ((scaledPlace(rect.x, call.scaleX) + call.dst.ox) & 7) == 0;
}

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
        const bool atOnce = columns > 0 && rows > 0 && call_.writesAll(toX_, toY_, columns, rows);
        if (atOnce) count(columns, rows);
        for (long j = 0; j * side_ < static_cast<long>(rect_.height); ++j) {
            for (long i = atOnce && j < rows ? columns : 0; i * side_ < static_cast<long>(rect_.width); ++i) {
                single(i, j);
            }
        }
    }

private:
    void count(long columns, long rows) const noexcept {
        constexpr BoxCounter* counters[] = {Subsample1to8_2x2, Subsample1to8_3x3, Subsample1to8_4x4};
        counters[side_ - 2](call_.src.bit(rect_.x, rect_.y, 0).byte, call_.dst.at<std::uint8_t>(toX_, toY_),
                            static_cast<unsigned>(columns * side_), static_cast<unsigned>(rows * side_),
                            call_.src.stride, call_.dst.stride);
    }

    void single(long i, long j) const noexcept {
        if (!call_.writes(toX_ + i, toY_ + j)) return;
        const auto span = [this](long at, long size, long k, long to) {
            return Span{at + k * side_, std::min(side_, size - k * side_), to + k};
        };
        const Box box{span(rect_.x, static_cast<long>(rect_.width), i, toX_),
                      span(rect_.y, static_cast<long>(rect_.height), j, toY_)};
        const bool whole = box.area() == side_ * side_;
        const Rescaled scale = whole ? Rescaled{1, 1} : Rescaled{side_ * side_, box.area()};
        *call_.dst.at<std::uint8_t>(toX_ + i, toY_ + j) = scale(setBits(call_.src, box, 0));
    }

    const SubsampleCall& call_;
    const Rect& rect_;
    long side_;
    long toX_;
    long toY_;
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Subsample1to8(OrvOp* op, int) noexcept {
    SubsampleCall call;
    if (call.open(op, ORV_BIT, ORV_BYTE, "Subsample1to8Memory.cc") != ORV_SUCCESS) return ORV_FAILURE;
    CountScale scale(call.scaleX, call.scaleY);
    const long side = squareSide(call);
    if (side == 0 && !scale.makeTables()) return call.outOfMemory();
    if (call.list() != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; call.rects.next(rect);) {
        if (side != 0 && startsOnBytes(call, rect)) {
            Squares(call, rect, side).run();
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
