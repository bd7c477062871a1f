// Copies those bits of each sample that a mask of its band names.

#include <cstdint>
#include <limits>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

std::uint32_t* masksOf(OrvOp* op) noexcept { return static_cast<std::uint32_t*>(op->getPtrParam(1)); }

template <class T>
OrvStatus copyWithPlanemask(OrvOp* op, const FrameFacts& facts) noexcept {
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    // The clamp stays behind in the caller's array, as intended.
    std::uint32_t* masks = masksOf(op);
    for (unsigned band = 0; band < frame[dst].bands; ++band) {
        masks[band] = std::min<std::uint32_t>(masks[band], std::numeric_limits<T>::max());
    }
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const BandPattern<T> pattern(bands, [&](unsigned band) { return static_cast<T>(masks[band]); });
    const auto kernel = [&](T* d, const T* s, std::size_t pixels) {
        overPeriods(pixels * bands, pattern.period(), [&](std::size_t first, std::size_t count) {
            const auto merge = [](auto old, auto from, auto mask) { return (old & ~mask) | (from & mask); };
            mapSamples(d + first, count, merge, d + first, s + first, pattern.get());
        });
    };
    walkRuns<T, T>(frame.rects(), kernel, Operand{.raster = &frame[dst], .bands = bands, .keepsOthers = true},
                   Operand{&frame[src1], bands});
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::CopyWithPlanemask1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("CopyWithPlanemask1Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const std::uint32_t* masks = masksOf(op);
    const auto kernel = [&](std::size_t rows, unsigned length, unsigned band, BitRows to, BitRows from) {
        if ((masks[band] & 1) == 0) return;
        // A 0 of the source leaves the destination's bit, as intended.
        combineBitRows(
            to, rows, length, [](auto old, auto bits) { return old | bits; }, to, from);
    };
    walkBitBlocks(frame.rects(), commonBands(frame[dst], frame[src1]), kernel, frame[dst], frame[src1]);
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::CopyWithPlanemask8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("CopyWithPlanemask8Memory.cc");
    return copyWithPlanemask<std::uint8_t>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::CopyWithPlanemask16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("CopyWithPlanemask16Memory.cc");
    return copyWithPlanemask<std::int16_t>(op, facts);
}
