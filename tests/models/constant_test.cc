// The ops with one float constant a band, held against a model that follows their rules sample by sample.

#include <limits>

#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;

struct Member {
    const char* name;
    double (*of)(double v, float c, OrvDataType type);
    bool tellsZeros;
};
constexpr Member members[] = {{"addconst", addConst, false},
                              {"subtractfromconst", subtractFromConst, false},
                              {"multiplyconst", multiplyConst, false},
                              {"divideintoconst", divideIntoConst, true}};

float randomConstant(Dice& dice, OrvDataType type) {
    static constexpr float turns[] = {0,     -0.0F,  0.49999997F, 0.5F,     -0.5F,  -0.50000006F, 1.4999999F, 1.5F,
                                      10.9F, -10.9F, 255,         255.5F,   300,    510.9F,       -1e30F,     1e30F,
                                      1,     -1,     32767,       32767.5F, -32768, -32769,       0.1F,       1e-40F};
    if (dice.chance(5)) return std::numeric_limits<float>::quiet_NaN();
    if (dice.chance(5)) return std::numeric_limits<float>::infinity() * (dice.chance(50) ? 1.0F : -1.0F);
    if (dice.chance(50)) return turns[dice.upTo(std::size(turns) - 1)];
    if (type == ORV_BIT) return dice.real(-2, 2);
    return type == ORV_BYTE ? dice.real(-300, 600) : dice.real(-40000, 40000);
}

Case randomCase(Dice& dice, const Member& member, OrvDataType type) {
    Case c{.name = std::string(member.name) + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 5));
    c.images.push_back(randomImage(dice, "s", type, width, height, bands));
    const bool inPlace = dice.chance(25);
    if (!inPlace) c.images.push_back(randomImage(dice, "d", type, width + dice.upTo(2), height, bands));
    orvcase::Array constants{.name = "k"};
    for (unsigned band = 0; band < bands; ++band) constants.data.push_back(randomConstant(dice, type));
    if (dice.chance(30)) constants.data.assign(bands, constants.data[0]);
    c.floats.push_back(constants);

    orvcase::Call call{.op = c.name, .src = {"s"}, .dst = inPlace ? "s" : "d", .params = {orvcase::Param::ref("k")}};
    expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned band, double) {
        const float k = static_cast<float>(constants.data[band]);
        return member.of(sources[0][band], std::isnan(k) && type != ORV_BIT ? 0 : k, type);
    });
    call.expect.now.push_back({.name = "k", .values = expected(constants.data)});
    if (member.tellsZeros) {
        bool zero = false;
        if (type == ORV_BIT) {
            // The source's own region, as it stands when the pixels are written.
            Image seen = c.image("s");
            if (inPlace) {
                for (std::size_t i = 0; i < seen.data.size(); ++i)
                    seen.data[i] = call.expect.out[0].values[i].value_or(seen.data[i]);
            }
            for (const Pixel& pixel : pixelsOf(seen)) {
                for (unsigned band = 0; band < bands; ++band) zero = zero || sampleAt(seen, pixel, band) == 0;
            }
        } else {
            const Image& source = c.image("s");
            for (const Pixel& pixel : common(pixelsOf(source), pixelsOf(c.image(call.dst)))) {
                for (unsigned band = 0; band < bands; ++band) zero = zero || sampleAt(source, pixel, band) == 0;
            }
        }
        if (zero) call.expect.errors.push_back({.id = "di-171", .category = 4, .primary = 1});
        // The search for a zero bit keeps its list at a hit.
        if (type == ORV_BIT) call.expect.live.lists = zero ? 1 : 0;
    }
    c.addCall(call);
    return c;
}

class Constants : public testing::TestWithParam<std::tuple<Member, OrvDataType>> {};

TEST_P(Constants, FollowTheModel) {
    const Member& member = std::get<0>(GetParam());
    const OrvDataType type = std::get<1>(GetParam());
    rounds(120, 1000, [&](Dice& dice) { return randomCase(dice, member, type); });
}

INSTANTIATE_TEST_SUITE_P(All, Constants,
                         testing::Combine(testing::ValuesIn(members), testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT)));

/// Every byte through a few constants, so that no table entry goes unseen.
TEST(ConstantTables, EveryByte) {
    for (const Member& member : members) {
        Case c{.name = "every"};
        c.images.push_back({.name = "s", .type = ORV_BYTE, .width = 256});
        for (int v = 0; v < 256; ++v) c.images[0].data.push_back(v);
        c.images.push_back({.name = "d", .type = ORV_BYTE, .width = 256});
        const float values[] = {-3.7F, -0.5F, 0, 0.3F, 0.5F, 1.5F, 2.49F, 77.5F, 254.5F, 255, 999};
        for (std::size_t i = 0; i < std::size(values); ++i) {
            std::string name = "k";
            name += std::to_string(i);
            c.floats.push_back({.name = name, .data = {values[i]}});
            orvcase::Call call{
                .op = std::string(member.name) + "8", .src = {"s"}, .dst = "d", .params = {orvcase::Param::ref(name)}};
            expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned, double) {
                return member.of(sources[0][0], values[i], ORV_BYTE);
            });
            if (member.tellsZeros) call.expect.errors.push_back({.id = "di-171", .category = 4, .primary = 1});
            c.addCall(call);
        }
        EXPECT_TRUE(passes(c));
    }
}

} // namespace
