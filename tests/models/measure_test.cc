// Extrema, histograms and squeezed ranges against counts pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "support/ModelKit.h"

namespace {

using orvcase::Call;
using orvcase::Case;
using orvcase::Param;
using orvmodel::Maker;
using orvmodel::Scene;

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

void expectExtrema(const Case&, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const unsigned bands = scene.bands(source);
    orvcase::ExpectedValues largest(bands, -7);
    orvcase::ExpectedValues smallest(bands, -7);
    bool seeded = false;
    orvmodel::eachPixel(scene.region(source), [&](long x, long y) {
        for (unsigned b = 0; b < bands; ++b) {
            const double value = scene.at(source, x, y, b);
            largest[b] = seeded ? std::max(*largest[b], value) : value;
            smallest[b] = seeded ? std::min(*smallest[b], value) : value;
        }
        seeded = true;
    });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    if (call.params[0].kind == Param::Kind::reference) {
        call.expect.now.push_back({.name = "largest", .values = largest});
    }
    if (call.params[1].kind == Param::Kind::reference) {
        call.expect.now.push_back({.name = "smallest", .values = smallest});
    }
}

TEST(Extrema1, OfTheRegion) { orvmodel::check({.make = makeExtrema("extrema1", ORV_BIT), .expect = expectExtrema}); }
TEST(Extrema8, OfTheRegion) { orvmodel::check({.make = makeExtrema("extrema8", ORV_BYTE), .expect = expectExtrema}); }
TEST(Extrema16, OfTheRegion) {
    orvmodel::check({.make = makeExtrema("extrema16", ORV_SHORT), .expect = expectExtrema});
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

void expectHistogram(const Case& c, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const orvcase::Histogram& h = c.histograms.at(0);
    std::size_t counters = 1;
    for (const unsigned bins : h.bins) counters *= bins;
    std::vector<double> counts = h.data.empty() ? orvcase::Values(counters) : h.data;
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    const auto binOf = [&](std::size_t b, double value) {
        auto width = static_cast<float>(double{h.high[b]} - double{h.low[b]});
        if (h.bins[b] != 1) width = static_cast<float>(double{width} / (h.bins[b] - 1));
        if (width == 0) width = 1;
        const auto t = static_cast<float>((value - double{h.low[b]}) / double{width} + 0.5);
        const double index = std::trunc(t);
        return index >= 0 && index < h.bins[b] ? static_cast<long>(index) : -1;
    };
    for (const orvcase::Rect& r : scene.region(source)) {
        for (long y = r.y; y < r.y + r.height; y += std::max(1L, call.params[2].integer)) {
            for (long x = r.x; x < r.x + r.width; x += std::max(1L, call.params[1].integer)) {
                std::size_t flat = 0;
                bool inside = h.bins.size() <= scene.bands(source);
                for (std::size_t b = 0; inside && b < h.bins.size(); ++b) {
                    const long bin = binOf(b, scene.at(source, x, y, static_cast<unsigned>(b)));
                    inside = bin >= 0;
                    if (inside) flat = flat * h.bins[b] + static_cast<std::size_t>(bin);
                }
                if (inside) counts[flat] += 1;
            }
        }
    }
    call.expect.now.push_back({.name = "h", .values = orvcase::ExpectedValues(counts.begin(), counts.end())});
}

TEST(Histogram1, CountsSampledPixels) {
    orvmodel::check({.make = makeHistogram("histogram1", ORV_BIT), .expect = expectHistogram});
}
TEST(Histogram8, CountsSampledPixels) {
    orvmodel::check({.make = makeHistogram("histogram8", ORV_BYTE), .expect = expectHistogram});
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
                     .expect = expectHistogram,
                     .cases = 100});
}
TEST(Histogram1, CountsLongRows) { checkLongRows("histogram1", ORV_BIT); }
TEST(Histogram8, CountsLongRows) { checkLongRows("histogram8", ORV_BYTE); }
TEST(Histogram16, CountsSampledPixels) {
    orvmodel::check({.make = makeHistogram("histogram16", ORV_SHORT), .expect = expectHistogram});
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

void expectSqueeze(const Case&, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const OrvDataType type = scene.image(source).type;
    std::set<long> used;
    orvmodel::eachPixel(scene.region(source),
                        [&](long x, long y) { used.insert(static_cast<long>(scene.at(source, x, y, 0))); });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    if (used.empty()) {
        call.expect.results = {{.slot = "slot", .null = true}};
        return;
    }
    const long smallest = type == ORV_SHORT ? std::min(*used.begin(), -1L) : *used.begin();
    const long largest = *used.rbegin();
    orvcase::ExpectedLookup result{.slot = "slot", .in = type, .out = type, .offset = static_cast<short>(smallest)};
    long rank = type == ORV_BYTE ? -1 : smallest - 1;
    for (long value = smallest; value <= largest; ++value) {
        if (used.count(value) != 0) ++rank;
        result.values.push_back(static_cast<double>(rank));
    }
    result.entries = static_cast<unsigned>(result.values.size());
    call.expect.results = {result};
}

TEST(SqueezeRange1, RanksTheValuesInUse) {
    orvmodel::check({.make = makeSqueeze("squeezerange1", ORV_BIT), .expect = expectSqueeze});
}
TEST(SqueezeRange8, RanksTheValuesInUse) {
    orvmodel::check({.make = makeSqueeze("squeezerange8", ORV_BYTE), .expect = expectSqueeze});
}
TEST(SqueezeRange16, RanksTheValuesInUse) {
    orvmodel::check({.make = makeSqueeze("squeezerange16", ORV_SHORT), .expect = expectSqueeze, .cases = 100});
}

} // namespace
