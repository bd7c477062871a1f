// And, or, exclusive or of an image and a constant for each band.

#include <algorithm>
#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/pixelwise/band_values.h"
#include "memory/pixelwise/row_actions.h"

namespace {

using namespace orvi;

constexpr auto both = [](auto a, auto b) noexcept { return a & b; };
constexpr auto either = [](auto a, auto b) noexcept { return a | b; };
constexpr auto oneOf = [](auto a, auto b) noexcept { return a ^ b; };

/// The constants are clamped in the caller's array, which keeps the clamped values, as intended: also where there is no
/// pixel to write. A negative constant counts as a large one.
template <class T>
const std::uint32_t* clampConstants(OrvOp* op, unsigned bands) noexcept {
    auto* constants = static_cast<std::uint32_t*>(op->getPtrParam(1));
    for (unsigned band = 0; band < bands; ++band) {
        constants[band] = std::min(constants[band], static_cast<std::uint32_t>(highest<T>));
    }
    return constants;
}

template <class T, class Operation>
OrvStatus withConstants(OrvOp* op, const char* file, Operation operation) noexcept {
    Frame frame(op);
    if (frame.open(oneSource<T, T>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    const std::uint32_t* constants = clampConstants<T>(op, frame[dst].bands);
    mapByBands<T>(frame, operation, [constants](unsigned band) { return static_cast<T>(constants[band]); });
    return ORV_SUCCESS;
}

/// On bits a constant counts as equal to 1 or not.
OrvStatus withBits(OrvOp* op, const char* file, RowAction whereOne, RowAction elsewhere) noexcept {
    Frame frame(op);
    if (frame.open(oneSource<Bit, Bit>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    const auto* constants = static_cast<const std::uint32_t*>(op->getPtrParam(1));
    walkActions(frame, [=](unsigned band) { return constants[band] == 1 ? whereOne : elsewhere; });
    return ORV_SUCCESS;
}

} // namespace

#define ORV_LOGIC_CONST(NAME, OPERATION, WHERE_ONE, ELSEWHERE)                                                         \
    OrvStatus OrvDeviceComputeTypeMemory::NAME##1(OrvOp * op, int) noexcept {                                          \
        return withBits(op, #NAME "1Memory.cc", WHERE_ONE, ELSEWHERE);                                                 \
    }                                                                                                                  \
    OrvStatus OrvDeviceComputeTypeMemory::NAME##8(OrvOp * op, int) noexcept {                                          \
        return withConstants<std::uint8_t>(op, #NAME "8Memory.cc", OPERATION);                                         \
    }                                                                                                                  \
    OrvStatus OrvDeviceComputeTypeMemory::NAME##16(OrvOp * op, int) noexcept {                                         \
        return withConstants<std::int16_t>(op, #NAME "16Memory.cc", OPERATION);                                        \
    }

ORV_LOGIC_CONST(AndConst, both, RowAction::copy, RowAction::clear)
ORV_LOGIC_CONST(OrConst, either, RowAction::set, RowAction::copy)
ORV_LOGIC_CONST(XorConst, oneOf, RowAction::invert, RowAction::copy)
