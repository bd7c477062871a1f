// Nearest colour against a full search.
#include <gtest/gtest.h>

#include "QuantiseModel.h"
#include "models/Answers.h"

namespace {

using orvmodel::Maker;

unsigned randomEntries(Maker& maker, OrvDataType to) {
    if (to == ORV_BIT) return 1 + maker.random.below(2);
    return maker.random.chance(50) ? 1 + maker.random.below(8) : 1 + maker.random.below(256);
}

auto makeNearest(OrvDataType from, OrvDataType to) {
    return [from, to](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", to, 1);
        const std::string a = maker.source("a", from, bands, d);
        const OrvDataType colors = from == ORV_SHORT ? maker.random.pick({ORV_SHORT, ORV_SHORT, ORV_BYTE}) : ORV_BYTE;
        maker.c.lookups.push_back(orvmodel::randomColors(maker, from, colors, bands, randomEntries(maker, to)));
        orvcase::Call call{.op = "nearestcolor" + orvmodel::typeSuffix(from) + "_" + orvmodel::typeSuffix(to),
                           .src = {a},
                           .dst = d,
                           .params = {orvcase::Param::ref("map")}};
        maker.c.addCall(call);
        // The same again, from the caches; then with other contents in the same lookup.
        if (maker.random.chance(30)) maker.c.addCall(call);
        if (maker.random.chance(30)) {
            orvcase::SetContents other{.name = "map"};
            const auto& table = maker.c.lookups[0].tables[0].data;
            other.values.assign(table.rbegin(), table.rend());
            maker.c.steps.emplace_back(other);
            maker.c.addCall(call);
        }
    };
}

class NearestColor : public testing::TestWithParam<std::pair<OrvDataType, OrvDataType>> {};

TEST_P(NearestColor, Model) {
    orvmodel::check({.make = makeNearest(GetParam().first, GetParam().second),
                     .expect = orvmodel::answerNearestColor,
                     .cases = 150});
}

constexpr std::pair<OrvDataType, OrvDataType> pairs[] = {
    {ORV_BIT, ORV_BIT},    {ORV_BIT, ORV_BYTE},  {ORV_BIT, ORV_SHORT},  {ORV_BYTE, ORV_BIT},    {ORV_BYTE, ORV_BYTE},
    {ORV_BYTE, ORV_SHORT}, {ORV_SHORT, ORV_BIT}, {ORV_SHORT, ORV_BYTE}, {ORV_SHORT, ORV_SHORT},
};
INSTANTIATE_TEST_SUITE_P(All, NearestColor, testing::ValuesIn(pairs));

} // namespace
