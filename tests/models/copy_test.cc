// The copy family: copies between images of any layout and between children of one parent, tiles, masks, single values.

#include <limits>

#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
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

/// Children of one parent: the samples of a child are those of the parent, so that each store may change what a later
/// load finds.
class Children {
public:
    Children(Image& parent, const Image& source, const Image& destination)
        : parent_(parent), source_(source), destination_(destination), bands_(destination.bands) {}

    void copy() {
        const Pixels pixels = common(pixelsOf(source_), pixelsOf(destination_));
        const bool besides = source_.atY == destination_.atY && source_.atX < destination_.atX;
        if (source_.roi || destination_.roi || (besides && parent_.type == ORV_BIT)) return throughTemporary(pixels);
        if (pixels.empty()) return;
        const bool bottomUp = source_.atY < destination_.atY;
        const auto [y, x] = *pixels.begin();
        const long width = pixels.rbegin()->second - x + 1;
        const long height = pixels.rbegin()->first - y + 1;
        const unsigned planes = parent_.type == ORV_BIT ? bands_ : 1;
        for (unsigned plane = 0; plane < planes; ++plane) {
            for (long row = 0; row < height; ++row) {
                if (bottomUp) {
                    copyRow(plane, {height - 1 - row, 0}, {height - 1 - row, 0}, width, false);
                } else {
                    copyRow(plane, {y + row + originY(source_), x + originX(source_)},
                            {y + row + originY(destination_), x + originX(destination_)}, width, besides);
                }
            }
        }
    }

private:
    double& sample(const Image& child, Pixel at, unsigned band) {
        return parent_.data[parent_.index(child.atX + static_cast<unsigned>(at.second),
                                          child.atY + static_cast<unsigned>(at.first), child.atBand + band)];
    }

    void throughTemporary(const Pixels& pixels) {
        const Image before = parent_;
        for (const auto& [y, x] : pixels) {
            for (unsigned band = 0; band < bands_; ++band) {
                sample(destination_, {y + originY(destination_), x + originX(destination_)}, band) =
                    before.at(source_.atX + static_cast<unsigned>(x + originX(source_)),
                              source_.atY + static_cast<unsigned>(y + originY(source_)), source_.atBand + band);
            }
        }
    }

    void copyRow(unsigned plane, Pixel from, Pixel to, long width, bool rightToLeft) {
        if (parent_.type == ORV_BIT) {
            for (long i = 0; i < width; ++i) {
                sample(destination_, {to.first, to.second + i}, plane) =
                    sample(source_, {from.first, from.second + i}, plane);
            }
            return;
        }
        // Dense rows are moved as a whole.
        const bool dense = parent_.samplesPerPixel() == bands_;
        const Image before = parent_;
        for (long i = 0; i < width; ++i) {
            const long at = rightToLeft && !dense ? width - 1 - i : i;
            for (unsigned band = 0; band < bands_; ++band) {
                double value = sample(source_, {from.first, from.second + at}, band);
                if (dense) {
                    value = before.at(source_.atX + static_cast<unsigned>(from.second + at),
                                      source_.atY + static_cast<unsigned>(from.first), source_.atBand + band);
                }
                sample(destination_, {to.first, to.second + at}, band) = value;
            }
        }
    }

    Image& parent_;
    const Image& source_;
    const Image& destination_;
    unsigned bands_;
};

Case randomChildren(Dice& dice, OrvDataType type) {
    Case c{.name = "copy" + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 4));
    const unsigned width = static_cast<unsigned>(dice.chance(20) ? dice.between(100, 300) : dice.between(2, 40));
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

long ceilingOf(long value, long unit) { return value <= 0 ? 0 : (value + unit - 1) / unit; }

/// The source's pixel for the destination's at image-space position `at` along one axis, or -1.
long tiled(long at, long size, long extent, long sourceOrigin, long origin) {
    const long shift = origin > 0 ? ceilingOf(origin, size) * size : 0;
    const long tiles = ceilingOf(extent - origin + sourceOrigin, size) + shift / size;
    const long along = at + sourceOrigin + shift;
    if (along < 0 || along >= tiles * size) return -1;
    return along % size;
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
        const long mask = static_cast<long>(masks.data[band]);
        const long from = static_cast<long>(sources[0][band]);
        const long to = static_cast<long>(old);
        if (type == ORV_BIT) return (mask & from) != 0 ? 1 : old;
        return static_cast<double>((to & ~mask) | (from & mask));
    });
    call.expect.now.push_back({.name = "m", .values = expected(masks.data)});
    c.addCall(call);
    return c;
}

double valueOf(float value, OrvDataType type) {
    if (std::isnan(value)) return 0;
    if (type == ORV_BIT) return value >= 0.5F ? 1 : 0;
    const float half = type == ORV_SHORT && value < 0 ? value - 0.5F : value + 0.5F;
    return std::trunc(std::clamp(half, static_cast<float>(lowOf(type)), static_cast<float>(highOf(type))));
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
