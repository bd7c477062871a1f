// One value a band written over an image's region.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

template <class T>
constexpr Fetch destinationFetch[] = {{dst, dataTypeOf<T>, {"di-10", 1, 0}, dst}};

/// There is no list in common with a source: only the destination's own region counts, and it is not marked as touched.
template <class T>
OrvStatus openRegion(Frame& frame, const char* file) noexcept {
    const FrameFacts facts{file, destinationFetch<T>, {}, dst};
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    OrvImage* image = frame.image(dst);
    OrvRoi* region = image->getImageSpaceRoi();
    if (region == nullptr) return fail(image, {"di-6", 6, 0}, file);
    OrvRoiList* list = region->getRectList();
    if (list == nullptr) return fail(image, {"di-8", 6, 0}, file);
    frame.rects().reset(list);
    return ORV_SUCCESS;
}

const float* valuesOf(OrvOp* op) noexcept { return static_cast<const float*>(op->getPtrParam(1)); }

/// 0.5 is added whatever the sign.
std::uint8_t byteOf(float value) noexcept {
    const float raised = value + 0.5F;
    return static_cast<std::uint8_t>(toInt(raised, 0, 255));
}

template <class T, class Convert>
OrvStatus setValue(OrvOp* op, const char* file, Convert convert) noexcept {
    Frame frame(op);
    if (openRegion<T>(frame, file) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = frame[dst].bands;
    const Array<T> values(bands);
    if (!values) return fail(frame.image(dst), noMemory, file);
    for (unsigned band = 0; band < bands; ++band) values[band] = convert(valuesOf(op)[band]);

    const BandPattern<T> pattern(bands, [&](unsigned band) { return values[band]; });
    const bool bytes = sizeof(T) == 1 && bands == 1;
    walkRuns<T>(
        frame.rects(),
        [&](T* d, std::size_t pixels) {
            if (bytes) {
                std::memset(d, values[0], pixels);
                return;
            }
            fillWithBands(d, pixels * bands, pattern);
        },
        Operand{&frame[dst], bands});
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::SetValue1(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (openRegion<Bit>(frame, "SetValue1Memory.cc") != ORV_SUCCESS) return ORV_FAILURE;
    const float* values = valuesOf(op);
    const auto kernel = [&](std::size_t rows, unsigned length, unsigned band, BitRows to) {
        setBitRows(to, rows, length, toBit(values[band]));
    };
    walkBitBlocks(frame.rects(), frame[dst].bands, kernel, frame[dst]);
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::SetValue8(OrvOp* op, int) noexcept {
    return setValue<std::uint8_t>(op, "SetValue8Memory.cc", byteOf);
}

OrvStatus OrvDeviceComputeTypeMemory::SetValue16(OrvOp* op, int) noexcept {
    return setValue<std::int16_t>(op, "SetValue16Memory.cc", roundTo<std::int16_t>);
}
