// Sum, difference, product and quotient of an image and one float constant a band.

#include <algorithm>
#include <cstdint>
#include <limits>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/constants.h"
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
        const unsigned bands = commonBands(frame[dst], frame[src1]);
        const BandPattern<T> pattern(bands, [&](unsigned band) { return values[band]; });
        walkSamples<T>(frame, bands,
                       [&](T* d, const T* s, std::size_t samples) { mapWithBands(d, s, samples, combine, pattern); });
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
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const BandPattern<T, 0> excess(
        bands, [&](unsigned band) { return static_cast<T>(std::clamp(values[band], 255, 510) - 255); });
    const BandPattern<T, 1> minuend(bands, [&](unsigned band) { return saturate<T>(values[band]); });
    walkSamples<T>(frame, bands, [&](T* d, const T* s, std::size_t samples) {
        const auto difference = [](auto v, auto above, auto c) {
            return lanes::subtractSaturated(c, lanes::subtractSaturated(v, above));
        };
        mapWithBands(d, s, samples, difference, excess, minuend);
    });
}

/// The quotients of constants and samples; a divisor of 0 gives the limit of the constant's sign, or 0.
template <class T>
struct Quotient {
    using Lanes = FloatLanes<T>;
    using Floats = typename Lanes::Floats;

    typename Lanes::Samples operator()(Floats divisor, Floats c) const noexcept {
        const Floats zero = {};
        constexpr float negative = lowest<T> < 0 ? lowest<T> : highest<T>;
        const Floats limit = c == zero ? zero : (c < zero ? negative + zero : highest<T> + zero);
        return Lanes::round(divisor == zero ? limit : c / (divisor == zero ? zero + 1.0F : divisor));
    }
};

template <class T>
bool holdsZero(const T* s, std::size_t samples) noexcept {
    unsigned zeros = 0;
    for (std::size_t i = 0; i < samples; ++i) zeros |= s[i] == 0 ? 1U : 0U;
    return zeros != 0;
}

/// Float results of the samples and the constants: `op` works on FloatLanes<T>; `look(s, samples)` sees each run before
/// it may be overwritten.
template <class T, class Op, class Look>
void eachResult(Frame& frame, OrvOp* op, Op result, Look look) noexcept {
    const float* constants = constantsOf(op);
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const BandPattern<float> pattern(bands, [&](unsigned band) { return constantOf(constants[band]); });
    walkSamples<T>(frame, bands, [&](T* d, const T* s, std::size_t samples) {
        look(s, samples);
        mapFloatsWithBands(d, s, samples, result, pattern);
    });
}

template <class T>
OrvStatus divideInto(OrvOp* op, const FrameFacts& facts) noexcept {
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    bool zero = false;
    eachResult<T>(frame, op, Quotient<T>{},
                  [&](const T* s, std::size_t samples) { zero = zero || holdsZero(s, samples); });
    // Every pixel has been written: a divisor of 0 is told, and the op has succeeded.
    if (zero) fail(frame.image(src1), zeroDivisor, facts.file);
    return ORV_SUCCESS;
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
    using Floats = FloatLanes<T>::Floats;
    eachResult<T>(
        frame, op, [](Floats v, Floats c) { return FloatLanes<T>::round(v * c); }, [](const T*, std::size_t) {});
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::DivideIntoConst8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("DivideIntoConst8Memory.cc");
    return divideInto<std::uint8_t>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::DivideIntoConst16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("DivideIntoConst16Memory.cc");
    return divideInto<std::int16_t>(op, facts);
}
