// Paint against a blend pixel by pixel, stamp by stamp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/ModelKit.h"

namespace {

using orvcase::Call;
using orvcase::Case;
using orvcase::Param;
using orvmodel::Maker;
using orvmodel::Scene;

long toPlace(float coordinate) {
    if (std::isnan(coordinate)) return 0;
    const auto t = static_cast<float>(coordinate < 0 ? coordinate - 0.5 : coordinate + 0.5);
    return static_cast<long>(std::clamp(static_cast<double>(t), -2147483648.0, 2147483647.0));
}

/// What the three-band form stores: no clamp, the low byte.
double wrapped(float a, float colour, double sample) {
    const auto premultiplied = static_cast<float>(double{a} * double{colour} + 0.5);
    const auto inverse = static_cast<float>(1.0 - double{a});
    const double sum = std::trunc(sample * double{inverse} + double{premultiplied});
    return static_cast<double>(static_cast<std::uint8_t>(static_cast<long>(sum)));
}

double blended(float a, float colour, double sample, OrvDataType type) {
    const auto v = static_cast<float>(double{a} * double{colour} + sample * (1.0 - double{a}));
    if (type == ORV_BIT) return v >= 0.5F ? 1 : 0;
    const auto t = static_cast<float>(v < 0 ? v - 0.5 : v + 0.5);
    return std::trunc(std::clamp(static_cast<double>(t), orvmodel::lowest(type), orvmodel::highest(type)));
}

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
            const float weight = maker.random.chance(30) ? maker.random.pick({0.0F, 1.0F, 0.5F, 2.0F, -1.0F})
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

void expectPaint(const Case& c, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const orvcase::Image& image = scene.image(source);
    const orvcase::Kernel& brush = c.kernels.at(0);
    const orvcase::Values& colour = c.floats.at(0).data;
    const orvcase::Values& places = c.floats.at(1).data;
    const bool wraps = image.type == ORV_BYTE && image.bands == 3;
    std::vector<orvcase::Rect> touched;
    for (std::size_t i = 0; i < static_cast<std::size_t>(call.params[2].integer); ++i) {
        const long left = toPlace(static_cast<float>(places[2 * i])) - static_cast<long>(brush.keyX);
        const long top = toPlace(static_cast<float>(places[2 * i + 1])) - static_cast<long>(brush.keyY);
        orvmodel::eachPixel(scene.rects({call.dst, source}), [&](long x, long y) {
            if (x < left || x >= left + long{brush.width} || y < top || y >= top + long{brush.height}) return;
            touched.push_back({x, y, 1, 1});
            const auto at = static_cast<std::size_t>((y - top) * long{brush.width} + x - left);
            const auto a = static_cast<float>(brush.data[at]);
            for (unsigned b = 0; b < image.bands; ++b) {
                const double sample = scene.at(source, x, y, b);
                const auto paint = static_cast<float>(colour[b]);
                scene.put(call.dst, x, y, b, wraps ? wrapped(a, paint, sample) : blended(a, paint, sample, image.type));
            }
        });
    }
    scene.touch(call.dst, orvmodel::canonical(touched));
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

TEST(Paint1, StampsTheBrush) { orvmodel::check({.make = makePaint("paint1", ORV_BIT), .expect = expectPaint}); }
TEST(Paint8, StampsTheBrush) { orvmodel::check({.make = makePaint("paint8", ORV_BYTE), .expect = expectPaint}); }
TEST(Paint16, StampsTheBrush) { orvmodel::check({.make = makePaint("paint16", ORV_SHORT), .expect = expectPaint}); }

} // namespace
