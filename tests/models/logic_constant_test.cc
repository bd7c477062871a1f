// The logic ops with one constant a band, held against a model that follows their rules sample by sample.

#include <cstdint>

#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;

struct Member {
    const char* name;
    std::uint32_t (*of)(std::uint32_t sample, std::uint32_t constant);
};

constexpr Member members[] = {
    {"andconst", [](std::uint32_t sample, std::uint32_t constant) { return sample & constant; }},
    {"orconst", [](std::uint32_t sample, std::uint32_t constant) { return sample | constant; }},
    {"xorconst", [](std::uint32_t sample, std::uint32_t constant) { return sample ^ constant; }},
};

double randomConstant(Dice& dice) {
    static constexpr double turns[] = {0, 1, 2, 254, 255, 256, 300, 32767, 32768, 65535, 4294967295.0, 2147483648.0};
    return dice.chance(70) ? turns[dice.upTo(std::size(turns) - 1)] : static_cast<double>(dice.between(0, 40000));
}

Case randomCase(Dice& dice, const Member& member, OrvDataType type) {
    Case c{.name = member.name + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 5));
    c.images.push_back(randomImage(dice, "s", type, width, height, bands));
    c.images.push_back(randomImage(dice, "d", type, width + dice.upTo(2), height, bands));
    // One more than there are bands: it stays as it is.
    orvcase::Array constants{.name = "k"};
    for (unsigned band = 0; band <= bands; ++band) constants.data.push_back(randomConstant(dice));
    c.ulongs.push_back(constants);

    orvcase::Values clamped = constants.data;
    for (unsigned band = 0; band < bands && type != ORV_BIT; ++band) {
        clamped[band] = std::min(clamped[band], static_cast<double>(highOf(type)));
    }
    orvcase::Call call{
        .op = c.name, .src = {"s"}, .dst = dice.chance(25) ? "s" : "d", .params = {orvcase::Param::ref("k")}};
    expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned band, double) {
        const auto sample = static_cast<std::uint32_t>(static_cast<std::int32_t>(sources[0][band]));
        const auto constant = static_cast<std::uint32_t>(clamped[band]);
        return sampleOf(member.of(sample, type == ORV_BIT ? constant == 1 : constant), type);
    });
    call.expect.now.push_back({.name = "k", .values = expected(clamped)});
    c.addCall(call);
    return c;
}

class LogicConstants : public testing::TestWithParam<std::tuple<Member, OrvDataType>> {};

TEST_P(LogicConstants, FollowTheModel) {
    const Member& member = std::get<0>(GetParam());
    const OrvDataType type = std::get<1>(GetParam());
    rounds(120, 3000, [&](Dice& dice) { return randomCase(dice, member, type); });
}

INSTANTIATE_TEST_SUITE_P(All, LogicConstants,
                         testing::Combine(testing::ValuesIn(members), testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT)));

} // namespace
