// What the models of the pixelwise ops share: random images of any layout, the pixels that the images of a call have in
// common, and the check of a case against every build of the module and every storage policy.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "replay/Case.h"
#include "replay/CaseText.h"
#include "support/ModelKit.h"
#include "support/PixelSets.h"

namespace pixelmodel {

using orvcase::Case;
using orvcase::Image;

/// Random numbers; a failure prints the case they led to.
class Dice : public orvmodel::Random {
public:
    using Random::Random;
    unsigned upTo(unsigned high) { return static_cast<unsigned>(between(0, high)); }
    float real(double low, double high) { return Random::real(static_cast<float>(low), static_cast<float>(high)); }
};

inline long lowOf(OrvDataType type) { return static_cast<long>(orvmodel::lowest(type)); }
inline long highOf(OrvDataType type) { return static_cast<long>(orvmodel::highest(type)); }

inline double randomSample(Dice& dice, OrvDataType type) {
    if (dice.chance(20)) return static_cast<double>(dice.chance(50) ? lowOf(type) : highOf(type));
    if (dice.chance(20)) return static_cast<double>(dice.between(0, std::min(3L, highOf(type))));
    return static_cast<double>(dice.between(lowOf(type), highOf(type)));
}

inline std::vector<double> randomSamples(Dice& dice, OrvDataType type, std::size_t count) {
    std::vector<double> samples(count);
    for (double& sample : samples) sample = randomSample(dice, type);
    return samples;
}

inline orvcase::Region randomRegion(Dice& dice, long width, long height) {
    orvcase::Region region;
    for (long i = dice.between(1, 3); i > 0; --i) {
        region.push_back({dice.between(-2, width - 1), dice.between(-2, height - 1), dice.between(1, width + 2),
                          dice.between(1, height + 2)});
    }
    return region;
}

/// What a random image may have beside its samples.
struct Layout {
    int gaps = 40;    ///< chance of gaps between pixels and rows
    int origins = 30; ///< chance of an origin
    int regions = 30; ///< chance of a region
};

inline Image randomImage(Dice& dice, std::string name, OrvDataType type, unsigned width, unsigned height,
                         unsigned bands, const Layout& layout = {}) {
    Image image{.name = std::move(name), .type = type, .width = width, .height = height, .bands = bands};
    if (type == ORV_BIT) {
        // Rows that touch are one run.
        image.offset = dice.chance(40) ? 0 : dice.upTo(7);
        const unsigned bytes = (image.offset + width + 7) / 8;
        image.stride = bytes + (dice.chance(layout.gaps) ? dice.upTo(3) : 0);
        image.bandStride = *image.stride * height + (dice.chance(layout.gaps) ? dice.upTo(3) : 0);
    } else if (dice.chance(layout.gaps)) {
        image.pixelStride = bands + dice.upTo(dice.chance(80) ? 2 : 14);
        image.stride = width * *image.pixelStride + dice.upTo(5);
    }
    if (dice.chance(layout.origins)) {
        image.originX = static_cast<float>(dice.between(-3, 3));
        image.originY = static_cast<float>(dice.between(-3, 3));
    }
    if (dice.chance(layout.regions)) image.roi = randomRegion(dice, width, height);
    image.data = randomSamples(dice, type, image.sampleCount());
    return image;
}

/// Sizes at which vector loops, chunks and rests change.
inline unsigned randomWidth(Dice& dice) {
    const long width = dice.chance(15) ? dice.between(500, 1100) : dice.between(1, 70);
    return static_cast<unsigned>(dice.chance(20) ? (width + 7) / 8 * 8 : width);
}

inline orvcase::ExpectedValues expected(const orvcase::Values& values) { return {values.begin(), values.end()}; }

/// What one sample of the destination becomes: `sources` are the samples of the pixel's bands, image by image; `old` is
/// the destination's.
using Rule = std::function<double(const std::vector<std::vector<double>>& sources, unsigned band, double old)>;

/// Fills in what a pixelwise call must do to the images as they stand in the case: the destination's samples and the
/// touched region. `sources` are the images read, whatever the call names.
inline void expectPixelwise(const Case& c, orvcase::Call& call, const std::vector<std::string>& sources,
                            const Rule& rule) {
    Image result = c.image(call.dst);
    if (result.data.empty()) result.data.assign(result.sampleCount(), result.fill);
    Pixels pixels = pixelsOf(result);
    for (const std::string& name : sources) pixels = common(pixels, pixelsOf(c.image(name)));
    for (const Pixel& pixel : pixels) {
        std::vector<std::vector<double>> samples;
        for (const std::string& name : sources) {
            const Image& image = c.image(name);
            std::vector<double>& bands = samples.emplace_back();
            for (unsigned band = 0; band < image.bands; ++band) bands.push_back(sampleAt(image, pixel, band));
        }
        for (unsigned band = 0; band < result.bands; ++band) {
            double& sample = sampleAt(result, pixel, band);
            sample = rule(samples, band, sample);
        }
    }
    call.expect.out.push_back({.image = call.dst, .values = expected(result.data)});
    call.expect.touched.push_back({.image = call.dst, .region = regionOf(pixels)});
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

/// The case on every build and every storage policy; the failing one is printed whole.
inline bool passes(const Case& c) {
    const std::string what = orvmodel::mismatch(c);
    if (what.empty()) return true;
    ADD_FAILURE() << what << "\n" << orvcase::writeCase(c);
    return false;
}

/// Lets the pixels of all images lie equally far apart in some cases, mostly by a power of two: such rows are made
/// where they lie.
inline void layAlike(Dice& dice, Case& c) {
    if (!dice.chance(25)) return;
    unsigned bands = 1;
    for (const Image& image : c.images) bands = std::max(bands, image.bands);
    const unsigned step = dice.chance(70) ? std::bit_ceil(bands + 1) : bands + 1 + dice.upTo(2);
    const bool touch = dice.chance(30);
    for (Image& image : c.images) {
        if (image.type == ORV_BIT || !image.parent.empty()) continue;
        image.pixelStride = step;
        image.stride = image.width * step + (touch ? 0 : dice.upTo(5));
    }
}

/// Runs `make(dice)` for many seeds until a case fails.
template <class Make>
void rounds(int count, unsigned firstSeed, Make make) {
    for (int i = 0; i < count; ++i) {
        const unsigned seed = firstSeed + static_cast<unsigned>(i);
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Dice dice(seed);
        Case c = make(dice);
        layAlike(dice, c);
        if (!passes(c)) return;
    }
}

inline std::string typeSuffix(OrvDataType type) { return type == ORV_BIT ? "1" : type == ORV_BYTE ? "8" : "16"; }

} // namespace pixelmodel
