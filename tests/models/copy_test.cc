// The copy family: copies between images of any layout and between children of one parent, tiles, masks, single values.

#include <limits>

#include "models/Children.h"
#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;
using orvcase::Param;

constexpr OrvDataType types[] = {ORV_BIT, ORV_BYTE, ORV_SHORT};

Case randomSeparate(Dice& dice, OrvDataType type) {
    Case c{.name = "copy" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    c.images.push_back(randomImage(dice, "s", type, width, 4, bands));
    c.images.push_back(randomImage(dice, "d", type, width + dice.upTo(3), 5, bands));
    orvcase::Call call{.op = c.name, .src = {"s"}, .dst = dice.chance(10) ? "s" : "d"};
    expectPixelwise(c, call, {"s"}, [](const auto& sources, unsigned band, double) { return sources[0][band]; });
    c.addCall(call);
    return c;
}

Case randomChildren(Dice& dice, OrvDataType type) {
    Case c{.name = "copy" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 4));
    const long wide = type == ORV_BIT ? 1500 : 300;
    const unsigned width = static_cast<unsigned>(dice.chance(20) ? dice.between(100, wide) : dice.between(2, 40));
    const unsigned height = static_cast<unsigned>(dice.between(2, 9));
    c.images.push_back(randomImage(dice, "p", type, width, height, bands));
    const unsigned used = dice.chance(60) ? bands : static_cast<unsigned>(dice.between(1, bands));
    for (const char* name : {"s", "d"}) {
        Image child{.name = name, .type = type, .bands = used, .parent = "p"};
        child.atX = dice.upTo(width / 2);
        child.atY = dice.chance(40) ? 0 : dice.upTo(height - 1);
        child.atBand = dice.upTo(bands - used);
        child.width = static_cast<unsigned>(dice.between(1, width - child.atX));
        child.height = static_cast<unsigned>(dice.between(1, height - child.atY));
        if (dice.chance(25)) child.roi = randomRegion(dice, child.width, child.height);
        // Origins that bring a row of bits to the right of its source are nobody's promise.
        if (type != ORV_BIT && dice.chance(25)) child.originX = static_cast<float>(dice.between(-2, 2));
        if (type != ORV_BIT && dice.chance(25)) child.originY = static_cast<float>(dice.between(-2, 2));
        c.images.push_back(child);
    }
    const Image& source = c.image("s");
    const Image& destination = c.image("d");
    Image parent = c.image("p");
    Children(parent, source, destination).copy();
    orvcase::Call call{.op = c.name, .src = {"s"}, .dst = "d"};
    call.expect.out.push_back({.image = "p", .values = expected(parent.data)});
    call.expect.touched.push_back({.image = "d", .region = regionOf(common(pixelsOf(source), pixelsOf(destination)))});
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    c.addCall(call);
    return c;
}

Case randomPattern(Dice& dice, OrvDataType type) {
    Case c{.name = "copypattern" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 4));
    const Layout layout{.gaps = 40, .origins = dice.chance(50) ? 60 : 0, .regions = dice.chance(50) ? 40 : 0};
    c.images.push_back(randomImage(dice, "s", type, static_cast<unsigned>(dice.between(1, 9)),
                                   static_cast<unsigned>(dice.between(1, 5)), bands, layout));
    c.images.push_back(randomImage(dice, "d", type, static_cast<unsigned>(dice.between(1, 40)),
                                   static_cast<unsigned>(dice.between(1, 14)), bands, layout));
    const Image& source = c.image("s");
    const Image& destination = c.image("d");
    Image result = destination;
    const Pixels tile = pixelsOf(source);
    for (const Pixel& pixel : pixelsOf(destination)) {
        const long column = tiled(pixel.second, source.width, destination.width, originX(source), originX(destination));
        const long row = tiled(pixel.first, source.height, destination.height, originY(source), originY(destination));
        if (column < 0 || row < 0) continue;
        const Pixel from{row - originY(source), column - originX(source)};
        if (!tile.contains(from)) continue;
        for (unsigned band = 0; band < bands; ++band) sampleAt(result, pixel, band) = sampleAt(source, from, band);
    }
    orvcase::Call call{.op = c.name, .src = {"s"}, .dst = "d"};
    call.expect.out.push_back({.image = "d", .values = expected(result.data)});
    call.expect.touched.push_back({.image = "d"});
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    c.addCall(call);
    return c;
}

Case randomPlanemask(Dice& dice, OrvDataType type) {
    Case c{.name = "copy_with_planemask" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    c.images.push_back(randomImage(dice, "s", type, width, 3, bands));
    c.images.push_back(randomImage(dice, "d", type, width, 3, bands));
    orvcase::Array masks{.name = "m"};
    for (unsigned band = 0; band < bands; ++band) {
        masks.data.push_back(
            static_cast<double>(dice.chance(60) ? dice.between(0, 40000) : dice.between(0, 4294967295)));
    }
    c.ulongs.push_back(masks);
    if (type != ORV_BIT) {
        for (double& mask : masks.data) mask = std::min(mask, static_cast<double>(highOf(type)));
    }
    orvcase::Call call{.op = c.name, .src = {"s"}, .dst = dice.chance(10) ? "s" : "d", .params = {Param::ref("m")}};
    expectPixelwise(c, call, {"s"}, [&](const auto& sources, unsigned band, double old) -> double {
        return masked(masks.data[band], sources[0][band], old, type);
    });
    call.expect.now.push_back({.name = "m", .values = expected(masks.data)});
    c.addCall(call);
    return c;
}

Case randomValue(Dice& dice, OrvDataType type) {
    Case c{.name = "setvalue" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    c.images.push_back(randomImage(dice, "d", type, randomWidth(dice), 4, bands));
    orvcase::Array values{.name = "v"};
    for (unsigned band = 0; band < bands; ++band) {
        const double low = static_cast<double>(lowOf(type)) - 3;
        values.data.push_back(dice.chance(5)    ? std::numeric_limits<float>::quiet_NaN()
                              : dice.chance(50) ? dice.real(-2, 2)
                                                : dice.real(low, static_cast<double>(highOf(type)) + 3));
    }
    c.floats.push_back(values);
    orvcase::Call call{.op = c.name, .dst = "d", .params = {Param::ref("v")}};
    expectPixelwise(c, call, {}, [&](const auto&, unsigned band, double) {
        return valueOf(static_cast<float>(values.data[band]), type);
    });
    call.expect.touched = {{.image = "d"}};
    c.addCall(call);
    return c;
}

class CopyFamily : public testing::TestWithParam<OrvDataType> {};

TEST_P(CopyFamily, SeparateImages) {
    rounds(120, 100, [](Dice& dice) { return randomSeparate(dice, GetParam()); });
}
TEST_P(CopyFamily, ChildrenOfOneParent) {
    rounds(400, 200, [](Dice& dice) { return randomChildren(dice, GetParam()); });
}
TEST_P(CopyFamily, Patterns) {
    rounds(300, 300, [](Dice& dice) { return randomPattern(dice, GetParam()); });
}
TEST_P(CopyFamily, Planemasks) {
    rounds(120, 400, [](Dice& dice) { return randomPlanemask(dice, GetParam()); });
}
TEST_P(CopyFamily, SingleValues) {
    rounds(120, 500, [](Dice& dice) { return randomValue(dice, GetParam()); });
}

INSTANTIATE_TEST_SUITE_P(All, CopyFamily, testing::ValuesIn(types));

} // namespace
