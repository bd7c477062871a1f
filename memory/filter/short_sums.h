// Sums of five rows of shorts in fixed point: two products of 16 bits for each weight, of the second the upper half
// alone, come so near to the sums in doubles that few vectors need those.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "memory/filter/strip_rules.h"

namespace orvi {

/// Five weights for sums of shorts that are rounded to single precision once and then to the nearest short.
class ShortSums {
public:
    static constexpr long taps = 5;

    /// `serves` where sums of any samples fit 32 bits, with enough of a fraction.
    explicit ShortSums(const float* weights) noexcept {
        std::copy_n(weights, taps, weights_);
        double magnitude = 0;
        double heaviest = 0;
        for (long i = 0; i < taps; ++i) {
            const double weight = std::fabs(weights_[i]);
            magnitude += weight;
            heaviest = std::max(heaviest, weight);
        }
        if (!std::isfinite(magnitude) || heaviest == 0) return;
        const double most = std::min(0x1.8p30 / largest / magnitude, largestPart / heaviest);
        bits_ = static_cast<int>(std::floor(std::fmin(std::log2(most), mostBits)));
        if (bits_ < leastBits) return;
        while (!split(unit_)) unit_ *= 2;
    }

    bool serves() const noexcept { return doubt_ != 0; }

    /// Whole vectors of sums. Meanwhile as many samples are brought near that are read (0) or written (1) next.
    template <int Next>
    void sum(std::int16_t* to, const std::int16_t* const* from, long samples,
             const std::int16_t* ahead) const noexcept {
        if (bits_ == mostBits) return sumOf<Next, mostBits>(to, from, samples, ahead);
        sumOf<Next, 0>(to, from, samples, ahead);
    }

private:
    using I16 = lanes::I16;
    using I32 = lanes::I32;
    using Turns = lanes::Pair<I16>;

    static constexpr long count = lanes::count<std::int16_t>;
    static constexpr double largest = 32768;
    static constexpr double largestPart = 32766;
    static constexpr int leastBits = 12;
    static constexpr int mostBits = 15;
    static constexpr long lineSamples = 32;

    /// Splits weights into their upper parts and lower ones, whose products count in units; false where the sum of
    /// those does not fit 16 bits.
    bool split(int unit) noexcept {
        double lost = 0;
        double reach = 0;
        for (long i = 0; i < taps; ++i) {
            const double whole = std::ldexp(weights_[i], bits_);
            const double high = std::nearbyint(whole);
            const double low = std::nearbyint(std::ldexp(whole - high, 16) / unit);
            high_[i] = static_cast<std::int16_t>(high);
            low_[i] = static_cast<std::int16_t>(low);
            lost += std::fabs(whole - high - std::ldexp(low * unit, -16));
            reach += std::fabs(low) / 2 + 1;
        }
        // Of the lower products up to a unit each is lost, half of which is made up for, and the raise is one of whole
        // units.
        const int floors = static_cast<int>(taps) * unit / 2;
        doubt_ = static_cast<std::int32_t>(std::ceil(lost * largest)) + moved() + floors + unit;
        raise_ = ((1 << (bits_ - 1)) + doubt_ + floors) / unit;
        return reach + raise_ < largest;
    }

    /// Weights beside one another as the samples of two vectors in turn are.
    static I16 inPair(std::int16_t first, std::int16_t second) noexcept {
        const std::int16_t both[2] = {first, second};
        return (I16)(I32{} + lanes::load<std::int32_t>(both));
    }

    /// With as many bits of a fraction, where that is not 0.
    template <int Next, int Bits>
    void sumOf(std::int16_t* to, const std::int16_t* const* from, long samples,
               const std::int16_t* ahead) const noexcept {
        const int bits = Bits != 0 ? Bits : bits_;
        const std::int16_t* rows[taps];
        std::copy_n(from, taps, rows);
        I16 low[taps];
        for (long k = 0; k < taps; ++k) low[k] = I16{} + low_[k];
        const I16 raise = I16{} + static_cast<std::int16_t>(raise_);
        const I16 ab = inPair(high_[0], high_[1]);
        const I16 cd = inPair(high_[2], high_[3]);
        const I16 e = inPair(high_[4], static_cast<std::int16_t>(unit_)); // beside the sum of the lower products
        const std::int32_t fraction = (1 << bits) - 1;
        const std::int32_t certain = 2 * doubt_ + 1;
        for (long i = 0; i < samples; i += count) {
            I16 v[taps];
            I16 lower = raise;
            for (long line = 0; line < count; line += lineSamples) __builtin_prefetch(ahead + i + line, Next);
#pragma GCC unroll 5
            for (long k = 0; k < taps; ++k) {
                v[k] = lanes::load<I16>(rows[k] + i);
                lower += upperProducts(v[k], low[k]);
            }
            const Turns first = inTurn(v[0], v[1]);
            const Turns second = inTurn(v[2], v[3]);
            const Turns third = inTurn(v[4], lower);
            const I32 left =
                pairProducts(first.first, ab) + pairProducts(second.first, cd) + pairProducts(third.first, e);
            const I32 right =
                pairProducts(first.second, ab) + pairProducts(second.second, cd) + pairProducts(third.second, e);
            lanes::store(to + i, lanes::narrow(lanes::Pair<I32>{left >> bits, right >> bits}));
            if (someBelow(left & fraction, right & fraction, certain)) [[unlikely]] {
                const lanes::Pair<I32> sums{left - doubt_, right - doubt_};
                lanes::store(to + i, lanes::narrow(lanes::Pair<I32>{sums.first >> bits, sums.second >> bits}));
                exactly(to + i, rows, i, lanesOf(doubtful(sums.first) | doubtful(sums.second)));
            }
        }
    }

    /// Which sums, raised by one half, may round either way. Those of half the magnitude are moved half as far where
    /// they are rounded to single precision.
    I32 doubtful(I32 sums) const noexcept {
        const I32 above = sums & ((1 << bits_) - 1);
        const I32 below = (1 << bits_) - above;
        const I32 distance = above < below ? above : below;
        const I32 magnitude = sums < 0 ? -sums : sums;
        return distance <= (magnitude >> 24) + (doubt_ - moved() + 2);
    }
    /// How far rounding to single precision moves a sum in the range of shorts at most.
    std::int32_t moved() const noexcept { return 1 << (bits_ - 10); }

    /// The doubtful parts of a vector by the sums themselves; what is in turn makes eight samples of four lanes.
    [[gnu::noinline]] void exactly(std::int16_t* to, const std::int16_t* const* rows, long at,
                                   std::uint32_t doubts) const noexcept {
        using Rule = WholeRule<std::int16_t>;
        constexpr int part = 8;
        while (doubts != 0) {
            const int first = std::countr_zero(doubts) / (part / 2) * part;
            doubts &= ~(0xfU << (first / 2));
            for (long i = first; i < first + part; i += Lanes<double>::count) {
                Rule::Vector sum = Rule::start();
                for (long k = 0; k < taps; ++k) {
                    const auto samples = loadSamples<Lanes<double>::Ints>(rows[k] + at + i);
                    sum = Rule::add(sum, convertLanes<Rule::Vector>(samples), weights_[k]);
                }
                storeSamples(to + i, Rule::finish(sum));
            }
        }
    }

    double weights_[taps];
    std::int16_t high_[taps] = {};
    std::int16_t low_[taps] = {};
    int bits_ = 0;           ///< of the fraction of sums
    int unit_ = 2;           ///< of the lower products, in the last of those bits
    std::int32_t doubt_ = 0; ///< how far sums may be from what decides between two shorts
    std::int32_t raise_ = 0; ///< one half and the doubt, in units
};

} // namespace orvi
