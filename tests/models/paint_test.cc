// Paint against a blend pixel by pixel, stamp by stamp.
#include <gtest/gtest.h>

#include <cmath>

#include "models/Answers.h"

namespace {

using orvcase::Param;
using orvmodel::Maker;

auto makePaint(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", type, bands);
        const std::string s = maker.source("s", type, bands, d);
        const unsigned width = maker.random.below(20) + 1;
        const unsigned height = maker.random.below(9) + 1;
        orvcase::Kernel brush{.name = "brush", .width = width, .height = height};
        brush.keyX = maker.random.below(width + 3);
        brush.keyY = maker.random.below(height + 3);
        for (unsigned i = 0; i < width * height; ++i) {
            const float weight = maker.random.chance(30)
                                     ? maker.random.pick({0.0F, 1.0F, 0.5F, 2.0F, -1.0F, 2e6F, -3e7F})
                                     : maker.random.real(0.0F, 1.0F);
            brush.data.push_back(weight);
        }
        maker.c.kernels.push_back(brush);
        orvcase::Values colour;
        for (unsigned i = 0; i < bands; ++i) {
            const auto high = static_cast<float>(orvmodel::highest(type));
            colour.push_back(maker.random.chance(20) ? maker.random.real(-600.0F, 600.0F)
                                                     : maker.random.real(0.0F, high));
        }
        const orvcase::Image image = maker.c.image(d);
        const long stamps = maker.random.between(0, 4);
        orvcase::Values places;
        for (long i = 0; i < stamps; ++i) {
            const auto place = [&](unsigned size, float origin) {
                if (maker.random.chance(2)) return maker.random.pick({1e30F, -1e30F, std::nanf("")});
                return maker.random.real(-5.0F, static_cast<float>(size) + 5.0F) - std::trunc(origin);
            };
            places.push_back(place(image.width, image.originX));
            places.push_back(place(image.height, image.originY));
        }
        if (places.empty()) places = {0, 0};
        const Param colours = maker.floats("colour", colour);
        const Param positions = maker.floats("places", places);
        maker.c.addCall(
            {.op = op, .src = {s}, .dst = d, .params = {colours, Param::ref("brush"), Param::l(stamps), positions}});
    };
}

TEST(Paint1, StampsTheBrush) {
    orvmodel::check({.make = makePaint("paint1", ORV_BIT), .expect = orvmodel::answerPaint});
}
TEST(Paint8, StampsTheBrush) {
    orvmodel::check({.make = makePaint("paint8", ORV_BYTE), .expect = orvmodel::answerPaint});
}
TEST(Paint16, StampsTheBrush) {
    orvmodel::check({.make = makePaint("paint16", ORV_SHORT), .expect = orvmodel::answerPaint});
}

} // namespace
