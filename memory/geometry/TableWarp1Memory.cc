// Table warps of bits. Bands are planes: the rectangle and its warp table are walked for each. A bit whose sample lies
// in no rectangle of the source is cleared.

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/geometry/BitRun.h"
#include "memory/geometry/TableWarp.h"
#include "memory/geometry/bit_interp.h"

namespace {

using namespace orvi;

/// One plane of the source of a call.
struct WarpPlane {
    const std::uint8_t* data;
    unsigned offset;
    const std::ptrdiff_t* rows;
    long width;
    long height;

    unsigned at(long x, long y) const noexcept {
        const long place = x + static_cast<long>(offset);
        return (data[rows[y] + (place >> 3)] >> (7 - (place & 7))) & 1U;
    }
};

/// What a member makes of a spot. `open` does what comes before the images, `makeTables` what comes after the source is
/// there; both are false without memory. Tables of bits are the member's own: they outlive a call that fails, and
/// `close` gives them back at the end of one that does not.
struct NearestWarp {
    static constexpr Interpolation interpolation = Interpolation::nearest;

    static bool open(OrvOp*) noexcept { return true; }
    static bool makeTables() noexcept { return true; }
    static void close() noexcept {}

    static bool bit(const WarpPlane& from, const WarpSpot& spot) noexcept { return from.at(spot.x, spot.y) != 0; }
};

/// A table that is made where it is not there.
bool make(int*& table, int* (*maker)() noexcept) noexcept {
    if (table == nullptr) table = maker();
    return table != nullptr;
}

void drop(int*& table) noexcept {
    orvi_delete(table);
    table = nullptr;
}

template <WarpForm form>
struct BilinearWarp {
    static constexpr Interpolation interpolation = Interpolation::bilinear;
    static constinit inline int* BLtable = nullptr;

    static bool open(OrvOp*) noexcept { return true; }
    static bool makeTables() noexcept { return make(BLtable, mk_BLtable); }
    static void close() noexcept { drop(BLtable); }

    static bool bit(const WarpPlane& from, const WarpSpot& spot) noexcept {
        return BLtable[BLindex(spot.fx, spot.fy, from.at(spot.x, spot.y), from.at(spot.x + 1, spot.y),
                               from.at(spot.x, spot.y + 1))] > bitThreshold;
    }
};

template <WarpForm form>
struct BicubicWarp {
    static constexpr Interpolation interpolation = Interpolation::bicubic;
    static constinit inline int* BLtable = nullptr;
    static constinit inline int* BCtable = nullptr;

    static bool open(OrvOp*) noexcept { return true; }
    static bool makeTables() noexcept { return make(BLtable, mk_BLtable) && make(BCtable, mk_BCtable); }
    static void close() noexcept {
        drop(BLtable);
        drop(BCtable);
    }

    static bool bit(const WarpPlane& from, const WarpSpot& spot) noexcept {
        BitPatterns rows;
        for (int i = 0; i < 4; ++i) {
            rows[i] = 0;
            for (int j = 0; j < 4; ++j) rows[i] = rows[i] << 1 | from.at(spot.x + j - 1, spot.y + i - 1);
        }
        return bicubicBit(BLtable, BCtable, spot.fx, spot.fy, rows);
    }
};

struct GeneralWarp : SeparableTaps<float> {
    static constexpr Interpolation interpolation = Interpolation::general;

    static bool makeTables() noexcept { return true; }
    static void close() noexcept {}

    bool bit(const WarpPlane& from, const WarpSpot& spot) const noexcept {
        return weightedBit(rowWindow(spot.y, 0, from.height, 0, v), columnWindow(spot.x, 0, from.width, 0, h),
                           h.row(fraction(spot.fx)), v.row(fraction(spot.fy)), rowSums.get(), [&](long x, long y) {
                               return x >= 0 && x < from.width && y >= 0 && y < from.height && from.at(x, y) != 0;
                           });
    }

private:
    static constexpr float fraction(unsigned sixteenths) noexcept { return static_cast<float>(sixteenths) / 16.0F; }
};

/// A plane that the source lacks is cleared out of range like any other, and kept elsewhere.
template <WarpForm form, class Member>
void warpPlane(const WarpCall& call, const Member& member, const WarpPlane& plane, const Rect& rect,
               unsigned band) noexcept {
    const bool lacking = band >= call.source.bands;
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        WarpRow<form> row(call, rect.x, y);
        BitRun to(call.destination.bit(rect.x, y, band));
        const auto put = [&](const WarpSpot& spot) { lacking ? to.skip() : to.put(member.bit(plane, spot)); };
        warpPixels(call, row, rect.width, put, [&] { to.put(false); });
    }
}

template <WarpForm form, class Member>
OrvStatus warp(OrvOp* op) noexcept {
    static AddressTables tables;
    WarpCall call(ORV_BIT, form, Member::interpolation);
    Member member;
    if (!member.open(op)) return call.outOfMemory(op);
    if (call.openSource(op) != ORV_SUCCESS) return ORV_FAILURE;
    if (!tables.refresh(call.source, call.width, call.height) || !member.makeTables()) return call.outOfMemory(op);
    if (call.openRest(op) != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; call.targets.next(rect);) {
        for (unsigned band = 0; band < call.destination.bands; ++band) {
            const WarpPlane plane{reinterpret_cast<const std::uint8_t*>(call.source.data) +
                                      band * call.source.bandStride,
                                  call.source.offset, tables.rows, call.width, call.height};
            warpPlane<form>(call, member, plane, rect, band);
        }
    }
    member.close();
    return ORV_SUCCESS;
}

} // namespace

using Device = OrvDeviceComputeTypeMemory;
using enum WarpForm;

OrvStatus Device::TableWarp1nearest(OrvOp* op, int) noexcept { return warp<both, NearestWarp>(op); }
OrvStatus Device::TableWarp1bilinear(OrvOp* op, int) noexcept { return warp<both, BilinearWarp<both>>(op); }
OrvStatus Device::TableWarp1bicubic(OrvOp* op, int) noexcept { return warp<both, BicubicWarp<both>>(op); }
OrvStatus Device::TableWarp1general(OrvOp* op, int) noexcept { return warp<both, GeneralWarp>(op); }
OrvStatus Device::TableWarpH1nearest(OrvOp* op, int) noexcept { return warp<horizontal, NearestWarp>(op); }
OrvStatus Device::TableWarpH1bilinear(OrvOp* op, int) noexcept {
    return warp<horizontal, BilinearWarp<horizontal>>(op);
}
OrvStatus Device::TableWarpH1bicubic(OrvOp* op, int) noexcept { return warp<horizontal, BicubicWarp<horizontal>>(op); }
OrvStatus Device::TableWarpH1general(OrvOp* op, int) noexcept { return warp<horizontal, GeneralWarp>(op); }
OrvStatus Device::TableWarpV1nearest(OrvOp* op, int) noexcept { return warp<vertical, NearestWarp>(op); }
OrvStatus Device::TableWarpV1bilinear(OrvOp* op, int) noexcept { return warp<vertical, BilinearWarp<vertical>>(op); }
OrvStatus Device::TableWarpV1bicubic(OrvOp* op, int) noexcept { return warp<vertical, BicubicWarp<vertical>>(op); }
OrvStatus Device::TableWarpV1general(OrvOp* op, int) noexcept { return warp<vertical, GeneralWarp>(op); }
