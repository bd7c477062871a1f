// And, or, exclusive or of two images; inversion.

#include <cstdint>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/pixelwise/ArithLogicConfig.h"

namespace {

using namespace orvi;

constexpr auto both = [](auto a, auto b) noexcept { return a & b; };
constexpr auto either = [](auto a, auto b) noexcept { return a | b; };
constexpr auto oneOf = [](auto a, auto b) noexcept { return a ^ b; };
constexpr auto inverse = [](auto a) noexcept { return ~a; };

} // namespace

#define ORV_LOGIC(NAME, OPERATION)                                                                                     \
    OrvStatus OrvDeviceComputeTypeMemory::NAME##1(OrvOp * op, int) noexcept {                                          \
        return bitPairwise(op, #NAME "1Memory.cc", OPERATION);                                                         \
    }                                                                                                                  \
    OrvStatus OrvDeviceComputeTypeMemory::NAME##8(OrvOp * op, int) noexcept {                                          \
        return pairwise<std::uint8_t>(op, #NAME "8Memory.cc", OPERATION);                                              \
    }                                                                                                                  \
    OrvStatus OrvDeviceComputeTypeMemory::NAME##16(OrvOp * op, int) noexcept {                                         \
        return pairwise<std::int16_t>(op, #NAME "16Memory.cc", OPERATION);                                             \
    }

ORV_LOGIC(And, both)
ORV_LOGIC(Or, either)
ORV_LOGIC(Xor, oneOf)

OrvStatus OrvDeviceComputeTypeMemory::Not1(OrvOp* op, int) noexcept { return bitwise(op, "Not1Memory.cc", inverse); }
OrvStatus OrvDeviceComputeTypeMemory::Not8(OrvOp* op, int) noexcept {
    return samplewise<std::uint8_t>(op, "Not8Memory.cc", inverse);
}
OrvStatus OrvDeviceComputeTypeMemory::Not16(OrvOp* op, int) noexcept {
    return samplewise<std::int16_t>(op, "Not16Memory.cc", inverse);
}
