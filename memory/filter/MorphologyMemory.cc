// Dilation and erosion of byte and short images: the greatest or least sample under a flat element. Positions outside
// the source are no part of the neighbourhood.

#include "memory/filter/ColumnRuns.h"
#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

/// The plain walk, for elements that have no room in the fast one and for images that share samples: there each result
/// is read by the pixels after it.
template <class T, class Operation>
void filterPixels(Frame& frame, const Offsets& offsets, const Rect& rect, unsigned bands, T* accumulator) noexcept {
    const Raster& from = frame[src1];
    const Reach reach(from);
    const Samples<const T> source(from, reach.width, reach.height);
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
            std::fill_n(accumulator, bands, Operation::template start<T>);
            for (std::size_t i = 0; i < offsets.count; ++i) {
                const long sx = x + offsets.columns[i] + from.ox;
                const long sy = y + offsets.rows[i] + from.oy;
                if (!reach.contains(sx, sy)) continue;
                const T* const sample = source.at(sx, sy);
                for (unsigned band = 0; band < bands; ++band) {
                    accumulator[band] = static_cast<T>(Operation::of(accumulator[band], sample[band]));
                }
            }
            std::copy_n(accumulator, bands, frame[dst].at<T>(x, y));
        }
    }
}

template <class T, class Operation>
OrvStatus morphology(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    auto* const element = static_cast<OrvSel*>(op->getPtrParam(1));
    Offsets offsets;
    if (!offsets.read(element)) return fail(frame.image(src1), noMemory, file);
    const FrameFacts facts = morphologyFacts<T>(file);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Array<T> accumulator(frame[dst].bands);
    if (!accumulator) return fail(frame.image(dst), noMemory, file);
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;

    const unsigned bands = commonBands(frame[dst], frame[src1]);
    if (bands == 0) return ORV_SUCCESS;
    ColumnRuns runs;
    const bool apart = !Extent(frame[src1], sizeof(T)).overlaps(Extent(frame[dst], sizeof(T)));
    const bool found = apart && runs.find(element);
    ColumnRunWalk<T, Operation> walk(frame[src1], frame[dst], bands, runs);
    for (Rect rect{}; frame.rects().next(rect);) {
        if (found && walk.fits()) {
            walk.rectangle(rect);
        } else {
            filterPixels<T, Operation>(frame, offsets, rect, bands, accumulator.get());
        }
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Dilate8(OrvOp* op, int) noexcept {
    return morphology<std::uint8_t, Dilation>(op, "Dilate8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Dilate16(OrvOp* op, int) noexcept {
    return morphology<std::int16_t, Dilation>(op, "Dilate16Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Erode8(OrvOp* op, int) noexcept {
    return morphology<std::uint8_t, Erosion>(op, "Erode8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Erode16(OrvOp* op, int) noexcept {
    return morphology<std::int16_t, Erosion>(op, "Erode16Memory.cc");
}
