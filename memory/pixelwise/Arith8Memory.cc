// Sum, difference, product, quotient, maximum and minimum of two images, saturating to the data type; absolute value.

#include <algorithm>
#include <cstdint>

#include "memory/frame/LazyTable.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/orv_float_utils.h"
#include "memory/pixelwise/ArithLogicConfig.h"

namespace {

using namespace orvi;
using Byte = std::uint8_t;
using Short = std::int16_t;

constexpr auto sum = [](auto a, auto b) noexcept { return lanes::addSaturated(a, b); };
constexpr auto difference = [](auto a, auto b) noexcept { return lanes::subtractSaturated(a, b); };
constexpr auto product = [](auto a, auto b) noexcept { return lanes::multiplySaturated(a, b); };
constexpr auto largest = [](auto a, auto b) noexcept { return lanes::larger(a, b); };
constexpr auto smallest = [](auto a, auto b) noexcept { return lanes::smaller(a, b); };
constexpr auto bitDifference = [](auto a, auto b) noexcept { return a & ~b; };

/// Saturating negation sends the lowest short to the highest.
struct Magnitude {
    template <class V>
    V operator()(V a) const noexcept {
        return lanes::larger<V>(a, lanes::subtractSaturated(V{}, a));
    }
};

constexpr std::size_t clampEntries = 512;
LazyTable<Byte> sumClamp;
LazyTable<Byte> differenceClamp;

void fillSumClamp(Byte* table) noexcept {
    for (std::size_t i = 0; i < clampEntries; ++i) table[i] = static_cast<Byte>(std::min<std::size_t>(i, 255));
}

void fillDifferenceClamp(Byte* table) noexcept {
    for (std::size_t i = 0; i < clampEntries; ++i) table[i] = static_cast<Byte>(i < 256 ? 0 : i - 256);
}

/// The sum and difference of bytes make their clamp tables on the first call though the loops compute the clamp: the
/// one allocation belongs to the op. Its failure keeps the rectangle list, as intended.
template <class Operation>
OrvStatus clamped(OrvOp* op, const char* file, LazyTable<Byte>& table, void (*fill)(Byte*) noexcept,
                  Operation operation) noexcept {
    Frame frame(op);
    if (frame.open(twoSources<Byte>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    if (table.get(clampEntries, fill) == nullptr) {
        frame.rects().leak();
        return fail(frame.image(dst), noMemory, file);
    }
    eachPair<Byte>(frame, operation);
    return ORV_SUCCESS;
}

/// The rounded quotient of bytes, (2a + b) / (2b) in integers, equals the rounded single-precision one for every pair.
/// In vectors (2a + b + 1/2) times an estimate of 1 / (2b) has that integer part: it keeps 1 / (4b) away from the next
/// integers, more than the estimate's error.
class ByteQuotient {
public:
    Byte operator()(Byte a, Byte b) noexcept {
        if (b == 0) zeroMet_ = true;
        if (b == 0) return a == 0 ? 0 : 255;
        return saturate<Byte>((2 * a + b) / (2 * b));
    }

    lanes::U8 operator()(lanes::U8 a, lanes::U8 b) noexcept {
        const lanes::U8 zero = (lanes::U8)(b == 0);
        zeros_ |= zero;
        const lanes::Pair<lanes::U16> wideA = lanes::widen(a);
        const lanes::Pair<lanes::U16> wideB = lanes::widen(b);
        const lanes::U8 quotient =
            lanes::narrow(lanes::Pair<lanes::I16>{half(wideA.first, wideB.first), half(wideA.second, wideB.second)});
        return zero ? (lanes::U8)(a != 0) : quotient;
    }

    /// Samples in the lower halves of words, whatever the upper ones hold.
    lanes::U16 operator()(lanes::U16 a, lanes::U16 b) noexcept {
        a &= 0xff;
        b &= 0xff;
        const lanes::U16 zero = (lanes::U16)(b == 0);
        zeros_ |= (lanes::U8)zero;
        return zero ? (lanes::U16)(a != 0) : (lanes::U16)half(a, b);
    }

    bool zeroMet() const noexcept { return zeroMet_ || lanes::any(zeros_); }

private:
    static lanes::I16 half(lanes::U16 a, lanes::U16 b) noexcept {
        const lanes::Pair<lanes::I32> numerator = lanes::widen(a + a + b);
        const lanes::Pair<lanes::I32> denominator = lanes::widen(b + b);
        return lanes::narrow(lanes::Pair<lanes::I32>{quarter(numerator.first, denominator.first),
                                                     quarter(numerator.second, denominator.second)});
    }
    static lanes::I32 quarter(lanes::I32 numerator, lanes::I32 denominator) noexcept {
        return lanes::truncate((lanes::toFloat(numerator) + 0.5F) *
                               lanes::reciprocalEstimate(lanes::toFloat(denominator)));
    }

    bool zeroMet_ = false;
    lanes::U8 zeros_{};
};

/// The rounded single-precision quotient of shorts.
class ShortQuotient {
public:
    Short operator()(Short a, Short b) noexcept {
        if (b != 0) return roundTo<Short>(static_cast<float>(a) / static_cast<float>(b));
        zeroMet_ = true;
        return a == 0 ? Short{0} : a < 0 ? Short{-32768} : Short{32767};
    }

    lanes::I16 operator()(lanes::I16 a, lanes::I16 b) noexcept {
        const lanes::Pair<lanes::I32> wideA = lanes::widen(a);
        const lanes::Pair<lanes::I32> wideB = lanes::widen(b);
        const lanes::I16 quotient =
            lanes::narrow(lanes::Pair<lanes::I32>{half(wideA.first, wideB.first), half(wideA.second, wideB.second)});
        if (!lanes::holdsZero(b)) return quotient;
        zeroMet_ = true;
        const lanes::I16 limit = (a > 0) ? 32767 - lanes::I16{} : (a < 0) & -32768;
        return b == 0 ? limit : quotient;
    }

    bool zeroMet() const noexcept { return zeroMet_; }

private:
    /// a times an estimate of 1 / b, the half added by sign. The rounded single-precision quotient is that of the exact
    /// one, which keeps 1 / (2b) away from the next integers and halves unless it is one: an estimate that is refined,
    /// and greater by 2^-20 for the halves, stays on the right side for every pair.
    static lanes::I32 half(lanes::I32 a, lanes::I32 b) noexcept {
        constexpr float greater = 1.0F + 0x1p-20F;
        const lanes::F32 divisor = lanes::toFloat(b);
        const lanes::F32 estimate = lanes::reciprocalEstimate(divisor);
        const lanes::F32 error = lanes::multiplyAdd(-divisor, estimate, greater - lanes::F32{});
        const lanes::F32 quotient = lanes::toFloat(a) * lanes::multiplyAdd(estimate, error, estimate);
        constexpr std::uint32_t oneHalf = 0x3f000000;
        return lanes::truncate(quotient + (lanes::F32)(((lanes::U32)quotient & 0x80000000U) | oneHalf));
    }

    bool zeroMet_ = false;
};

constexpr Failure divisionByZero{"di-171", 4, 1};

/// A divisor of 0 is reported once, after the pixels, and the call succeeds. The table of floats is made on the first
/// call though the loops convert by themselves; without it the rectangle list is kept, as intended.
template <class T, class Quotient>
OrvStatus divide(OrvOp* op, const char* file, const float* (*table)() noexcept, Quotient quotient) noexcept {
    Frame frame(op);
    if (frame.open(twoSources<T>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    if (table() == nullptr) {
        frame.rects().leak();
        return ORV_FAILURE;
    }
    eachPair<T>(frame, quotient);
    if (quotient.zeroMet()) fail(frame.image(dst), divisionByZero, file);
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Add1(OrvOp* op, int) noexcept { return Or1(op, 1); }
OrvStatus OrvDeviceComputeTypeMemory::Add8(OrvOp* op, int) noexcept {
    return clamped(op, "Add8Memory.cc", sumClamp, fillSumClamp, sum);
}
OrvStatus OrvDeviceComputeTypeMemory::Add16(OrvOp* op, int) noexcept {
    return pairwise<Short>(op, "Add16Memory.cc", sum);
}

OrvStatus OrvDeviceComputeTypeMemory::Subtract1(OrvOp* op, int) noexcept {
    return bitPairwise(op, "Subtract1Memory.cc", bitDifference);
}
OrvStatus OrvDeviceComputeTypeMemory::Subtract8(OrvOp* op, int) noexcept {
    return clamped(op, "Subtract8Memory.cc", differenceClamp, fillDifferenceClamp, difference);
}
OrvStatus OrvDeviceComputeTypeMemory::Subtract16(OrvOp* op, int) noexcept {
    return pairwise<Short>(op, "Subtract16Memory.cc", difference);
}

OrvStatus OrvDeviceComputeTypeMemory::Multiply1(OrvOp* op, int) noexcept { return And1(op, 1); }
OrvStatus OrvDeviceComputeTypeMemory::Multiply8(OrvOp* op, int) noexcept {
    return pairwise<Byte>(op, "Multiply8Memory.cc", product);
}
OrvStatus OrvDeviceComputeTypeMemory::Multiply16(OrvOp* op, int) noexcept {
    return pairwise<Short>(op, "Multiply16Memory.cc", product);
}

/// A bit divided by 1 is itself; what stands over a 0 bit is copied too.
OrvStatus OrvDeviceComputeTypeMemory::Divide1(OrvOp* op, int) noexcept {
    static constexpr const char* file = "Divide1Memory.cc";
    Frame frame(op);
    if (frame.open(twoSources<Bit>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    walkBitBlocks(
        frame.rects(), commonBands(frame[dst], frame[src1]),
        // The second source counts afterwards alone: whole blocks of rows are copied as they stand, whatever it holds,
        // and so is each bit over a 0.
        [](std::size_t rows, unsigned length, unsigned, BitRows d, BitRows a) { copyBitRows(d, a, rows, length); },
        frame[dst], frame[src1]);
    if (OrviCheckForZeros(frame.image(src2)) != 0) fail(frame.image(dst), divisionByZero, file);
    return ORV_SUCCESS;
}
OrvStatus OrvDeviceComputeTypeMemory::Divide8(OrvOp* op, int) noexcept {
    return divide<Byte>(op, "Divide8Memory.cc", orv_float_utils_get_b2f, ByteQuotient{});
}
OrvStatus OrvDeviceComputeTypeMemory::Divide16(OrvOp* op, int) noexcept {
    return divide<Short>(op, "Divide16Memory.cc", orv_float_utils_get_s2f, ShortQuotient{});
}

OrvStatus OrvDeviceComputeTypeMemory::Max8(OrvOp* op, int) noexcept {
    return pairwise<Byte>(op, "Max8Memory.cc", largest);
}
OrvStatus OrvDeviceComputeTypeMemory::Max16(OrvOp* op, int) noexcept {
    return pairwise<Short>(op, "Max16Memory.cc", largest);
}
OrvStatus OrvDeviceComputeTypeMemory::Min8(OrvOp* op, int) noexcept {
    return pairwise<Byte>(op, "Min8Memory.cc", smallest);
}
OrvStatus OrvDeviceComputeTypeMemory::Min16(OrvOp* op, int) noexcept {
    return pairwise<Short>(op, "Min16Memory.cc", smallest);
}

OrvStatus OrvDeviceComputeTypeMemory::Absolute16(OrvOp* op, int) noexcept {
    return samplewise<Short>(op, "Absolute16Memory.cc", Magnitude{});
}
