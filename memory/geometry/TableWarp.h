// What all table warps share: the images of a call, the source's rectangles, the addresses kept from call to call, and
// the walk of the warp table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/report.h"
#include "memory/geometry/GeomConfig.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// Which displacements a warp table holds.
enum class WarpForm { both, horizontal, vertical };

/// The source that reports name, by form, interpolation and data type.
inline constexpr const char* warpFiles[3][4][3] = {
    {{"TableWarpNN1Memory.cc", "TableWarpNN8Memory.cc", "TableWarpNN16Memory.cc"},
     {"TableWarpBL1Memory.cc", "TableWarpBL8Memory.cc", "TableWarpBL16Memory.cc"},
     {"TableWarpBC1Memory.cc", "TableWarpBC8Memory.cc", "TableWarpBC16Memory.cc"},
     {"TableWarpGL1Memory.cc", "TableWarpGL8Memory.cc", "TableWarpGL16Memory.cc"}},
    {{"TableWarpHNN1Memory.cc", "TableWarpHNN8Memory.cc", "TableWarpHNN16Memory.cc"},
     {"TableWarpHBL1Memory.cc", "TableWarpHBL8Memory.cc", "TableWarpHBL16Memory.cc"},
     {"TableWarpHBC1Memory.cc", "TableWarpHBC8Memory.cc", "TableWarpHBC16Memory.cc"},
     {"TableWarpHGL1Memory.cc", "TableWarpHGL8Memory.cc", "TableWarpHGL16Memory.cc"}},
    {{"TableWarpVNN1Memory.cc", "TableWarpVNN8Memory.cc", "TableWarpVNN16Memory.cc"},
     {"TableWarpVBL1Memory.cc", "TableWarpVBL8Memory.cc", "TableWarpVBL16Memory.cc"},
     {"TableWarpVBC1Memory.cc", "TableWarpVBC8Memory.cc", "TableWarpVBC16Memory.cc"},
     {"TableWarpVGL1Memory.cc", "TableWarpVGL8Memory.cc", "TableWarpVGL16Memory.cc"}},
};

/// How far sampling points stay from the low and the high edges of a source rectangle.
struct WarpMargins {
    long low;
    long high;
};
inline constexpr WarpMargins warpMargins[] = {{0, 1}, {1, 2}, {2, 3}, {0, 1}};

/// Where rows and columns of a source begin, in bytes from its data. Kept from call to call by each member, never given
/// back.
struct AddressTables {
    std::ptrdiff_t* rows = nullptr;
    std::ptrdiff_t* columns = nullptr;
    std::ptrdiff_t stride = 0;
    std::ptrdiff_t pixel = 0;
    long height = 0;
    long width = 0;

    /// Makes the tables anew where the stride is another, the source is higher than they are, or its columns are others
    /// (pixel stride or width; bits have no table of columns). False without memory: the tables are then stale.
    bool refresh(const Raster& source, long sourceWidth, long sourceHeight) noexcept;

private:
    bool fits(const Raster& source, long sourceWidth, long sourceHeight) const noexcept;
};

/// A rectangle of the source as a range of sampling points in storage positions, empty where first is above last. A
/// list of them ends with a record whose values mean nothing.
struct SampledRect {
    long firstX;
    long lastX;
    long firstY;
    long lastY;
    SampledRect* next;
};

/// A sampling point: a storage position of the source, with fractions in sixteenths.
struct WarpSpot {
    long x;
    long y;
    unsigned fx;
    unsigned fy;
};

/// The images and rectangles of one call.
class WarpCall {
public:
    Raster source;
    Raster table;
    Raster destination;
    long width = 0;
    long height = 0;
    unsigned bands = 0; ///< that the source and the destination both have
    RectCursor targets;

    WarpCall(OrvDataType type, WarpForm form, Interpolation interpolation) noexcept
        : type_(type),
          margins_(warpMargins[static_cast<int>(interpolation)]),
          file_(warpFiles[static_cast<int>(form)][static_cast<int>(interpolation)][type]) {}
    WarpCall(const WarpCall&) = delete;
    WarpCall& operator=(const WarpCall&) = delete;
    ~WarpCall();

    /// Fetches the source; 2 after a report.
    OrvStatus openSource(OrvOp* op) noexcept;
    /// Fetches all else; 2 after a report.
    OrvStatus openRest(OrvOp* op) noexcept;
    OrvStatus outOfMemory(OrvOp* op) const noexcept { return fail(op->getDst(), noMemory, file_); }

    const SampledRect* sampled() const noexcept { return sampled_; }

    /// Most often the rectangle that held the spot before holds the next one.
    bool holds(const WarpSpot& spot, const SampledRect*& recent) const noexcept {
        const auto in = [&spot](const SampledRect* r) {
            return r->next != nullptr && spot.x >= r->firstX && spot.x <= r->lastX && spot.y >= r->firstY &&
                   spot.y <= r->lastY;
        };
        if (in(recent)) return true;
        for (const SampledRect* r = sampled_; r->next != nullptr; r = r->next) {
            if (!in(r)) continue;
            recent = r;
            return true;
        }
        return false;
    }

private:
    OrvStatus listSource() noexcept;
    bool append(const Rect& rect, SampledRect*& last) noexcept;

    OrvDataType type_;
    WarpMargins margins_;
    const char* file_;
    SampledRect* sampled_ = nullptr;
    OrvRoi* touched_ = nullptr;
};

/// The warp table along one row of a destination rectangle. A pixel out of range steps it by two samples whatever its
/// pixel stride, as intended, so that it may leave the pixels it started on: anything between the table's first and
/// last sample is read, and nothing beyond.
template <WarpForm form>
class WarpRow {
public:
    WarpRow(const WarpCall& call, long x, long y) noexcept
        : samples_(reinterpret_cast<const std::int16_t*>(call.table.data)),
          at_((y + call.table.oy) * call.table.strideOf<std::int16_t>() +
              (x + call.table.ox) * call.table.pixelOf<std::int16_t>()),
          pixel_(call.table.pixelOf<std::int16_t>()),
          column_(x + call.destination.ox),
          row_(y + call.destination.oy) {
        unsigned width = 0;
        unsigned height = 0;
        call.table.image->getDimensions(&width, &height, nullptr);
        last_ = (static_cast<long>(height) - 1) * call.table.strideOf<std::int16_t>() +
                (static_cast<long>(width) - 1) * pixel_ + static_cast<long>(call.table.bands) - 1;
        second_ = form == WarpForm::both && call.table.bands > 1;
    }

    /// Where the next pixel is taken from; false where the table has no value for it.
    bool spot(WarpSpot& to) const noexcept {
        if (at_ + (second_ ? 1 : 0) > last_) return false;
        const int t0 = samples_[at_];
        const int t1 = second_ ? samples_[at_ + 1] : 0;
        to = {column_, row_, 0, 0};
        if constexpr (form != WarpForm::vertical) displace(to.x, to.fx, t0);
        if constexpr (form != WarpForm::horizontal) displace(to.y, to.fy, form == WarpForm::both ? t1 : t0);
        return true;
    }

    void stepInRange() noexcept { step(1, pixel_); }
    void stepOutOfRange() noexcept { step(1, outOfRangeStep); }

    // For pixels by the many.

    /// The value of the next pixel, and in their order those of the pixels behind it, `pixelStep` samples apart. In
    /// `both`, the second value lies beside it where the table has one.
    const std::int16_t* values() const noexcept { return samples_ + at_; }
    std::ptrdiff_t pixelStep() const noexcept { return pixel_; }
    bool hasSecond() const noexcept { return second_; }
    /// Whether the table has values for the next `pixels` pixels and one sample behind them.
    bool reaches(long pixels) const noexcept { return at_ + (pixels - 1) * pixel_ + 1 <= last_; }
    /// Whether a pixel out of range steps the table as any other.
    bool stepsEvenly() const noexcept { return pixel_ == outOfRangeStep; }
    void stepOver(long pixels) noexcept { step(pixels, pixel_ * pixels); }
    long column() const noexcept { return column_; }
    long row() const noexcept { return row_; }

private:
    static constexpr std::ptrdiff_t outOfRangeStep = 2;

    static void displace(long& position, unsigned& fraction, int displacement) noexcept {
        position += displacement >> 4;
        fraction = static_cast<unsigned>(displacement) & 15U;
    }
    void step(long pixels, std::ptrdiff_t samples) noexcept {
        at_ += samples;
        column_ += pixels;
    }

    const std::int16_t* samples_;
    std::ptrdiff_t at_;
    std::ptrdiff_t last_;
    std::ptrdiff_t pixel_;
    long column_;
    long row_;
    bool second_;
};

/// Walks the next destination pixels of a row: `put(spot)` for a sample in range, `clear()` for one that is not.
template <WarpForm form, class Put, class Clear>
void warpPixels(const WarpCall& call, WarpRow<form>& row, unsigned pixels, Put put, Clear clear) noexcept {
    const SampledRect* recent = call.sampled();
    for (unsigned i = 0; i < pixels; ++i) {
        WarpSpot spot;
        if (row.spot(spot) && call.holds(spot, recent)) {
            put(spot);
            row.stepInRange();
        } else {
            clear();
            row.stepOutOfRange();
        }
    }
}

} // namespace orvi
