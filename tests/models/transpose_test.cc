// Transposes against a model that asks, for each pixel, where it comes from.

#include <gtest/gtest.h>

#include "models/Answers.h"

namespace {

using namespace orvmodel;

/// A turn of "s" into "d" by any of the flips.
void addTurn(Maker& maker, OrvDataType type) {
    const char* op = type == ORV_BIT ? "transpose1" : type == ORV_BYTE ? "transpose8" : "transpose16";
    maker.c.addCall(
        {.op = op, .src = {"s"}, .dst = "d", .params = {orvcase::Param::l(static_cast<long>(maker.random.below(7)))}});
}

auto transposes(OrvDataType type) {
    return [type](Maker& maker) {
        maker.largest = 150;
        const unsigned bands = maker.bands();
        maker.image("d", type, bands);
        maker.image("s", type, bands);
        addTurn(maker, type);
    };
}

TEST(Transpose, Bits) { check({.make = transposes(ORV_BIT), .expect = answerTranspose, .cases = 400, .seed = 100}); }
TEST(Transpose, Bytes) { check({.make = transposes(ORV_BYTE), .expect = answerTranspose, .cases = 400, .seed = 2000}); }
TEST(Transpose, Shorts) {
    check({.make = transposes(ORV_SHORT), .expect = answerTranspose, .cases = 300, .seed = 3000});
}

/// Tiles of such sources are put together before they are turned.
TEST(Transpose, RowsAPowerOfTwoApart) {
    Model model;
    model.make = [](Maker& maker) {
        auto& random = maker.random;
        maker.c.name = "crowded";
        const OrvDataType type = random.below(2) != 0 ? ORV_BYTE : ORV_SHORT;
        const auto bands = static_cast<unsigned>(1 + random.below(4));
        for (const char* name : {"d", "s"}) {
            orvcase::Image image{.name = name, .type = type, .bands = bands};
            image.width = static_cast<unsigned>(1 + random.below(150));
            image.height = static_cast<unsigned>(1 + random.below(150));
            if (*name == 's') image.stride = 1024 * (1 + random.below(2));
            image.data = maker.samples(type, image.sampleCount());
            maker.c.images.push_back(image);
        }
        addTurn(maker, type);
    };
    model.expect = answerTranspose;
    model.cases = 150;
    model.seed = 5000;
    check(model);
}

/// Results whose rows all begin alike in their lines go past the caches by whole lines, where they are large enough.
TEST(Transpose, RowsOfWholeLines) {
    Model model;
    model.make = [](Maker& maker) {
        auto& random = maker.random;
        const OrvDataType type = random.below(2) != 0 ? ORV_BYTE : ORV_SHORT;
        const unsigned lineSamples = type == ORV_BYTE ? 64 : 32;
        const auto bands = static_cast<unsigned>(1 + random.below(5));
        maker.image("s", type, bands, 1 + random.below(200), 1 + random.below(300));
        orvcase::Image image{.name = "d", .type = type, .bands = bands};
        image.width = 1 + random.below(random.chance(50) ? 40 : 300);
        image.height = 1 + random.below(200);
        image.stride = (image.width * bands / lineSamples + 1 + random.below(2)) * lineSamples;
        if (random.chance(30)) image.roi = maker.region(image.width, image.height);
        image.data = maker.samples(type, image.sampleCount());
        maker.c.images.push_back(image);
        addTurn(maker, type);
    };
    model.expect = answerTranspose;
    model.cases = 200;
    model.seed = 6000;
    check(model);
}

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
            model.expect = answerTranspose;
            model.cases = 1;
            model.seed = offsets * 7 + static_cast<std::uint64_t>(flip) + 1;
            check(model);
        }
    }
}

} // namespace
