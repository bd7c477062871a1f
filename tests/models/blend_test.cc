// The blends held against a model that follows their rules sample by sample; the one of bytes under bytes for every
// alpha and every pair of samples.

#include "models/pixel_rules.h"
#include "replay/Runner.h"
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
    for (const std::string& build : orvcase::availableBuilds()) {
        const orvcase::Outcome outcome = orvcase::runCase(c, {.build = build});
        EXPECT_TRUE(outcome.passed()) << build << ": " << outcome.mismatches.front().text;
    }
}

} // namespace
