// Nearest colour against a full search.
#include <gtest/gtest.h>

#include "QuantiseModel.h"

namespace {

using orvmodel::Maker;
using orvmodel::Scene;

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

orvcase::Values colorsAt(const orvcase::Case& c, const orvcase::Call& call) {
    orvcase::Values now = c.lookups.at(0).tables.at(0).data;
    for (const orvcase::Step& step : c.steps) {
        if (const auto* set = std::get_if<orvcase::SetContents>(&step)) now = set->values;
        if (std::get_if<orvcase::Call>(&step) == &call) break;
    }
    return now;
}

void expectNearest(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    const orvcase::Values colors = colorsAt(c, call);
    const std::string& source = call.src[0];
    const unsigned bands = scene.bands(source);
    const OrvDataType to = scene.image(call.dst).type;
    const bool addsOffset = !(scene.image(source).type == ORV_SHORT && to == ORV_BYTE);
    const long offset = addsOffset ? c.lookups[0].tables[0].offset : 0;
    const auto rects = scene.rects({source, call.dst});
    scene.touch(call.dst, rects);
    const Scene before = scene;
    orvmodel::eachPixel(rects, [&](long x, long y) {
        double best = 1e300;
        long index = 0;
        for (std::size_t entry = 0; entry * bands < colors.size(); ++entry) {
            double sum = 0;
            for (unsigned band = 0; band < bands; ++band) {
                const double d = before.at(source, x, y, band) - colors[entry * bands + band];
                sum += d * d;
            }
            if (sum < best) {
                best = sum;
                index = static_cast<long>(entry);
            }
        }
        scene.put(call.dst, x, y, 0, orvmodel::indexSample(to, index + offset));
    });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

class NearestColor : public testing::TestWithParam<std::pair<OrvDataType, OrvDataType>> {};

TEST_P(NearestColor, Model) {
    orvmodel::check({.make = makeNearest(GetParam().first, GetParam().second), .expect = expectNearest, .cases = 150});
}

constexpr std::pair<OrvDataType, OrvDataType> pairs[] = {
    {ORV_BIT, ORV_BIT},    {ORV_BIT, ORV_BYTE},  {ORV_BIT, ORV_SHORT},  {ORV_BYTE, ORV_BIT},    {ORV_BYTE, ORV_BYTE},
    {ORV_BYTE, ORV_SHORT}, {ORV_SHORT, ORV_BIT}, {ORV_SHORT, ORV_BYTE}, {ORV_SHORT, ORV_SHORT},
};
INSTANTIATE_TEST_SUITE_P(All, NearestColor, testing::ValuesIn(pairs));

} // namespace
