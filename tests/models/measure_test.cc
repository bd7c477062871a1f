// Extrema, histograms and squeezed ranges against counts pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "models/Answers.h"

namespace {

using orvcase::Param;
using orvmodel::Maker;

auto makeExtrema(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        const unsigned bands = maker.random.chance(20) ? 6 : maker.bands();
        const std::string s = maker.image("s", type, bands);
        const Param largest = maker.floats("largest", orvcase::Values(bands, -7));
        const Param smallest = maker.floats("smallest", orvcase::Values(bands, -7));
        maker.c.addCall({.op = op,
                         .src = {s},
                         .params = {maker.random.chance(10) ? Param::null() : largest,
                                    maker.random.chance(10) ? Param::null() : smallest}});
    };
}

TEST(Extrema1, OfTheRegion) {
    orvmodel::check({.make = makeExtrema("extrema1", ORV_BIT), .expect = orvmodel::answerExtrema});
}
TEST(Extrema8, OfTheRegion) {
    orvmodel::check({.make = makeExtrema("extrema8", ORV_BYTE), .expect = orvmodel::answerExtrema});
}
TEST(Extrema16, OfTheRegion) {
    orvmodel::check({.make = makeExtrema("extrema16", ORV_SHORT), .expect = orvmodel::answerExtrema});
}

auto makeHistogram(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string s = maker.image("s", type, bands);
        orvcase::Histogram histogram{.name = "h"};
        std::size_t counters = 1;
        for (unsigned b = 0; b < bands && (b == 0 || maker.random.chance(80)); ++b) {
            histogram.bins.push_back(maker.random.chance(20) ? 1 : maker.random.below(bands > 3 ? 3 : 12) + 1);
            counters *= histogram.bins.back();
            const double low = orvmodel::lowest(type);
            const double high = orvmodel::highest(type);
            const auto place = [&] {
                const auto value = maker.random.real(static_cast<float>(low), static_cast<float>(high));
                return maker.random.chance(60) ? std::round(value) : value;
            };
            histogram.low.push_back(maker.random.chance(30) ? static_cast<float>(low) : place());
            histogram.high.push_back(maker.random.chance(10)   ? histogram.low.back()
                                     : maker.random.chance(30) ? static_cast<float>(high)
                                                               : place());
        }
        if (maker.random.chance(40)) {
            for (std::size_t i = 0; i < counters; ++i) histogram.data.push_back(maker.random.below(1000));
        }
        maker.c.histograms.push_back(histogram);
        const auto skip = [&] { return Param::l(maker.random.chance(60) ? 1 : maker.random.between(-1, 9)); };
        const Param x = skip();
        maker.c.addCall({.op = op, .src = {s}, .params = {Param::ref("h"), x, skip()}});
    };
}

TEST(Histogram1, CountsSampledPixels) {
    orvmodel::check({.make = makeHistogram("histogram1", ORV_BIT), .expect = orvmodel::answerHistogram});
}
TEST(Histogram8, CountsSampledPixels) {
    orvmodel::check({.make = makeHistogram("histogram8", ORV_BYTE), .expect = orvmodel::answerHistogram});
}

void checkLongRows(const char* op, OrvDataType type) {
    orvmodel::check({.make =
                         [op, type](Maker& maker) {
                             const std::string s = maker.image("s", type, maker.random.below(2) + 1,
                                                               maker.random.below(700) + 1, maker.random.below(4) + 1);
                             const auto high = static_cast<float>(orvmodel::highest(type));
                             maker.c.histograms.push_back({.name = "h", .bins = {7}, .low = {0}, .high = {high}});
                             const Param skip = Param::l(maker.random.chance(70) ? 1 : 3);
                             maker.c.addCall({.op = op, .src = {s}, .params = {Param::ref("h"), skip, skip}});
                         },
                     .expect = orvmodel::answerHistogram,
                     .cases = 100});
}
TEST(Histogram1, CountsLongRows) { checkLongRows("histogram1", ORV_BIT); }
TEST(Histogram8, CountsLongRows) { checkLongRows("histogram8", ORV_BYTE); }
TEST(Histogram16, CountsSampledPixels) {
    orvmodel::check({.make = makeHistogram("histogram16", ORV_SHORT), .expect = orvmodel::answerHistogram});
}

auto makeSqueeze(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        const std::string s = maker.image("s", type, 1);
        orvcase::Image& image = maker.c.image(s);
        if (type == ORV_SHORT && maker.random.chance(60)) {
            // A narrow span somewhere, or all of one sign.
            const long low = maker.random.between(-200, 100);
            for (double& sample : image.data) sample = static_cast<double>(maker.random.between(low, low + 90));
        } else if (maker.random.chance(30) && !image.data.empty()) {
            std::fill(image.data.begin(), image.data.end(), image.data[0]);
        }
        maker.c.slots.push_back({.name = "slot"});
        maker.c.addCall({.op = op, .src = {s}, .params = {Param::ref("slot")}});
    };
}

TEST(SqueezeRange1, RanksTheValuesInUse) {
    orvmodel::check({.make = makeSqueeze("squeezerange1", ORV_BIT), .expect = orvmodel::answerSqueezeRange});
}
TEST(SqueezeRange8, RanksTheValuesInUse) {
    orvmodel::check({.make = makeSqueeze("squeezerange8", ORV_BYTE), .expect = orvmodel::answerSqueezeRange});
}
TEST(SqueezeRange16, RanksTheValuesInUse) {
    orvmodel::check(
        {.make = makeSqueeze("squeezerange16", ORV_SHORT), .expect = orvmodel::answerSqueezeRange, .cases = 100});
}

} // namespace
