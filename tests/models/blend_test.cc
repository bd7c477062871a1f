// The blends held against a model that follows their rules sample by sample; the one of bytes under bytes for every
// alpha and every pair of samples.

#include <cmath>

#include "models/pixel_rules.h"
#include "replay/Runner.h"
#include "support/ModelKit.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;

std::string nameOf(const Blend& member) { return "blend" + typeSuffix(member.type) + "a" + typeSuffix(member.alpha); }

/// Stretches of one alpha, often pure, between others.
void drawRuns(Dice& dice, Image& alpha) {
    std::size_t i = 0;
    while (i < alpha.data.size()) {
        const double value = dice.chance(70) ? (dice.chance(50) ? 0 : 255) : static_cast<double>(dice.upTo(255));
        for (unsigned n = dice.upTo(150); n > 0 && i < alpha.data.size(); --n) alpha.data[i++] = value;
        for (unsigned n = dice.upTo(9); n > 0 && i < alpha.data.size(); --n) alpha.data[i++] = dice.upTo(255);
    }
}

Case randomCase(Dice& dice, const Blend& member) {
    Case c{.name = nameOf(member)};
    const unsigned bands = static_cast<unsigned>(dice.chance(40) ? 3 : dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 5));
    for (const char* name : {"a", "b", "d"}) {
        c.images.push_back(randomImage(dice, name, member.type, width + dice.upTo(2), height, bands));
    }
    c.images.push_back(randomImage(dice, "m", member.alpha, width + dice.upTo(2), height, 1));
    if (member.alpha == ORV_BYTE && dice.chance(60)) drawRuns(dice, c.image("m"));
    static constexpr const char* destinations[] = {"d", "d", "d", "a", "b"};
    orvcase::Call call{.op = c.name, .src = {"a", "b", "m"}, .dst = destinations[dice.upTo(4)]};
    expectPixelwise(c, call, {"a", "b", "m"}, [&](const auto& samples, unsigned band, double) {
        return member.of(samples[2][0], samples[0][band], samples[1][band]);
    });
    c.addCall(call);
    return c;
}

class Blends : public testing::TestWithParam<Blend> {};

TEST_P(Blends, FollowTheModel) {
    rounds(120, 4000, [&](Dice& dice) { return randomCase(dice, GetParam()); });
}

INSTANTIATE_TEST_SUITE_P(All, Blends, testing::ValuesIn(blends));

TEST(BlendOfBytes, EveryAlphaOnEveryPair) {
    Case c{.name = "every"};
    for (const char* name : {"a", "b", "m", "d"}) {
        c.images.push_back({.name = name, .type = ORV_BYTE, .width = 4096, .height = 4096});
        c.images.back().data.resize(c.images.back().sampleCount());
    }
    orvcase::ExpectedImage out{.image = "d"};
    out.values.reserve(c.images[0].sampleCount());
    std::size_t i = 0;
    for (unsigned alpha = 0; alpha < 256; ++alpha) {
        for (unsigned a = 0; a < 256; ++a) {
            for (unsigned b = 0; b < 256; ++b, ++i) {
                c.images[0].data[i] = a;
                c.images[1].data[i] = b;
                c.images[2].data[i] = alpha;
                out.values.push_back(blendBytes(alpha, a, b));
            }
        }
    }
    orvcase::Call call{.op = "blend8a8", .src = {"a", "b", "m"}, .dst = "d"};
    call.expect.out.push_back(std::move(out));
    c.addCall(std::move(call));
    for (const std::string& build : orvmodel::testedBuilds()) {
        const orvcase::Outcome outcome = orvcase::runCase(c, {.build = build});
        EXPECT_TRUE(outcome.passed()) << build << ": " << outcome.mismatches.front().text;
    }
}

// Mixes in single precision take one rounding where the build has it. That gives the same because alpha, and all that
// is made of it in double, has bits to spare: the products and sums are exact there.

float once(int value, int divisor) {
    const float high = 1 / static_cast<float>(divisor);
    const auto low = static_cast<float>(1 / static_cast<double>(divisor) - double{high});
    const auto v = static_cast<float>(value);
    return std::fma(v, high, v * low);
}

/// Bits of a double that a product of 1 - alpha and a sample of so many bits needs, and the sum of two.
void exactWithin(float alpha, int sampleBits) {
    constexpr int bitsOfDouble = 53;
    const int places = bitsOfDouble - sampleBits - 2;
    const double parts = std::ldexp(static_cast<double>(alpha), places);
    EXPECT_EQ(parts, std::trunc(parts)) << alpha;
    EXPECT_LE(std::fabs(alpha), 1.0F);
}

TEST(BlendAlphas, AreExactEnough) {
    for (int a = -32768; a <= 32767; ++a) {
        const auto moved = static_cast<float>(a * (1 / 65535.0) + 0.5);
        EXPECT_EQ(once(2 * a + 65535, 131070), moved) << a;
        exactWithin(moved, 8);
        const auto share = static_cast<float>(a * (1 / 65535.0));
        EXPECT_EQ(once(a, 65535), share) << a;
        exactWithin(share, 16);
    }
    for (int a = 0; a <= 255; ++a) {
        const auto share = static_cast<float>(a * (1 / 255.0));
        EXPECT_EQ(once(a, 255), share) << a;
        exactWithin(share, 16);
    }
}

} // namespace
