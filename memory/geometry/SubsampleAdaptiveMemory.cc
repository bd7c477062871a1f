// Shrinks an image by averaging the box of source pixels that falls on each destination pixel.

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/geometry/SubsampleBoxes.h"

namespace {

using namespace orvi;

/// The mean of a box in one band: a sum in single precision after each addition, truncated. Negative means give 0 for
/// shorts too.
template <class T>
T meanOf(const Raster& src, const Box& box, unsigned band) noexcept {
    const std::ptrdiff_t pixel = src.pixelOf<T>();
    float sum = 0;
    for (long y = 0; y < box.rows.count; ++y) {
        const T* sample = src.at<T>(box.columns.first, box.rows.first + y) + band;
        for (long x = 0; x < box.columns.count; ++x, sample += pixel) sum += static_cast<float>(*sample);
    }
    return static_cast<T>(toInt(static_cast<float>(double{sum} / static_cast<double>(box.area())), 0, highest<T>));
}

template <class T>
void average(const SubsampleCall& call, const Box& box) noexcept {
    T* to = call.dst.at<T>(box.columns.to, box.rows.to);
    for (unsigned band = 0; band < call.bands; ++band) to[band] = meanOf<T>(call.src, box, band);
}

/// More than half of the bits set the destination's.
void majority(const SubsampleCall& call, const Box& box) noexcept {
    for (unsigned band = 0; band < call.bands; ++band) {
        const BitPosition to = call.dst.bit(box.columns.to, box.rows.to, band);
        const unsigned mask = 0x80U >> to.offset;
        const bool set = 2 * setBits(call.src, box, band) > box.area();
        *to.byte = static_cast<std::uint8_t>(set ? *to.byte | mask : *to.byte & ~mask);
    }
}

template <void (*shrink)(const SubsampleCall&, const Box&) noexcept>
OrvStatus subsample(OrvOp* op, OrvDataType type, const char* file) noexcept {
    SubsampleCall call;
    if (call.open(op, type, type, file) != ORV_SUCCESS || call.list() != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; call.rects.next(rect);) {
        eachBox(call, rect, [&](const Box& box) { shrink(call, box); });
    }
    return call.close();
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::SubsampleAdaptive1(OrvOp* op, int) noexcept {
    return subsample<majority>(op, ORV_BIT, "SubsampleAdaptive1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::SubsampleAdaptive8(OrvOp* op, int) noexcept {
    return subsample<average<std::uint8_t>>(op, ORV_BYTE, "SubsampleAdaptive8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::SubsampleAdaptive16(OrvOp* op, int) noexcept {
    return subsample<average<std::int16_t>>(op, ORV_SHORT, "SubsampleAdaptive16Memory.cc");
}
