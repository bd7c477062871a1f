// Rescale, threshold (single and chained) and the product and sum in one pass, held against their rules.

#include <limits>

#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;
using orvcase::Param;

float randomScale(Dice& dice) {
    static constexpr float turns[] = {0, 1, -1, 0.5F, -0.5F, 2, 255, 1e30F, -1e30F, 0.1F, 1.5F, 1e-30F};
    if (dice.chance(4)) return std::numeric_limits<float>::quiet_NaN();
    if (dice.chance(4)) return std::numeric_limits<float>::infinity();
    return dice.chance(50) ? turns[dice.upTo(std::size(turns) - 1)] : dice.real(-3, 3);
}

float randomBound(Dice& dice, OrvDataType type) {
    if (dice.chance(4)) return std::numeric_limits<float>::quiet_NaN();
    if (dice.chance(10)) return dice.chance(50) ? 1e30F : -1e30F;
    if (type == ORV_BIT) return dice.real(-0.5, 1.5);
    return dice.real(static_cast<double>(lowOf(type)) - 20, static_cast<double>(highOf(type)) + 20);
}

void addFloats(Case& c, const std::string& name, unsigned bands, const std::function<float()>& value) {
    orvcase::Array array{.name = name};
    for (unsigned band = 0; band < bands; ++band) array.data.push_back(value());
    c.floats.push_back(array);
}

/// Images of a case with one source, and whether the source is the destination.
bool addImages(Dice& dice, Case& c, OrvDataType type, unsigned bands) {
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 4));
    c.images.push_back(randomImage(dice, "s", type, width, height, bands));
    if (dice.chance(25)) return true;
    c.images.push_back(randomImage(dice, "d", type, width, height, bands));
    return false;
}

Case randomRescale(Dice& dice, OrvDataType type) {
    Case c{.name = "rescale" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const bool inPlace = addImages(dice, c, type, bands);
    const bool none = dice.chance(20);
    addFloats(c, "k", bands, [&] { return randomScale(dice); });
    addFloats(c, "o", bands, [&] {
        return dice.chance(30) ? 0 : dice.chance(50) ? dice.real(-2, 2) : randomBound(dice, type);
    });
    if (dice.chance(30)) {
        for (orvcase::Array& array : c.floats) array.data.assign(bands, array.data[0]);
    }
    orvcase::Call call{.op = c.name,
                       .src = {"s"},
                       .dst = inPlace ? "s" : "d",
                       .params = {Param::ref("k"), none ? Param::null() : Param::ref("o")}};
    expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned band, double) {
        const float offset = none ? 0 : numberOf(c.floats[1].data[band]);
        return rescaled(sources[0][band], numberOf(c.floats[0].data[band]), offset, type);
    });
    c.addCall(call);
    return c;
}

Case randomThreshold(Dice& dice, OrvDataType type, bool chained) {
    Case c{.name = "threshold" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.chance(40) ? 1 : dice.between(2, 5));
    const bool inPlace = addImages(dice, c, type, bands);
    for (const char* name : {"low", "high", "map", "low1", "high1", "map1"}) {
        addFloats(c, name, bands, [&] { return randomBound(dice, type); });
    }
    for (const std::size_t low : {0U, 3U}) {
        // Ranges that hold something are the rule.
        for (unsigned band = 0; band < bands && dice.chance(80); ++band) {
            double& a = c.floats[low].data[band];
            double& b = c.floats[low + 1].data[band];
            if (a > b) std::swap(a, b);
        }
    }
    orvcase::Call call{.op = c.name,
                       .src = {"s"},
                       .dst = inPlace ? "s" : "d",
                       .params = {Param::ref("low"), Param::ref("high"), Param::ref("map")}};
    if (chained) {
        c.chains.push_back({.name = "earlier",
                            .op = c.name,
                            .src = {"s"},
                            .params = {Param::ref("low1"), Param::ref("high1"), Param::ref("map1")}});
        call.src = {};
        call.op1 = "earlier";
    }
    expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned band, double) {
        const double v = sources[0][band];
        const auto of = [&](std::size_t array) { return boundOf(c.floats[array].data[band], type); };
        if (!chained) return of(0) <= v && v <= of(1) ? of(2) : v;
        double result = v;
        if (of(3) < v && v < of(4)) result = of(5);
        if (of(0) < v && v < of(1)) result = of(2);
        return result;
    });
    c.addCall(call);
    return c;
}

Case randomMultiplyAdd(Dice& dice) {
    Case c{.name = "multiply_add"};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 4));
    const unsigned width = randomWidth(dice);
    for (const char* name : {"a", "b", "c", "d"}) {
        c.images.push_back(randomImage(dice, name, ORV_BYTE, width, 3, bands, {.regions = 10}));
    }
    const std::string names[] = {"a", "b", "c", "d"};
    const std::string a = names[dice.upTo(2)];
    const std::string b = names[dice.upTo(2)];
    const std::string third = names[dice.upTo(2)];
    c.chains.push_back({.name = "product", .op = "multiply8", .src = {a, b}});
    orvcase::Call call{
        .op = "add8", .src = {"", third}, .dst = names[dice.chance(60) ? 3 : dice.upTo(2)], .op1 = "product"};
    expectPixelwise(c, call, {a, b, third}, [](const auto& sources, unsigned band, double) {
        return std::min(255.0, std::min(255.0, sources[0][band] * sources[1][band]) + sources[2][band]);
    });
    c.addCall(call);
    return c;
}

class Rescale : public testing::TestWithParam<OrvDataType> {};
TEST_P(Rescale, FollowsTheModel) {
    rounds(150, 3000, [&](Dice& dice) { return randomRescale(dice, GetParam()); });
}
INSTANTIATE_TEST_SUITE_P(All, Rescale, testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT));

class Threshold : public testing::TestWithParam<OrvDataType> {};
TEST_P(Threshold, FollowsTheModel) {
    rounds(150, 4000, [&](Dice& dice) { return randomThreshold(dice, GetParam(), false); });
}
INSTANTIATE_TEST_SUITE_P(All, Threshold, testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT));

class ThresholdChain : public testing::TestWithParam<OrvDataType> {};
TEST_P(ThresholdChain, FollowsTheModel) {
    rounds(150, 5000, [&](Dice& dice) { return randomThreshold(dice, GetParam(), true); });
}
INSTANTIATE_TEST_SUITE_P(All, ThresholdChain, testing::Values(ORV_BYTE, ORV_SHORT));

TEST(MultiplyAdd, FollowsTheModel) { rounds(150, 6000, randomMultiplyAdd); }

/// Every short through scales and offsets that meet the limits of rounding.
TEST(Rescale16, EveryShort) {
    Case c{.name = "every"};
    c.images.push_back({.name = "s", .type = ORV_SHORT, .width = 65536});
    for (int v = -32768; v < 32768; ++v) c.images[0].data.push_back(v);
    c.images.push_back({.name = "d", .type = ORV_SHORT, .width = 65536});
    const float pairs[][2] = {{1, 0},        {0.5F, 0.5F},    {-1, 0.49999997F}, {0.1F, -0.3F},
                              {1e-3F, 1e4F}, {1e30F, -1e30F}, {3.3F, 32767}};
    for (std::size_t i = 0; i < std::size(pairs); ++i) {
        std::string name(1, static_cast<char>('a' + i));
        c.floats.push_back({.name = name, .data = {pairs[i][0]}});
        c.floats.push_back({.name = name + name, .data = {pairs[i][1]}});
        orvcase::Call call{
            .op = "rescale16", .src = {"s"}, .dst = "d", .params = {Param::ref(name), Param::ref(name + name)}};
        expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned, double) {
            return rescaled(sources[0][0], pairs[i][0], pairs[i][1], ORV_SHORT);
        });
        c.addCall(call);
    }
    EXPECT_TRUE(passes(c));
}

} // namespace
