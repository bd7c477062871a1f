// The sum of two byte images, and that of bits, against plain models. Also the shortest whole model test there is.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/ModelKit.h"

namespace {

using orvmodel::Maker;
using orvmodel::Scene;

/// A call of a two-source op on images of one type.
auto pairOf(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", type, bands);
        const std::string a = maker.source("a", type, bands, d);
        const std::string b = maker.source("b", type, bands, d);
        maker.c.addCall({.op = op, .src = {a, b}, .dst = d});
    };
}

/// What a pixelwise op does: `sum` of the samples of both sources, wherever the three regions meet.
auto eachSample(double (*sum)(double, double)) {
    return [sum](const orvcase::Case&, orvcase::Call& call, Scene& scene) {
        const auto rects = scene.rects({call.dst, call.src[0], call.src[1]});
        scene.touch(call.dst, rects);
        orvmodel::eachPixel(rects, [&](long x, long y) {
            for (unsigned band = 0; band < scene.bands(call.dst); ++band) {
                const double a = scene.at(call.src[0], x, y, band);
                const double b = scene.at(call.src[1], x, y, band);
                scene.put(call.dst, x, y, band, sum(a, b));
            }
        });
        call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    };
}

TEST(Add8, IsTheSaturatedSum) {
    orvmodel::check({.make = pairOf("add8", ORV_BYTE),
                     .expect = eachSample([](double a, double b) { return std::min(a + b, 255.0); })});
}

TEST(Add1, IsTheUnion) {
    orvmodel::check(
        {.make = pairOf("add1", ORV_BIT), .expect = eachSample([](double a, double b) { return std::max(a, b); })});
}

} // namespace
