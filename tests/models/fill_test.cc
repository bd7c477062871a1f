// Both floods and soft fill against floods that go pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "models/Answers.h"

namespace {

using orvcase::Call;
using orvcase::Param;
using orvmodel::Maker;

/// Few different samples, so that pixels hang together.
void thinOut(Maker& maker, const std::string& name) {
    orvcase::Image& image = maker.c.image(name);
    if (image.data.empty() || maker.random.chance(15)) return;
    const unsigned kinds = image.type == ORV_BIT ? 2 : maker.random.below(3) + 2;
    const unsigned odds = maker.random.pick({1U, 5U, 20U, 35U, 50U});
    for (double& sample : image.data) sample = maker.random.chance(odds) ? maker.random.below(kinds - 1) + 1 : 0;
}

/// Walls across the picture with a gap at the top or at the bottom in turns, whose colour is answered.
orvcase::Values wind(Maker& maker, const std::string& name) {
    orvcase::Image& image = maker.c.image(name);
    const unsigned step = maker.random.below(30) + 2;
    for (unsigned x = step - 1; x < image.width; x += step) {
        const unsigned gap = x / step % 2 == 0 ? 0 : image.height - 1;
        for (unsigned y = 0; y < image.height; ++y) {
            for (unsigned band = 0; band < image.bands && y != gap; ++band) {
                image.data[image.index(x, y, band)] = 1;
            }
        }
    }
    return orvcase::Values(image.bands, 1);
}

float randomSeed(Maker& maker, unsigned size, float origin) {
    if (maker.random.chance(3)) return maker.random.pick({1e30F, -1e30F, std::nanf(""), 3e9F});
    const auto place = static_cast<float>(maker.random.between(-2, static_cast<long>(size) + 1));
    return place - std::trunc(origin) + (maker.random.chance(30) ? maker.random.real(-0.5F, 0.5F) : 0.0F);
}

orvcase::Values colourOf(Maker& maker, const orvcase::Image& image, unsigned bands) {
    orvcase::Values colour;
    const auto column = maker.random.below(image.width);
    const auto row = maker.random.below(image.height);
    const bool met = image.parent.empty() && maker.random.chance(60);
    for (unsigned band = 0; band < bands; ++band) {
        const double sample = met && band < image.bands ? image.at(column, row, band) : maker.random.below(4);
        colour.push_back(maker.random.chance(5) ? maker.random.real(-40000.0F, 40000.0F) : sample);
    }
    return colour;
}

enum class Pictures { any, wide };

auto makeFill(const char* op, OrvDataType type, Pictures pictures = Pictures::any) {
    return [op, type, pictures](Maker& maker) {
        maker.children = maker.random.chance(30);
        const bool wide = pictures == Pictures::wide;
        const unsigned bands = wide ? maker.random.below(2) + 1 : maker.bands();
        const unsigned width = wide ? maker.random.below(350) + 57 : 0;
        const unsigned height = wide ? maker.random.below(40) + 1 : 0;
        const std::string d = maker.image("d", type, bands, width, height);
        const std::string s = wide ? maker.image("s", type, bands, width, height) : maker.source("s", type, bands, d);
        thinOut(maker, s);
        orvcase::Values walls;
        if (wide && maker.random.chance(40) && !maker.c.image(s).data.empty()) walls = wind(maker, s);
        const orvcase::Image source = maker.c.image(s);
        const Param x = Param::f(randomSeed(maker, source.width, source.originX));
        const Param y = Param::f(randomSeed(maker, source.height, source.originY));
        const Param boundary = maker.floats("boundary", walls.empty() ? colourOf(maker, source, bands) : walls);
        const Param colour = maker.floats("colour", colourOf(maker, source, bands));
        Call& call = maker.c.addCall({.op = op, .src = {s}, .dst = d, .params = {x, y, boundary, colour}});
        if (maker.random.chance(25)) call.faults.push_back({.nth = 5 + maker.random.below(3)});
    };
}

TEST(Fill1, IsTheFloodByRuns) { orvmodel::check({.make = makeFill("fill1", ORV_BIT), .expect = orvmodel::answerFill}); }
TEST(Fill8, IsTheFloodBySpans) {
    orvmodel::check({.make = makeFill("fill8", ORV_BYTE), .expect = orvmodel::answerFill});
}
TEST(Fill16, IsTheFloodBySpans) {
    orvmodel::check({.make = makeFill("fill16", ORV_SHORT), .expect = orvmodel::answerFill});
}

// Rows of many words, with runs that lie in one of them and runs that do not.
void checkWide(const char* op, OrvDataType type) {
    orvmodel::check({.make = makeFill(op, type, Pictures::wide), .expect = orvmodel::answerFill, .cases = 120});
}
TEST(Fill1, IsTheFloodByRunsInWideRows) { checkWide("fill1", ORV_BIT); }
TEST(Fill8, IsTheFloodBySpansInWideRows) { checkWide("fill8", ORV_BYTE); }
TEST(Fill16, IsTheFloodBySpansInWideRows) { checkWide("fill16", ORV_SHORT); }

// Soft fill.

auto makeSoftFill(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        maker.children = false;
        const unsigned bands = maker.bands();
        const long backs = maker.random.between(1, 3);
        const std::string d = maker.image("d", type, bands);
        const std::string s = maker.source("s", type, bands, d);
        const float span = type == ORV_BIT ? 1.0F : type == ORV_BYTE ? 255.0F : 3000.0F;
        const auto colour = [&](unsigned count) {
            orvcase::Values values;
            for (unsigned i = 0; i < count; ++i) values.push_back(maker.random.real(0.0F, span));
            return values;
        };
        const orvcase::Values foreground = colour(bands);
        const orvcase::Values backgrounds = colour(bands * static_cast<unsigned>(backs));
        orvcase::Image& image = maker.c.image(s);
        for (std::size_t i = 0; type != ORV_BIT && i < image.data.size(); ++i) {
            // Mixes along the line from the last background to the foreground.
            const double share = maker.random.chance(30) ? 0 : maker.random.real(0.0F, 1.1F);
            const std::size_t band = i % bands;
            const double back = backgrounds[backgrounds.size() - bands + band];
            image.data[i] = std::clamp(std::round(back + share * (foreground[band] - back)), orvmodel::lowest(type),
                                       orvmodel::highest(type));
        }
        const orvcase::Image source = image;
        const Param x = Param::f(randomSeed(maker, source.width, source.originX));
        const Param y = Param::f(randomSeed(maker, source.height, source.originY));
        const Param f = maker.floats("foreground", foreground);
        const Param b = maker.floats("backgrounds", backgrounds);
        const Param fill = maker.floats("fill", colour(bands));
        maker.c.addCall({.op = op, .src = {s}, .dst = d, .params = {x, y, f, Param::l(backs), b, fill}});
    };
}

TEST(SoftFill1, ReplacesTheForegroundsShare) {
    orvmodel::check({.make = makeSoftFill("softfill1", ORV_BIT), .expect = orvmodel::answerSoftFill});
}
TEST(SoftFill8, ReplacesTheForegroundsShare) {
    orvmodel::check({.make = makeSoftFill("softfill8", ORV_BYTE), .expect = orvmodel::answerSoftFill});
}
TEST(SoftFill16, ReplacesTheForegroundsShare) {
    orvmodel::check({.make = makeSoftFill("softfill16", ORV_SHORT), .expect = orvmodel::answerSoftFill});
}

} // namespace
