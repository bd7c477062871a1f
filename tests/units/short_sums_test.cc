// Sums of shorts in fixed point against those in doubles that are rounded to single precision once.

#include "memory/filter/short_sums.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>

#include "memory/filter/sums.h"

namespace {

using namespace orvi;

/// Of any size, of few bits, so that sums lie in the middle between two shorts, or nearly alike.
float weight(std::mt19937& random, unsigned kind, int exponent) {
    const auto of = [&](unsigned range) { return static_cast<float>(random() % range); };
    switch (kind) {
    case 0:
        return std::ldexp(of(1U << 24) - 0x1p23F, exponent - 23);
    case 1:
        return std::ldexp(of(1024) - 512, exponent - 10);
    case 2:
        return of(16) / 32768;
    default:
        return 0.2F + std::ldexp(of(1024) - 512, -30);
    }
}

std::int16_t sample(std::mt19937& random, unsigned kind) {
    switch (kind) {
    case 0:
        return static_cast<std::int16_t>(random());
    case 1:
        return random() % 2 == 0 ? std::int16_t{32767} : std::int16_t{-32768};
    default:
        return static_cast<std::int16_t>(static_cast<int>(random() % 2001) - 1000);
    }
}

TEST(ShortSums, AreThoseInDoubles) {
    constexpr long samples = 1024;
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    alignas(64) std::int16_t rows[ShortSums::taps][samples];
    alignas(64) std::int16_t sums[samples];
    for (unsigned round = 0; round < 1000; ++round) {
        float weights[ShortSums::taps];
        const int exponent = static_cast<int>(random() % 7) - 5;
        for (float& w : weights) w = weight(random, round % 4, exponent);
        const ShortSums fixed(weights);
        if (!fixed.serves()) continue;
        const std::int16_t* from[ShortSums::taps];
        for (long k = 0; k < ShortSums::taps; ++k) {
            for (std::int16_t& s : rows[k]) s = sample(random, round % 3);
            from[k] = rows[k];
        }
        fixed.sum<0>(sums, from, samples, rows[0]);
        for (long i = 0; i < samples; ++i) {
            WholeSum<std::int16_t> exact;
            for (long k = 0; k < ShortSums::taps; ++k) exact.add(rows[k][i], weights[k]);
            ASSERT_EQ(sums[i], exact.result()) << round;
        }
    }
}

} // namespace
