// Sum of two images, saturating to the data type.

#include <algorithm>
#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/LazyTable.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

constexpr std::size_t clampEntries = 512;
LazyTable<std::uint8_t> addClamp;

void fillAddClamp(std::uint8_t* table) noexcept {
    for (std::size_t i = 0; i < clampEntries; ++i) table[i] = static_cast<std::uint8_t>(std::min<std::size_t>(i, 255));
}

struct Sum {
    template <class T>
    static T of(T a, T b) noexcept {
        return saturate<T>(a + b);
    }
};

template <class T, class Operator>
void pairwise(Frame& frame) noexcept {
    const unsigned bands = commonBands(frame[dst], frame[src1], frame[src2]);
    const auto kernel = [bands](T* d, const T* a, const T* b, std::size_t pixels) {
        const std::size_t samples = pixels * bands;
        for (std::size_t i = 0; i < samples; ++i) d[i] = Operator::of(a[i], b[i]);
    };
    walkRuns<T, T, T>(frame.rects(), kernel, Operand{&frame[dst], bands}, Operand{&frame[src1], bands},
                      Operand{&frame[src2], bands});
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Add8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = twoSources<std::uint8_t>("Add8Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    // The table is part of the op's first call though the loop computes the clamp; its failure keeps the list, as
    // intended.
    if (addClamp.get(clampEntries, fillAddClamp) == nullptr) {
        frame.rects().leak();
        return fail(frame.image(dst), noMemory, facts.file);
    }
    pairwise<std::uint8_t, Sum>(frame);
    return ORV_SUCCESS;
}
