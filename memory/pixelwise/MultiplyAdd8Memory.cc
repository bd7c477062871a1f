// A product and the sum that consumes it in one pass; the product is never stored.

#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

// The system state of the second factor is told of all that comes after it.
constexpr Fetch fetches[] = {
    {src1, ORV_BYTE, {"di-9", 1, 0}, src1},
    {src2, ORV_BYTE, {"di-15", 1, 0}, src2},
    {src3, ORV_BYTE, {"di-138", 1, 0}, src2},
    {dst, ORV_BYTE, {"di-10", 1, 0}, src2},
};
constexpr FrameFacts facts{"MultiplyAdd8Memory.cc", fetches, {"di-12", 1, 0}, src2};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::MultiplyAdd8(OrvOp* op, int) noexcept {
    using T = std::uint8_t;
    OrvOp* product = op->getOp1();
    Frame frame(product->getSrc1(), product->getSrc2(), op->getSrc2(), op->getDst());
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1], frame[src2], frame[src3]);
    const auto kernel = [bands](T* d, const T* a, const T* b, const T* c, std::size_t pixels) {
        const auto operation = [](auto x, auto y, auto z) {
            return lanes::addSaturated(lanes::multiplySaturated(x, y), z);
        };
        mapSamples(d, pixels * bands, operation, a, b, c);
    };
    walkRuns<T, T, T, T>(frame.rects(), kernel, Operand{&frame[dst], bands}, Operand{&frame[src1], bands},
                         Operand{&frame[src2], bands}, Operand{&frame[src3], bands});
    return ORV_SUCCESS;
}
