// Sums of five rows of shorts in fixed point: two products of 16 bits for each weight come so near to the sums in
// doubles that few vectors need those.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "memory/filter/strip_rules.h"

namespace orvi {

/// Five weights for sums of shorts that are rounded to single precision once and then to the nearest short.
class ShortSums {
public:
    static constexpr long taps = 5;

    /// `serves` where sums of any samples fit 32 bits, with enough of a fraction.
    explicit ShortSums(const float* weights) noexcept : weights_(weights) {
        double magnitude = 0;
        double heaviest = 0;
        for (long i = 0; i < taps; ++i) {
            const double weight = std::fabs(double{weights[i]});
            magnitude += weight;
            heaviest = std::max(heaviest, weight);
        }
        if (!std::isfinite(magnitude) || heaviest == 0) return;
        const double most = std::min(0x1.fp30 / largest / magnitude, largestPart / heaviest);
        bits_ = static_cast<int>(std::floor(std::fmin(std::log2(most), mostBits)));
        if (bits_ < leastBits) return;
        double lost = 0;
        for (long i = 0; i < taps; ++i) {
            const double whole = std::ldexp(double{weights[i]}, bits_);
            const double high = std::nearbyint(whole);
            const double low = std::nearbyint(std::ldexp(whole - high, lowBits));
            high_[i] = static_cast<std::int16_t>(high);
            low_[i] = static_cast<std::int16_t>(low);
            lost += std::fabs(whole - high - std::ldexp(low, -lowBits));
        }
        // Rounding to single precision moves a sum in the range of shorts by 2^-10 at most, and what the lower parts
        // make is rounded down.
        doubt_ = static_cast<std::int32_t>(std::ceil(std::ldexp(1.0, bits_ - 10) + lost * largest + 2));
    }

    bool serves() const noexcept { return doubt_ != 0; }

    /// Whole vectors of sums.
    void sum(std::int16_t* to, const std::int16_t* const* from, long samples) const noexcept {
        const std::int16_t* rows[taps];
        std::copy_n(from, taps, rows);
        const Weights high(high_);
        const Weights low(low_);
        const std::int32_t raise = (1 << (bits_ - 1)) + doubt_;
        const std::int32_t fraction = (1 << bits_) - 1;
        const std::int32_t certain = 2 * doubt_ + 1;
        const int bits = bits_;
        const auto level = [&](I16 a, I16 b, I16 c) {
            return high.sum(a, b, c) + (low.sum(a, b, c) >> lowBits) + raise;
        };
        for (long i = 0; i < samples; i += count) {
            I16 v[taps];
#pragma GCC unroll 5
            for (long k = 0; k < taps; ++k) v[k] = lanes::load<I16>(rows[k] + i);
            const Turns ab = inTurn(v[0], v[1]);
            const Turns cd = inTurn(v[2], v[3]);
            const Turns e = inTurn(v[4], I16{});
            const I32 first = level(ab.first, cd.first, e.first);
            const I32 second = level(ab.second, cd.second, e.second);
            lanes::store(to + i, lanes::narrow(lanes::Pair<I32>{first >> bits, second >> bits}));
            if (someBelow(first & fraction, second & fraction, certain)) [[unlikely]] {
                const lanes::Pair<I32> doubtful{(first & fraction) < certain, (second & fraction) < certain};
                exactly(to + i, rows, i, lanes::narrow(doubtful));
            }
        }
    }

private:
    using I16 = lanes::I16;
    using I32 = lanes::I32;
    using Turns = lanes::Pair<I16>;

    static constexpr long count = lanes::count<std::int16_t>;
    static constexpr double largest = 32768;
    static constexpr double largestPart = 32766;
    static constexpr int leastBits = 12;
    static constexpr int mostBits = 22;
    static constexpr int lowBits = 14; ///< five products of such parts fit 32 bits

    /// Weights beside one another as the samples of two vectors in turn are.
    struct Weights {
        I16 pairs[3];

        explicit Weights(const std::int16_t (&parts)[taps]) noexcept {
            for (int pair = 0; pair < 3; ++pair) {
                const std::int16_t odd = pair < 2 ? parts[2 * pair + 1] : std::int16_t{0};
                for (long i = 0; i < count; i += 2) {
                    pairs[pair][i] = parts[2 * pair];
                    pairs[pair][i + 1] = odd;
                }
            }
        }
        I32 sum(I16 a, I16 b, I16 c) const noexcept {
            return pairProducts(a, pairs[0]) + pairProducts(b, pairs[1]) + pairProducts(c, pairs[2]);
        }
    };

    /// The doubtful parts of a vector by the sums themselves.
    [[gnu::noinline]] void exactly(std::int16_t* to, const std::int16_t* const* rows, long at,
                                   I16 doubtful) const noexcept {
        using Rule = WholeRule<std::int16_t>;
        constexpr long part = Lanes<double>::count;
        std::int16_t doubts[count];
        lanes::store(doubts, doubtful);
        for (long i = 0; i < count; i += part) {
            if (std::find(doubts + i, doubts + i + part, -1) == doubts + i + part) continue;
            Rule::Vector sum = Rule::start();
            for (long k = 0; k < taps; ++k) {
                const auto samples = loadSamples<Lanes<double>::Ints>(rows[k] + at + i);
                sum = Rule::add(sum, convertLanes<Rule::Vector>(samples), double{weights_[k]});
            }
            storeSamples(to + i, Rule::finish(sum));
        }
    }

    const float* weights_;
    std::int16_t high_[taps] = {};
    std::int16_t low_[taps] = {};
    int bits_ = 0;           ///< of the fraction of sums
    std::int32_t doubt_ = 0; ///< how far they may be from what decides between two shorts
};

} // namespace orvi
