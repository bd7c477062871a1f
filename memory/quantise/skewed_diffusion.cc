#include "memory/quantise/skewed_diffusion.h"

#include <cstring>

namespace orvi {

namespace {

using Bytes [[gnu::vector_size(skewedRows)]] = std::uint8_t;
using Floats [[gnu::vector_size(skewedRows * sizeof(float))]] = float;
using Doubles [[gnu::vector_size(skewedRows * sizeof(double))]] = double;
using Ints [[gnu::vector_size(skewedRows * sizeof(std::int32_t))]] = std::int32_t;
using Words [[gnu::vector_size(skewedRows * sizeof(std::uint32_t))]] = std::uint32_t;

/// What pixels gain: the product is exact, and the sum is rounded to single precision once.
void gain(Floats& value, const Doubles& error, double weight) noexcept {
    value = __builtin_convertvector(__builtin_convertvector(value, Doubles) + error * weight, Floats);
}

} // namespace

void diffuseSkewed(const SkewedSource& source, float* above, long width, const NearWeights& weights,
                   const TwoLevels& levels, std::uint8_t* const* results, long rows) noexcept {
    constexpr long lastLag = (skewedRows - 1) * skewedColumns;
    constexpr long byteLag = skewedColumns; // bytes from a first lane's newest to the last that all lanes have
    constexpr Words newerBits = {24, 21, 18, 15, 12, 9, 6, 3};
    const Ints lowBit = Ints{} + (levels.lowBit ? 1 : 0);
    const Ints highBit = Ints{} + (levels.highBit ? 1 : 0);
    const Words columns = Words{} + static_cast<std::uint32_t>(width);
    const long bytes = (width + 7) / 8;

    // Errors by their age in steps; of the row above as the lane below meets them: right of it, over it, left of it.
    Doubles last = {};
    Doubles beforeLast = {};
    Doubles over = {above[0]};
    Doubles left = {};
    Words bits = {};
    Words column = {0,
                    static_cast<std::uint32_t>(-skewedColumns),
                    static_cast<std::uint32_t>(-2 * skewedColumns),
                    static_cast<std::uint32_t>(-3 * skewedColumns),
                    static_cast<std::uint32_t>(-4 * skewedColumns),
                    static_cast<std::uint32_t>(-5 * skewedColumns),
                    static_cast<std::uint32_t>(-6 * skewedColumns),
                    static_cast<std::uint32_t>(-7 * skewedColumns)};
    for (long step = 0; step < (bytes + byteLag) * 8; ++step, column += 1) {
        const Doubles fromAbove = {step + 1 < width ? double{above[step + 1]} : 0.0};
        const Doubles right = __builtin_shufflevector(beforeLast, fromAbove, 8, 0, 1, 2, 3, 4, 5, 6);

        Bytes samples;
        std::memcpy(&samples, source.samples[step], sizeof samples);
        Floats value = __builtin_convertvector(samples, Floats);
        gain(value, left, weights.belowRight);
        gain(value, over, weights.below);
        gain(value, right, weights.belowLeft);
        gain(value, last, weights.right);

        const Ints high = value >= levels.threshold;
        const Ints active = column < columns;
        const Ints error = active & (high ? (Ints)(value - levels.high) : (Ints)(value - levels.low));
        bits = bits << 1 | (Words)(active & (high ? highBit : lowBit));

        left = over;
        over = right;
        beforeLast = last;
        last = __builtin_convertvector((Floats)error, Doubles);
        if (step >= lastLag && step - lastLag < width) {
            above[step - lastLag] = static_cast<float>(last[skewedRows - 1]);
        }
        if (step % 8 != 7 || step / 8 < byteLag) continue;
        const Words done = bits >> newerBits;
        for (long row = 0; row < rows; ++row) results[row][step / 8 - byteLag] = static_cast<std::uint8_t>(done[row]);
    }
}

} // namespace orvi
