// A black band from cyan, magenta and yellow, and what it takes away from them.

#include <algorithm>
#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/constants.h"

namespace {

using namespace orvi;

template <class T>
constexpr Fetch blackFetches[] = {
    {src1, dataTypeOf<T>, {"di-9", 1, 1}, src1},
    {dst, dataTypeOf<T>, {"di-10", 1, 1}, dst},
};

constexpr unsigned inks = 3;
constexpr unsigned allBands = 4;

/// The source's black takes no part.
template <class T>
void separate(T* d, const T* s, unsigned sourceBands, std::size_t pixels, float black, float undercolor) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, d += allBands, s += sourceBands) {
        const float k = std::min({s[0], s[1], s[2]});
        const float removed = k * undercolor;
        for (unsigned ink = 0; ink < inks; ++ink) d[ink] = roundTo<T>(static_cast<float>(s[ink]) - removed);
        d[inks] = roundTo<T>(k * black);
    }
}

template <class T>
OrvStatus blackGeneration(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (frame.open({file, blackFetches<T>, {"di-12", 0, 1}, src1}) != ORV_SUCCESS) return ORV_FAILURE;
    const float black = constantOf(op->getFloatParam(1));
    const float undercolor = constantOf(op->getFloatParam(2));
    const unsigned sourceBands = std::min(frame[src1].bands, allBands);
    if (sourceBands < inks || frame[dst].bands < allBands) return ORV_SUCCESS;
    walkRuns<T, T>(
        frame.rects(),
        [=](T* d, const T* s, std::size_t pixels) { separate(d, s, sourceBands, pixels, black, undercolor); },
        Operand{&frame[dst], allBands}, Operand{&frame[src1], sourceBands});
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::BlackGeneration8(OrvOp* op, int) noexcept {
    return blackGeneration<std::uint8_t>(op, "BlackGeneration8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::BlackGeneration16(OrvOp* op, int) noexcept {
    return blackGeneration<std::int16_t>(op, "BlackGeneration16Memory.cc");
}
