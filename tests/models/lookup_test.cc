// The nine lookups held against the clamp rule, over several calls with lookups that change and take turns.

#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;
using orvcase::Lookup;

OrvDataType tableType(OrvDataType type) { return type == ORV_BIT ? ORV_BYTE : type; }

Lookup::Table randomTable(Dice& dice, OrvDataType in, OrvDataType out, unsigned bands) {
    Lookup::Table table;
    std::size_t entries = 2;
    if (in == ORV_BYTE) {
        entries = dice.chance(30) ? 256 : static_cast<std::size_t>(dice.between(1, 300));
        table.offset = static_cast<short>(dice.chance(30) ? 0 : dice.between(-20, 260));
    } else if (in == ORV_SHORT) {
        entries = static_cast<std::size_t>(dice.between(1, 400));
        table.offset = static_cast<short>(dice.chance(20) ? 32700 : dice.between(-200, 200));
        if (dice.chance(8) && bands == 1) {
            entries = 65536;
            table.offset = static_cast<short>(dice.chance(70) ? -32768 : -32000);
        }
    }
    table.data = randomSamples(dice, tableType(out), entries * bands);
    return table;
}

Lookup randomLookup(Dice& dice, std::string name, OrvDataType in, OrvDataType out, unsigned sourceBands,
                    unsigned bands) {
    Lookup lookup{.name = std::move(name), .in = in, .out = out};
    lookup.combined = sourceBands == bands && dice.chance(50);
    if (lookup.combined) {
        for (unsigned band = 0; band < bands; ++band) lookup.tables.push_back(randomTable(dice, in, out, 1));
        lookup.bands = bands;
        return lookup;
    }
    lookup.bands = bands / sourceBands;
    if (in == ORV_BIT && sourceBands == bands && dice.chance(50)) lookup.bands = bands;
    lookup.tables.push_back(randomTable(dice, in, out, lookup.bands));
    return lookup;
}

/// New contents of the same size.
orvcase::SetContents change(Dice& dice, Lookup& lookup) {
    orvcase::SetContents set{.name = lookup.name};
    for (Lookup::Table& table : lookup.tables) {
        table.data = randomSamples(dice, tableType(lookup.out), table.data.size());
        set.values.insert(set.values.end(), table.data.begin(), table.data.end());
    }
    return set;
}

Case randomCase(Dice& dice, OrvDataType in, OrvDataType out) {
    Case c{.name = "lookup" + typeSuffix(in) + "_" + typeSuffix(out)};
    const unsigned sourceBands = static_cast<unsigned>(dice.chance(40) ? 1 : dice.between(2, 4));
    const unsigned bands = sourceBands * (dice.chance(30) ? static_cast<unsigned>(dice.between(2, 3)) : 1);
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 4));
    c.images.push_back(randomImage(dice, "s", in, width, height, sourceBands));
    c.images.push_back(randomImage(dice, "d", out, width, height, bands));
    const bool inPlace = in == out && sourceBands == bands && dice.chance(20);
    std::vector<Lookup> lookups;
    for (const char* name : {"t", "u"}) lookups.push_back(randomLookup(dice, name, in, out, sourceBands, bands));
    c.lookups = lookups;

    Case now = c; // with the samples that the next call finds
    for (int step = 0; step < 4; ++step) {
        Lookup& lookup = lookups[dice.upTo(1)];
        if (dice.chance(30)) c.steps.push_back(change(dice, lookup));
        if (dice.chance(20)) c.steps.push_back(orvcase::Touch{.name = lookup.name});
        orvcase::Call call{.op = c.name,
                           .src = {"s"},
                           .dst = inPlace && step == 0 ? "s" : "d",
                           .params = {orvcase::Param::ref(lookup.name)}};
        const unsigned wanted = c.image(call.dst).bands;
        expectPixelwise(now, call, {"s"}, [&](const auto& sources, unsigned band, double old) {
            return lookUp(lookup, sources[0], band, old, wanted);
        });
        c.addCall(call);
        if (call.dst == "s") return c;
        Image& destination = now.image("d");
        for (std::size_t i = 0; i < destination.data.size(); ++i)
            destination.data[i] = call.expect.out[0].values[i].value_or(destination.data[i]);
    }
    return c;
}

/// A lookup of as many entries as there are shorts.
Case wholeCase(Dice& dice, short offset, unsigned outputs) {
    Case c{.name = "lookup16_8"};
    const Layout dense{.gaps = 0};
    c.images.push_back(randomImage(dice, "s", ORV_SHORT, 300, 2, 1, dense));
    c.images.push_back(randomImage(dice, "d", ORV_BYTE, 300, 2, 1, dense));
    Lookup lookup{.name = "t", .in = ORV_SHORT, .out = ORV_BYTE};
    lookup.bands = outputs;
    lookup.tables.push_back({.offset = offset, .data = randomSamples(dice, ORV_BYTE, std::size_t{65536} * outputs)});
    c.lookups.push_back(lookup);
    orvcase::Call call{.op = c.name, .src = {"s"}, .dst = "d", .params = {orvcase::Param::ref("t")}};
    expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned band, double old) {
        return lookUp(lookup, sources[0], band, old, 1);
    });
    c.addCall(call);
    return c;
}

TEST(WholeLookups, AreTheTableWhereTheyCoverTheSamplesExactly) {
    for (const short offset : {short{-32768}, short{-32000}}) {
        for (const unsigned outputs : {1U, 2U}) {
            rounds(5, 7000, [&](Dice& dice) { return wholeCase(dice, offset, outputs); });
        }
    }
}

class Lookups : public testing::TestWithParam<std::tuple<OrvDataType, OrvDataType>> {};

TEST_P(Lookups, FollowTheClampRule) {
    const OrvDataType in = std::get<0>(GetParam());
    const OrvDataType out = std::get<1>(GetParam());
    rounds(100, 2000, [&](Dice& dice) { return randomCase(dice, in, out); });
}

INSTANTIATE_TEST_SUITE_P(All, Lookups,
                         testing::Combine(testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT),
                                          testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT)));

} // namespace
