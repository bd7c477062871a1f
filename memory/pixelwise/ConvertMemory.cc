// Conversion of the data type without any scaling: a sample keeps its value or its low bits.

#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;
using Byte = std::uint8_t;
using Short = std::int16_t;

/// Three members report a missing source with the id that others have for the list, as intended.
template <class S, class D>
constexpr Fetch listIdFetches[] = {
    {src1, dataTypeOf<S>, {"di-12", 1, 0}, src1},
    {dst, dataTypeOf<D>, {"di-10", 1, 0}, dst},
};

template <class S, class D>
constexpr FrameFacts withListId(const char* file) noexcept {
    return {file, listIdFetches<S, D>, {"di-12", 0, 0}, src1};
}

bool sameTypes(Frame& frame) noexcept { return frame.image(src1)->getDataType() == frame.image(dst)->getDataType(); }

/// d = the low bits of s, or s itself.
template <class S, class D, class Cut>
OrvStatus convert(Frame& frame, const FrameFacts& facts, Cut cut) noexcept {
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    walkRuns<D, S>(
        frame.rects(),
        [cut, bands](SampleOf<D>* d, const SampleOf<S>* s, std::size_t pixels) {
            // The bound stands in a variable of its own: bytes that are written may be any object's.
            const std::size_t samples = pixels * bands;
            for (std::size_t i = 0; i < samples; ++i) d[i] = static_cast<SampleOf<D>>(cut(s[i]));
        },
        Operand{&frame[dst], bands}, Operand{&frame[src1], bands});
    return ORV_SUCCESS;
}

constexpr auto whole = [](auto sample) noexcept { return sample; };
constexpr auto lowBit = [](auto sample) noexcept { return sample & 1; };

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convert1to8(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    if (frame.open(withListId<Bit, Byte>("Convert1to8Memory.cc")) != ORV_SUCCESS) return ORV_FAILURE;
    const Raster& to = frame[dst];
    const unsigned bands = commonBands(to, frame[src1]);
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < bands; ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
                const BitPosition from = frame[src1].bit(rect.x, y, band);
                unpackBits(from.byte, from.offset, to.at<Byte>(rect.x, y) + band, static_cast<std::size_t>(to.pixel),
                           rect.width);
            }
        }
    }
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Convert1to16(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    return convert<Bit, Short>(frame, withListId<Bit, Short>("Convert1to16Memory.cc"), whole);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert8to1(OrvOp* op, int) noexcept {
    Frame frame(op);
    return convert<Byte, Bit>(frame, withListId<Byte, Bit>("Convert8to1Memory.cc"), lowBit);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert16to1(OrvOp* op, int) noexcept {
    Frame frame(op);
    return convert<Short, Bit>(frame, oneSource<Short, Bit>("Convert16to1Memory.cc"), lowBit);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert16to8(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    return convert<Short, Byte>(frame, oneSource<Short, Byte>("Convert16to8Memory.cc"), whole);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert8to16(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    return convert<Byte, Short>(frame, oneSource<Byte, Short>("Convert8to16Memory.cc"), whole);
}
