// Extrema, histograms and squeezed ranges by counts pixel by pixel.
#include <algorithm>
#include <cmath>
#include <set>

#include "models/Answers.h"

namespace orvmodel {

using orvcase::Call;
using orvcase::Case;
using orvcase::Param;

namespace {

/// What stands in an array that a call is given.
orvcase::ExpectedValues contents(const Case& c, const Param& param, unsigned bands) {
    for (const orvcase::Array& array : c.floats) {
        if (array.name != param.name) continue;
        onlyWithin(1e9, array.data);
        return {array.data.begin(), array.data.end()};
    }
    return orvcase::ExpectedValues(bands);
}

} // namespace

void answerExtrema(const Case& c, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const unsigned bands = scene.bands(source);
    orvcase::ExpectedValues largest = contents(c, call.params[0], bands);
    orvcase::ExpectedValues smallest = contents(c, call.params[1], bands);
    bool seeded = false;
    eachPixel(scene.region(source), [&](long x, long y) {
        for (unsigned b = 0; b < bands; ++b) {
            const double value = scene.at(source, x, y, b);
            largest[b] = seeded ? std::max(*largest[b], value) : value;
            smallest[b] = seeded ? std::min(*smallest[b], value) : value;
        }
        seeded = true;
    });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    if (call.params[0].kind == Param::Kind::reference) {
        call.expect.now.push_back({.name = call.params[0].name, .values = largest});
    }
    if (call.params[1].kind == Param::Kind::reference) {
        call.expect.now.push_back({.name = call.params[1].name, .values = smallest});
    }
}

void answerHistogram(const Case& c, Call& call, Scene& scene) {
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
    call.expect.now.push_back(
        {.name = call.params[0].name, .values = orvcase::ExpectedValues(counts.begin(), counts.end())});
}

void answerSqueezeRange(const Case&, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const OrvDataType type = scene.image(source).type;
    std::set<long> used;
    eachPixel(scene.region(source), [&](long x, long y) { used.insert(static_cast<long>(scene.at(source, x, y, 0))); });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    if (used.empty()) {
        call.expect.results = {{.slot = call.params[0].name, .null = true}};
        return;
    }
    const long smallest = type == ORV_SHORT ? std::min(*used.begin(), -1L) : *used.begin();
    const long largest = *used.rbegin();
    orvcase::ExpectedLookup result{
        .slot = call.params[0].name, .in = type, .out = type, .offset = static_cast<short>(smallest)};
    long rank = type == ORV_BYTE ? -1 : smallest - 1;
    for (long value = smallest; value <= largest; ++value) {
        if (used.count(value) != 0) ++rank;
        result.values.push_back(static_cast<double>(rank));
    }
    result.entries = static_cast<unsigned>(result.values.size());
    call.expect.results = {result};
}

} // namespace orvmodel
