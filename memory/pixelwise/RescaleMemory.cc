// sample * scale + offset, one scale and one offset a band.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/constants.h"
#include "memory/pixelwise/lookup_utils.h"
#include "memory/pixelwise/row_actions.h"

namespace {

using namespace orvi;

/// The parameters of a rescale. No offsets means none is added.
class Scaling {
public:
    explicit Scaling(OrvOp* op) noexcept
        : scales_(static_cast<const float*>(op->getPtrParam(1))),
          offsets_(static_cast<const float*>(op->getPtrParam(2))) {}

    float scale(unsigned band) const noexcept { return constantOf(scales_[band]); }
    float offset(unsigned band) const noexcept { return offsets_ != nullptr ? constantOf(offsets_[band]) : 0.0F; }

    bool equal(unsigned a, unsigned b) const noexcept { return scale(a) == scale(b) && offset(a) == offset(b); }
    bool allEqual(unsigned bands) const noexcept {
        for (unsigned band = 1; band < bands; ++band) {
            if (!equal(0, band)) return false;
        }
        return true;
    }

    /// Whether all results of shorts are small.
    bool small(unsigned bands) const noexcept {
        for (unsigned band = 0; band < bands; ++band) {
            constexpr float most = -static_cast<float>(lowest<std::int16_t>);
            if (!(std::fabs(scale(band)) * most + std::fabs(offset(band)) < smallLimit)) return false;
        }
        return true;
    }

private:
    const float* scales_;
    const float* offsets_;
};

void fillByteTable(std::uint8_t* table, float scale, float offset) noexcept {
    for (int i = 0; i < byteEntries; ++i) {
        const float product = static_cast<float>(i) * scale;
        table[i] = roundTo<std::uint8_t>(product + offset);
    }
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Rescale1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("Rescale1Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Scaling scaling(op);
    walkActions(frame, [&](unsigned band) {
        const float zero = scaling.offset(band);
        return actionOf(toBit(zero), toBit(scaling.scale(band) + zero));
    });
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Rescale8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("Rescale8Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Scaling scaling(op);
    const unsigned bands = frame[src1].bands;
    const bool shared = scaling.allEqual(bands);
    BandTables<std::uint8_t> tables;
    for (unsigned band = 0; band < bands; ++band) {
        if (shared && band > 0) {
            tables.shareFirst();
            continue;
        }
        std::uint8_t* table = tables.add(byteEntries);
        if (table == nullptr) return fail(frame.image(dst), noMemory, facts.file);
        fillByteTable(table, scaling.scale(band), scaling.offset(band));
    }
    const unsigned used = commonBands(frame[dst], frame[src1]);
    if (mapBandsApart(frame.rects(), frame[dst], frame[src1], tables.get(), used)) return ORV_SUCCESS;
    const auto kernel = [&](std::uint8_t* d, const std::uint8_t* s, std::size_t pixels) {
        mapBands(d, s, pixels, tables.get(), used);
    };
    walkRuns<std::uint8_t, std::uint8_t>(frame.rects(), kernel, Operand{&frame[dst], used},
                                         Operand{&frame[src1], used});
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Rescale16(OrvOp* op, int) noexcept {
    using T = std::int16_t;
    static constexpr FrameFacts facts = oneSource<T, T>("Rescale16Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Scaling scaling(op);
    const unsigned bands = frame[src1].bands;
    // A table for each band that is not like band 0 belongs to the op's memory, so that it fails where that cannot be
    // had; the loop computes the entries, which is faster than to fill and read them.
    BandTables<T> tables;
    for (unsigned band = 0; band < bands; ++band) {
        if (band > 0 && scaling.equal(0, band)) {
            tables.shareFirst();
        } else if (tables.add(shortEntries) == nullptr) {
            return fail(frame.image(dst), noMemory, facts.file);
        }
    }
    const unsigned used = commonBands(frame[dst], frame[src1]);
    using lanes::F32;
    const auto rescale = [](F32 v, F32 scale, F32 offset) {
        const F32 product = v * scale;
        return product + offset;
    };
    if (mappedRoundedWords(frame, rescale, scaling.scale(0), scaling.offset(0))) return ORV_SUCCESS;
    const BandPattern<float, 0> scales(used, [&](unsigned band) { return scaling.scale(band); });
    const BandPattern<float, 1> offsets(used, [&](unsigned band) { return scaling.offset(band); });
    const bool small = scaling.small(used);
    const auto kernel = [&](T* d, const T* s, std::size_t pixels) {
        small ? mapRounded<Floats::small>(d, s, pixels * used, rescale, scales, offsets)
              : mapRounded<Floats::any>(d, s, pixels * used, rescale, scales, offsets);
    };
    walkRuns<T, T>(frame.rects(), kernel, Operand{&frame[dst], used}, Operand{&frame[src1], used});
    return ORV_SUCCESS;
}
