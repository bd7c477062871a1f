// How far near sums may be from those that are rounded to single precision after every weight.

#include "memory/filter/strip_rules.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <vector>

namespace {

using namespace orvi;

/// Weights whose sizes differ by up to 2^60, and add to 1 about.
std::vector<float> weights(std::mt19937& random) {
    std::vector<float> taps(1 + random() % 200);
    double sum = 0;
    for (float& tap : taps) {
        tap = std::ldexp(static_cast<float>(1 + random() % 16777216), -static_cast<int>(random() % 60));
        sum += static_cast<double>(tap);
    }
    for (float& tap : taps) tap = static_cast<float>(static_cast<double>(tap) / sum);
    return taps;
}

TEST(NearSums, AreAsNearAsTold) {
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const std::vector<float> taps = weights(random);
        const double unlike = unlikeRoundings(taps);
        float near = 0;
        float fused = 0;
        RoundedSum<std::uint8_t> exact;
        for (const float tap : taps) {
            const auto sample = static_cast<std::uint8_t>(random() % 4 == 0 ? random() : random() % 3);
            near = near + static_cast<float>(sample) * tap;
            fused = std::fmaf(static_cast<float>(sample), tap, fused);
            exact.add(sample, tap);
        }
        ASSERT_LE(std::fabs(static_cast<double>(near) - exact.sum), unlike * 0x1p-16) << round;
        // Rounded once instead of twice, hardly a sum differs.
        ASSERT_LE(std::fabs(static_cast<double>(fused) - exact.sum), 11 * 0x1p-16) << round;
    }
}

} // namespace
