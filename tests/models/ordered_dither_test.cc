// Ordered dither against a model of one pixel.
#include <gtest/gtest.h>

#include "QuantiseModel.h"
#include "models/Answers.h"
#include "support/Calls.h"

namespace {

using orvmodel::Maker;

auto makeDither(OrvDataType from, OrvDataType to) {
    return [from, to](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", to, 1);
        const std::string a = maker.source("a", from, bands, d);
        // The fast path of one band to bits knows two levels alone.
        const bool twoLevels = from == ORV_BYTE && to == ORV_BIT;
        orvcase::Lookup lookup{.name = "cube", .in = from, .out = from, .bands = bands, .tables = {{}}};
        lookup.cube = orvmodel::randomCube(maker, bands, twoLevels ? 2 : 6);
        lookup.tables[0].data.assign(bands, 0);
        maker.c.lookups.push_back(lookup);
        orvcase::Mask mask{.name = "mask"};
        const bool square = maker.random.chance(60);
        mask.width = square ? maker.random.pick({4u, 8u}) : 1 + maker.random.below(9);
        mask.height = square ? mask.width : 1 + maker.random.below(9);
        mask.bands = maker.random.chance(70) ? bands : 1 + maker.random.below(bands);
        for (unsigned i = 0; i < mask.width * mask.height * mask.bands; ++i) {
            mask.data.push_back(static_cast<double>(maker.random.chance(20) ? maker.random.pick({0.0f, 0.5f, 1.0f})
                                                                            : maker.random.real(0, 1)));
        }
        maker.c.masks.push_back(mask);
        orvcase::Call call{.op = "ordereddither" + orvmodel::typeSuffix(from) + "_" + orvmodel::typeSuffix(to),
                           .src = {a},
                           .dst = d,
                           .params = {orvcase::Param::ref("cube"), orvcase::Param::ref("mask")}};
        maker.c.addCall(call);
        if (maker.random.chance(30)) {
            orvcase::SetContents other{.name = "mask"};
            for (std::size_t i = 0; i < mask.data.size(); ++i) {
                other.values.push_back(static_cast<double>(maker.random.real(0, 1)));
            }
            maker.c.steps.emplace_back(other);
            maker.c.addCall(call);
        }
    };
}

class OrderedDither : public testing::TestWithParam<std::pair<OrvDataType, OrvDataType>> {};

TEST_P(OrderedDither, Model) {
    orvmodel::check({.make = makeDither(GetParam().first, GetParam().second),
                     .expect = orvmodel::answerOrderedDither,
                     .cases = 150});
}

constexpr std::pair<OrvDataType, OrvDataType> pairs[] = {
    {ORV_BIT, ORV_BIT},    {ORV_BIT, ORV_BYTE},  {ORV_BIT, ORV_SHORT},  {ORV_BYTE, ORV_BIT},    {ORV_BYTE, ORV_BYTE},
    {ORV_BYTE, ORV_SHORT}, {ORV_SHORT, ORV_BIT}, {ORV_SHORT, ORV_BYTE}, {ORV_SHORT, ORV_SHORT},
};
INSTANTIATE_TEST_SUITE_P(All, OrderedDither, testing::ValuesIn(pairs));

} // namespace
