// Table warps of bytes and shorts: each destination pixel is sampled where its warp table entry displaces it to. A
// pixel whose sample lies in no rectangle of the source gets 0 in its first band; the others stay.

#include <algorithm>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/geometry/TableWarp.h"
#include "memory/geometry/WarpLanes.h"
#include "memory/geometry/pixel_forms.h"

namespace {

using namespace orvi;

/// The source of a call, addressed through the tables.
template <class T>
struct WarpSource {
    const std::byte* data;
    const AddressTables& tables;
    long width;
    long height;

    const T* at(long x, long y) const noexcept {
        return reinterpret_cast<const T*>(data + tables.columns[x] + tables.rows[y]);
    }
    /// The same, null beside the image.
    const T* ifInside(long x, long y) const noexcept {
        return x >= 0 && x < width && y >= 0 && y < height ? at(x, y) : nullptr;
    }
};

constexpr float fraction(unsigned sixteenths) noexcept { return static_cast<float>(sixteenths) / 16.0F; }

/// What a member makes of a spot. `open` does what comes before the images; false without memory. Those that need no
/// tables of weights also do many pixels at a time.
template <class Pixel>
struct PixelWarp {
    static constexpr Interpolation interpolation = Pixel::interpolation;
    template <class T, WarpForm form>
    using Lanes = WarpLanes<T, form, Pixel>;

    static bool open(OrvOp*) noexcept { return true; }

    template <class T>
    void write(T* to, unsigned bands, const WarpSource<T>& from, const WarpSpot& spot) const noexcept {
        Pixel::write(to, bands, spot.x, spot.y, fraction(spot.fx), fraction(spot.fy),
                     [&](long x, long y) { return from.at(x, y); });
    }
};
using NearestWarp = PixelWarp<NearestPixel>;
using BilinearWarp = PixelWarp<BilinearPixel>;
using BicubicWarp = PixelWarp<BicubicPixel>;

struct GeneralWarp : SeparableTaps<int> {
    static constexpr Interpolation interpolation = Interpolation::general;
    template <class T, WarpForm form>
    struct Lanes {
        static constexpr unsigned atOnce = 256;
        explicit Lanes(const WarpCall&) noexcept {}
        static unsigned run(const WarpRow<form>&, const T*, unsigned) noexcept { return 0; }
    };

    template <class T>
    void write(T* to, unsigned bands, const WarpSource<T>& from, const WarpSpot& spot) const noexcept {
        weightedPixel(to, bands, rowWindow(spot.y, 0, from.height, 0, v), columnWindow(spot.x, 0, from.width, 0, h),
                      h.row(fraction(spot.fx)), v.row(fraction(spot.fy)), rowSums.get(),
                      [&](long x, long y) { return from.ifInside(x, y); });
    }
};

/// Lanes do what they can of a row; what stops them, and what is left at its end, goes pixel by pixel.
template <class T, WarpForm form, class Member, class Lanes>
void warpRow(const WarpCall& call, const Member& member, const Lanes& lanes, const WarpSource<T>& source,
             const Rect& rect, long y) noexcept {
    WarpRow<form> row(call, rect.x, y);
    T* to = call.destination.at<T>(rect.x, y);
    const std::ptrdiff_t pixel = call.destination.pixelOf<T>();
    const auto put = [&](const WarpSpot& spot) {
        member.write(to, call.bands, source, spot);
        to += pixel;
    };
    const auto clear = [&] {
        *to = 0;
        to += pixel;
    };
    for (unsigned left = rect.width; left != 0;) {
        const unsigned done = lanes.run(row, to, left);
        to += done * pixel;
        left -= done;
        const unsigned single = std::min(left, Lanes::atOnce);
        warpPixels(call, row, single, put, clear);
        left -= single;
    }
}

template <class T, WarpForm form, class Member>
OrvStatus warp(OrvOp* op) noexcept {
    static AddressTables tables;
    WarpCall call(dataTypeOf<T>, form, Member::interpolation);
    Member member;
    if (!member.open(op)) return call.outOfMemory(op);
    if (call.openSource(op) != ORV_SUCCESS) return ORV_FAILURE;
    if (!tables.refresh(call.source, call.width, call.height)) return call.outOfMemory(op);
    if (call.openRest(op) != ORV_SUCCESS) return ORV_FAILURE;
    const WarpSource<T> source{call.source.data, tables, call.width, call.height};
    const typename Member::template Lanes<T, form> lanes(call);
    for (Rect rect{}; call.targets.next(rect);) {
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            warpRow<T, form>(call, member, lanes, source, rect, y);
        }
    }
    return ORV_SUCCESS;
}

} // namespace

using Device = OrvDeviceComputeTypeMemory;
using enum WarpForm;
using Byte = std::uint8_t;
using Short = std::int16_t;

OrvStatus Device::TableWarp8nearest(OrvOp* op, int) noexcept { return warp<Byte, both, NearestWarp>(op); }
OrvStatus Device::TableWarp8bilinear(OrvOp* op, int) noexcept { return warp<Byte, both, BilinearWarp>(op); }
OrvStatus Device::TableWarp8bicubic(OrvOp* op, int) noexcept { return warp<Byte, both, BicubicWarp>(op); }
OrvStatus Device::TableWarp8general(OrvOp* op, int) noexcept { return warp<Byte, both, GeneralWarp>(op); }
OrvStatus Device::TableWarpH8nearest(OrvOp* op, int) noexcept { return warp<Byte, horizontal, NearestWarp>(op); }
OrvStatus Device::TableWarpH8bilinear(OrvOp* op, int) noexcept { return warp<Byte, horizontal, BilinearWarp>(op); }
OrvStatus Device::TableWarpH8bicubic(OrvOp* op, int) noexcept { return warp<Byte, horizontal, BicubicWarp>(op); }
OrvStatus Device::TableWarpH8general(OrvOp* op, int) noexcept { return warp<Byte, horizontal, GeneralWarp>(op); }
OrvStatus Device::TableWarpV8nearest(OrvOp* op, int) noexcept { return warp<Byte, vertical, NearestWarp>(op); }
OrvStatus Device::TableWarpV8bilinear(OrvOp* op, int) noexcept { return warp<Byte, vertical, BilinearWarp>(op); }
OrvStatus Device::TableWarpV8bicubic(OrvOp* op, int) noexcept { return warp<Byte, vertical, BicubicWarp>(op); }
OrvStatus Device::TableWarpV8general(OrvOp* op, int) noexcept { return warp<Byte, vertical, GeneralWarp>(op); }

OrvStatus Device::TableWarp16nearest(OrvOp* op, int) noexcept { return warp<Short, both, NearestWarp>(op); }
OrvStatus Device::TableWarp16bilinear(OrvOp* op, int) noexcept { return warp<Short, both, BilinearWarp>(op); }
OrvStatus Device::TableWarp16bicubic(OrvOp* op, int) noexcept { return warp<Short, both, BicubicWarp>(op); }
OrvStatus Device::TableWarp16general(OrvOp* op, int) noexcept { return warp<Short, both, GeneralWarp>(op); }
OrvStatus Device::TableWarpH16nearest(OrvOp* op, int) noexcept { return warp<Short, horizontal, NearestWarp>(op); }
OrvStatus Device::TableWarpH16bilinear(OrvOp* op, int) noexcept { return warp<Short, horizontal, BilinearWarp>(op); }
OrvStatus Device::TableWarpH16bicubic(OrvOp* op, int) noexcept { return warp<Short, horizontal, BicubicWarp>(op); }
OrvStatus Device::TableWarpH16general(OrvOp* op, int) noexcept { return warp<Short, horizontal, GeneralWarp>(op); }
OrvStatus Device::TableWarpV16nearest(OrvOp* op, int) noexcept { return warp<Short, vertical, NearestWarp>(op); }
OrvStatus Device::TableWarpV16bilinear(OrvOp* op, int) noexcept { return warp<Short, vertical, BilinearWarp>(op); }
OrvStatus Device::TableWarpV16bicubic(OrvOp* op, int) noexcept { return warp<Short, vertical, BicubicWarp>(op); }
OrvStatus Device::TableWarpV16general(OrvOp* op, int) noexcept { return warp<Short, vertical, GeneralWarp>(op); }
