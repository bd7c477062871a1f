// Transposes against a model that asks, for each pixel, where it comes from.

#include <gtest/gtest.h>

#include <algorithm>

#include "support/ModelKit.h"

namespace {

using namespace orvmodel;

std::pair<long, long> sourceOf(long flip, long x, long y, long w, long h) {
    switch (flip) {
    case 0:
        return {x, h - 1 - y};
    case 1:
        return {w - 1 - x, y};
    case 2:
        return {y, x};
    case 3:
        return {w - 1 - y, h - 1 - x};
    case 4:
        return {w - 1 - y, x};
    case 5:
        return {w - 1 - x, h - 1 - y};
    default:
        return {y, h - 1 - x};
    }
}

bool holds(const std::vector<Rect>& rects, long x, long y) {
    return std::any_of(rects.begin(), rects.end(),
                       [&](const Rect& r) { return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height; });
}

void answerCall(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    const std::string& s = call.src[0];
    const std::string& d = call.dst;
    const orvcase::Image& source = c.image(s);
    const auto region = scene.region(s);
    eachPixel(scene.region(d), [&](long x, long y) {
        const auto [column, row] =
            sourceOf(call.params[0].integer, x + scene.originX(d), y + scene.originY(d), source.width, source.height);
        if (!holds(region, column - scene.originX(s), row - scene.originY(s))) return;
        for (unsigned b = 0; b < scene.bands(d); ++b) scene.put(d, x, y, b, scene.sample(s, column, row, b));
    });
    scene.touchNone(d);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

auto transposes(OrvDataType type) {
    return [type](Maker& maker) {
        maker.largest = 150;
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", type, bands);
        const std::string s = maker.image("s", type, bands);
        const char* op = type == ORV_BIT ? "transpose1" : type == ORV_BYTE ? "transpose8" : "transpose16";
        maker.c.addCall(
            {.op = op, .src = {s}, .dst = d, .params = {orvcase::Param::l(static_cast<long>(maker.random.below(7)))}});
    };
}

TEST(Transpose, Bits) { check({.make = transposes(ORV_BIT), .expect = answerCall, .cases = 400, .seed = 100}); }
TEST(Transpose, Bytes) { check({.make = transposes(ORV_BYTE), .expect = answerCall, .cases = 400, .seed = 2000}); }
TEST(Transpose, Shorts) { check({.make = transposes(ORV_SHORT), .expect = answerCall, .cases = 300, .seed = 3000}); }

/// Every bit offset of both images for every flip, on a block and its surroundings.
TEST(Transpose, BitsAtEveryOffset) {
    for (unsigned offsets = 0; offsets < 64; ++offsets) {
        for (long flip = 0; flip < 7; ++flip) {
            Model model;
            model.make = [&](Maker& maker) {
                maker.c.name = "offsets";
                for (const char* name : {"d", "s"}) {
                    orvcase::Image image{.name = name, .type = ORV_BIT, .width = 41, .height = 37};
                    image.offset = *name == 'd' ? offsets & 7 : offsets >> 3;
                    image.data = maker.samples(ORV_BIT, image.sampleCount());
                    maker.c.images.push_back(image);
                }
                maker.c.addCall({.op = "transpose1", .src = {"s"}, .dst = "d", .params = {orvcase::Param::l(flip)}});
            };
            model.expect = answerCall;
            model.cases = 1;
            model.seed = offsets * 7 + static_cast<std::uint64_t>(flip) + 1;
            check(model);
        }
    }
}

} // namespace
