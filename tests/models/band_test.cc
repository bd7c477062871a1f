// Type conversions, band combination and black generation held against models that follow their rules sample by sample.

#include <cstdint>

#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;

/// Sources and destination of a call, of two types.
struct Conversion {
    const char* name;
    OrvDataType from;
    OrvDataType to;
};

constexpr Conversion conversions[] = {{"convert1_8", ORV_BIT, ORV_BYTE},    {"convert1_16", ORV_BIT, ORV_SHORT},
                                      {"convert8_1", ORV_BYTE, ORV_BIT},    {"convert16_1", ORV_SHORT, ORV_BIT},
                                      {"convert8_16", ORV_BYTE, ORV_SHORT}, {"convert16_8", ORV_SHORT, ORV_BYTE}};

void PrintTo(const Conversion& conversion, std::ostream* out) { *out << conversion.name; }

class Conversions : public testing::TestWithParam<Conversion> {};

TEST_P(Conversions, FollowTheModel) {
    const Conversion& member = GetParam();
    rounds(200, 5000, [&](Dice& dice) {
        Case c{.name = member.name};
        const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
        const unsigned width = randomWidth(dice);
        const unsigned height = static_cast<unsigned>(dice.between(1, 5));
        c.images.push_back(randomImage(dice, "s", member.from, width + dice.upTo(2), height, bands));
        c.images.push_back(randomImage(dice, "d", member.to, width + dice.upTo(2), height, bands));
        orvcase::Call call{.op = member.name, .src = {"s"}, .dst = "d"};
        expectPixelwise(c, call, {"s"}, [&](const auto& samples, unsigned band, double) {
            return converted(samples[0][band], member.to);
        });
        c.addCall(call);
        return c;
    });
}

INSTANTIATE_TEST_SUITE_P(All, Conversions, testing::ValuesIn(conversions));

float randomWeight(Dice& dice) {
    static constexpr float turns[] = {0, 1, -1, 0.5F, -0.5F, 0.25F, 2, 0.1F, 1e-6F, 1e6F, -3e4F, 0.33333334F};
    if (dice.chance(2)) return dice.chance(50) ? 1e30F : 1e-30F;
    return dice.chance(40) ? turns[dice.upTo(std::size(turns) - 1)] : dice.real(-1.5, 1.5);
}

class Combinations : public testing::TestWithParam<OrvDataType> {};

TEST_P(Combinations, FollowTheModel) {
    const OrvDataType type = GetParam();
    rounds(300, 6000, [&](Dice& dice) {
        Case c{.name = "bandCombine" + typeSuffix(type)};
        const unsigned inputs = static_cast<unsigned>(dice.chance(30) ? 3 : dice.between(1, 5));
        const unsigned outputs = static_cast<unsigned>(dice.chance(30) ? 3 : dice.between(1, 5));
        const unsigned width = randomWidth(dice);
        const unsigned height = static_cast<unsigned>(dice.between(1, 4));
        c.images.push_back(randomImage(dice, "s", type, width, height, inputs));
        c.images.push_back(randomImage(dice, "d", type, width + dice.upTo(2), height, outputs));
        // A kernel may be narrower than the source: the bands behind are not read.
        const unsigned columns = dice.chance(10) ? 1 + dice.upTo(inputs) : inputs + 1;
        orvcase::Kernel kernel{.name = "k", .width = columns, .height = outputs};
        std::vector<float> weights;
        for (unsigned i = 0; i < columns * outputs; ++i) {
            weights.push_back(randomWeight(dice));
            kernel.data.push_back(weights.back());
        }
        c.kernels.push_back(kernel);
        const bool inPlace = inputs == outputs && dice.chance(30);
        orvcase::Call call{
            .op = c.name, .src = {"s"}, .dst = inPlace ? "s" : "d", .params = {orvcase::Param::ref("k")}};
        expectPixelwise(c, call, {"s"}, [&](const auto& samples, unsigned band, double) {
            return combined(samples[0], weights.data() + band * columns, columns, type);
        });
        c.addCall(call);
        return c;
    });
}

INSTANTIATE_TEST_SUITE_P(All, Combinations, testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT));

class Blacks : public testing::TestWithParam<OrvDataType> {};

TEST_P(Blacks, FollowTheModel) {
    const OrvDataType type = GetParam();
    rounds(150, 7000, [&](Dice& dice) {
        Case c{.name = "blackgeneration" + typeSuffix(type)};
        const unsigned width = randomWidth(dice);
        c.images.push_back(randomImage(dice, "s", type, width, 3, 4));
        c.images.push_back(randomImage(dice, "d", type, width + dice.upTo(2), 3, 4));
        const float black = dice.chance(50) ? 1.0F : dice.real(-1, 2);
        const float undercolor = dice.chance(30) ? 0.0F : dice.real(-1, 2);
        orvcase::Call call{.op = c.name,
                           .src = {"s"},
                           .dst = dice.chance(25) ? "s" : "d",
                           .params = {orvcase::Param::f(black), orvcase::Param::f(undercolor)}};
        expectPixelwise(c, call, {"s"}, [&](const auto& samples, unsigned band, double) {
            return inkOf(samples[0], band, black, undercolor, type);
        });
        c.addCall(call);
        return c;
    });
}

INSTANTIATE_TEST_SUITE_P(All, Blacks, testing::Values(ORV_BYTE, ORV_SHORT));

/// Every ink with every least one, under shares whose losses lie at halves, next to them and far from them.
TEST(BlackGeneration, EveryInkAndLeastInk) {
    for (float undercolor : {0.0F, 0.1F, 0.3F, 0.5F, 0.6F, 0.7F, 0.9F, 1.0F, 1.1F, 1.5F, 300.0F, 2000.0F, 1e30F, -0.1F,
                             -0.3F, -0.5F, -1.0F, -2000.0F, -1e30F}) {
        Case c{.name = "blackgeneration8"};
        for (const char* name : {"s", "d"}) {
            c.images.push_back({.name = name, .type = ORV_BYTE, .width = 256, .height = 256, .bands = 4});
            c.images.back().data.resize(c.images.back().sampleCount());
        }
        std::vector<double>& samples = c.images[0].data;
        for (unsigned least = 0; least < 256; ++least) {
            for (unsigned ink = 0; ink < 256; ++ink) {
                double* const pixel = &samples[4 * (least * 256 + ink)];
                for (unsigned band = 0; band < 4; ++band) pixel[band] = std::max(ink, least);
                pixel[ink % 3] = least;
                pixel[(ink + 1) % 3] = (ink + least) / 2 < least ? least : (ink + least) / 2;
            }
        }
        orvcase::Call call{
            .op = c.name, .src = {"s"}, .dst = "d", .params = {orvcase::Param::f(0.8F), orvcase::Param::f(undercolor)}};
        expectPixelwise(c, call, {"s"}, [&](const auto& pixel, unsigned band, double) {
            return inkOf(pixel[0], band, 0.8F, undercolor, ORV_BYTE);
        });
        c.addCall(call);
        if (!passes(c)) return;
    }
}

} // namespace
