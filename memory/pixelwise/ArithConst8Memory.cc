// Sum, difference, product and quotient of an image and one float constant a band.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/band_values.h"
#include "memory/pixelwise/constants.h"
#include "memory/pixelwise/lookup_utils.h"
#include "memory/pixelwise/row_actions.h"

namespace {

using namespace orvi;

constexpr Failure zeroDivisor{"di-171", 4, 1};

const float* constantsOf(OrvOp* op) noexcept { return static_cast<const float*>(op->getPtrParam(1)); }

// Bits: the result rounded to a bit is one of four things to do with a row. NaN clears it.

RowAction addAction(float c) noexcept {
    if (c >= 0.5F) return RowAction::set;
    return c >= -0.5F ? RowAction::copy : RowAction::clear;
}

RowAction subtractAction(float c) noexcept {
    if (c >= 1.5F) return RowAction::set;
    return c >= 0.5F ? RowAction::invert : RowAction::clear;
}

RowAction scaleAction(float c) noexcept { return c >= 0.5F ? RowAction::copy : RowAction::clear; }

OrvStatus constantBits(Frame& frame, OrvOp* op, const FrameFacts& facts, RowAction (*action)(float) noexcept) noexcept {
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const float* constants = constantsOf(op);
    walkActions(frame, [&](unsigned band) { return action(constants[band]); });
    return ORV_SUCCESS;
}

/// An op with one value a band made from the constants: `convert(constant)` gives the values, kept in an array that is
/// made before the rectangles are asked for, and `run(frame, values)` uses them.
template <class Value, class Convert, class Run>
OrvStatus withConverted(OrvOp* op, const FrameFacts& facts, Convert convert, Run run) noexcept {
    Frame frame(op);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = frame[dst].bands;
    const Array<Value> values(bands);
    if (!values) return fail(frame.image(dst), noMemory, facts.file);
    const float* constants = constantsOf(op);
    for (unsigned band = 0; band < bands; ++band) values[band] = convert(constantOf(constants[band]));
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;
    run(frame, values.get());
    return ORV_SUCCESS;
}

template <class T, class Kernel>
void walkSamples(Frame& frame, unsigned bands, Kernel kernel) noexcept {
    walkRuns<T, T>(
        frame.rects(), [&](T* d, const T* s, std::size_t pixels) { kernel(d, s, pixels * bands); },
        Operand{&frame[dst], bands}, Operand{&frame[src1], bands});
}

template <class Combine>
OrvStatus constantShorts(OrvOp* op, const FrameFacts& facts, Combine combine) noexcept {
    using T = std::int16_t;
    return withConverted<T>(op, facts, roundTo<T>, [&](Frame& frame, const T* values) {
        mapByBands<T>(frame, combine, [values](unsigned band) { return values[band]; });
    });
}

/// A constant that is not negative is truncated, a negative one rounded: the asymmetry is intended.
std::int32_t minuendOf(float c) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    return toInt(c >= 0 ? c : c - 0.5F, Limits::min(), Limits::max());
}

/// c - s clamped to a byte, for any integer c: what c has above 255 first lessens s, the rest is a saturating
/// difference.
void subtractFromBytes(Frame& frame, const std::int32_t* values) noexcept {
    using T = std::uint8_t;
    const auto excess = [values](unsigned band) { return static_cast<T>(std::clamp(values[band], 255, 510) - 255); };
    const auto minuend = [values](unsigned band) { return saturate<T>(values[band]); };
    const auto difference = [](auto v, auto above, auto c) {
        return lanes::subtractSaturated(c, lanes::subtractSaturated(v, above));
    };
    mapByBands<T>(frame, difference, excess, minuend);
}

/// The quotient of a constant and a sample; a divisor of 0 gives the limit of the constant's sign, or 0.
template <class T>
T quotientOf(float c, int divisor) noexcept {
    if (divisor != 0) return roundTo<T>(c / static_cast<float>(divisor));
    if (c == 0) return T{0};
    return static_cast<T>(c < 0 && lowest<T> < 0 ? lowest<T> : highest<T>);
}

/// What a divisor of 0 gives shorts.
float limitOf(float c) noexcept { return quotientOf<std::int16_t>(c, 0); }

constexpr auto quotientsOf = [](lanes::F32 divisor, lanes::F32 c, lanes::F32 limit) noexcept {
    return divisor == 0 ? limit : c / (divisor == 0 ? lanes::F32{} + 1.0F : divisor);
};

/// The same without the processor's division, which every other vector leaves idle, for constants that leave room for
/// all rests. The quotient by an estimate that was refined is off by some units of its last place; its rest corrects it
/// to less than 2^-16 of one, which is nearer than any quotient by a short comes to the middle of two floats.
constexpr auto refinedQuotients = [](lanes::F32 divisor, lanes::F32 c, lanes::F32 limit) noexcept {
    const lanes::F32 estimate = lanes::reciprocalEstimate(divisor);
    const lanes::F32 error = lanes::multiplyAdd(-divisor, estimate, lanes::F32{} + 1.0F);
    const lanes::F32 reciprocal = lanes::multiplyAdd(estimate, error, estimate);
    const lanes::F32 near = c * reciprocal;
    const lanes::F32 rest = lanes::multiplyAdd(-near, divisor, c);
    return divisor == 0 ? limit : lanes::multiplyAdd(rest, reciprocal, near);
};
bool leavesRoom(float c) noexcept { return std::fabs(c) > 0x1p-60F && std::fabs(c) < smallLimit; }

template <class T>
bool holdsZero(const T* s, std::size_t samples) noexcept {
    using V = lanes::Vec<std::make_unsigned_t<T>>;
    constexpr std::size_t n = lanes::count<T>;
    V least = ~V{};
    std::size_t i = 0;
    for (; i + n <= samples; i += n) least = lanes::smaller<V>(least, lanes::load<V>(s + i));
    return lanes::any((V)(least == 0)) || std::find(s + i, s + samples, T{0}) != s + samples;
}

/// Divides as `kernel(d, s, samples)` does, and tells of a divisor of 0 when every pixel has been written: the op has
/// succeeded then.
template <class T, class Kernel>
void divideRuns(Frame& frame, unsigned bands, const char* file, Kernel kernel) noexcept {
    bool zero = false;
    // Whole pixels that stay in the first cache between the two.
    const std::size_t chunk = std::max<std::size_t>(1, 8192 / bands) * bands;
    walkSamples<T>(frame, bands, [&](T* d, const T* s, std::size_t samples) {
        for (std::size_t done = 0, count = 0; done < samples; done += count) {
            count = zero ? samples - done : std::min(chunk, samples - done);
            zero = zero || holdsZero(s + done, count);
            kernel(d + done, s + done, count);
        }
    });
    if (zero) fail(frame.image(src1), zeroDivisor, file);
}

/// Bytes of a few bands have a table each.
void divideIntoBytes(Frame& frame, const float* constants, unsigned bands, const char* file) noexcept {
    using T = std::uint8_t;
    constexpr unsigned tableBands = 32;
    static T tables[tableBands][byteEntries];
    const T* bandTables[tableBands];
    if (bands > tableBands) {
        divideRuns<T>(frame, bands, file, [&](T* d, const T* s, std::size_t samples) {
            for (std::size_t i = 0; i < samples; ++i) d[i] = quotientOf<T>(constantOf(constants[i % bands]), s[i]);
        });
        return;
    }
    for (unsigned band = 0; band < bands; ++band) {
        for (int v = 0; v < byteEntries; ++v) tables[band][v] = quotientOf<T>(constantOf(constants[band]), v);
        bandTables[band] = tables[band];
    }
    divideRuns<T>(frame, bands, file,
                  [&](T* d, const T* s, std::size_t samples) { mapBands(d, s, samples / bands, bandTables, bands); });
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::AddConst1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("AddConst1Memory.cc");
    Frame frame(op);
    return constantBits(frame, op, facts, addAction);
}

OrvStatus OrvDeviceComputeTypeMemory::SubtractFromConst1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("SubtractFromConst1Memory.cc");
    Frame frame(op);
    return constantBits(frame, op, facts, subtractAction);
}

OrvStatus OrvDeviceComputeTypeMemory::MultiplyConst1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("MultiplyConst1Memory.cc");
    Frame frame(op);
    return constantBits(frame, op, facts, scaleAction);
}

OrvStatus OrvDeviceComputeTypeMemory::DivideIntoConst1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("DivideIntoConst1Memory.cc");
    Frame frame(op);
    if (constantBits(frame, op, facts, scaleAction) != ORV_SUCCESS) return ORV_FAILURE;
    if (OrviCheckForZeros(frame.image(src1)) != 0) fail(frame.image(src1), zeroDivisor, facts.file);
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::AddConst8(OrvOp* op, int) noexcept {
    // A sum is a rescale by 1 with the constants as offsets: the op's parameters are rewritten so, and stay so.
    const unsigned bands = op->getSrc1()->getBands();
    float* ones = newArray<float>(bands);
    if (ones == nullptr) return fail(op->getSrc1(), noMemory, "AddConst8Memory.cc");
    std::fill_n(ones, bands, 1.0F);
    void* constants = op->getPtrParam(1);
    op->setPtrParam(1, ones, 1);
    op->setPtrParam(2, constants, 1);
    return Rescale8(op, 1);
}

OrvStatus OrvDeviceComputeTypeMemory::MultiplyConst8(OrvOp* op, int) noexcept {
    // Reads as a null pointer there: no offsets.
    op->setFloatParam(2, 0.0F);
    return Rescale8(op, 1);
}

OrvStatus OrvDeviceComputeTypeMemory::SubtractFromConst8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("SubtractFromConst8Memory.cc");
    return withConverted<std::int32_t>(op, facts, minuendOf, subtractFromBytes);
}

OrvStatus OrvDeviceComputeTypeMemory::AddConst16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("AddConst16Memory.cc");
    return constantShorts(op, facts, [](auto v, auto c) { return lanes::addSaturated(v, c); });
}

OrvStatus OrvDeviceComputeTypeMemory::SubtractFromConst16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("SubtractFromConst16Memory.cc");
    return constantShorts(op, facts, [](auto v, auto c) { return lanes::subtractSaturated(c, v); });
}

OrvStatus OrvDeviceComputeTypeMemory::MultiplyConst16(OrvOp* op, int) noexcept {
    using T = std::int16_t;
    static constexpr FrameFacts facts = oneSource<T, T>("MultiplyConst16Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const float* constants = constantsOf(op);
    const auto product = [](lanes::F32 v, lanes::F32 c) { return v * c; };
    if (mappedRoundedWords(frame, product, constantOf(constants[0]))) return ORV_SUCCESS;
    const BandPattern<float> pattern(bands, [=](unsigned band) { return constantOf(constants[band]); });
    constexpr float most = -static_cast<float>(lowest<T>);
    const bool small =
        std::all_of(constants, constants + bands, [](float c) { return std::fabs(constantOf(c)) < smallLimit / most; });
    walkSamples<T>(frame, bands, [&](T* d, const T* s, std::size_t samples) {
        small ? mapRounded<Floats::small>(d, s, samples, product, pattern)
              : mapRounded<Floats::any>(d, s, samples, product, pattern);
    });
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::DivideIntoConst8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("DivideIntoConst8Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    divideIntoBytes(frame, constantsOf(op), commonBands(frame[dst], frame[src1]), facts.file);
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::DivideIntoConst16(OrvOp* op, int) noexcept {
    using T = std::int16_t;
    static constexpr FrameFacts facts = oneSource<T, T>("DivideIntoConst16Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const float* constants = constantsOf(op);
    const BandPattern<float, 0> pattern(bands, [=](unsigned band) { return constantOf(constants[band]); });
    const BandPattern<float, 1> limits(bands, [=](unsigned band) { return limitOf(constantOf(constants[band])); });
    const bool refined = lanes::hasMultiplyAdd && std::all_of(constants, constants + bands, leavesRoom);
    divideRuns<T>(frame, bands, facts.file, [&](T* d, const T* s, std::size_t samples) {
        refined ? mapRoundedInTurns<Floats::small>(d, s, samples, quotientsOf, refinedQuotients, pattern, limits)
                : mapRounded<Floats::any>(d, s, samples, quotientsOf, pattern, limits);
    });
    return ORV_SUCCESS;
}
