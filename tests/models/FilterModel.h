// What the tests of the neighbourhood filters share: random pictures, and the check of a case against every build of
// the module and every storage policy.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "models/Filters.h"
#include "replay/Case.h"
#include "replay/CaseText.h"
#include "replay/Runner.h"
#include "support/ModelKit.h"

namespace filtermodel {

using orvcase::Case;
using orvcase::Image;

/// A source of random numbers whose seed is printed with a failure.
class Dice {
public:
    explicit Dice(unsigned seed) : engine_(seed) {}
    long between(long low, long high) { return std::uniform_int_distribution<long>(low, high)(engine_); }
    bool chance(int percent) { return between(1, 100) <= percent; }
    double real(double low, double high) { return std::uniform_real_distribution<double>(low, high)(engine_); }

private:
    std::mt19937 engine_;
};

inline double randomSample(Dice& dice, OrvDataType type, int extremes) {
    if (type == ORV_BIT) return static_cast<double>(dice.between(0, 1));
    const long low = type == ORV_BYTE ? 0 : -32768;
    const long high = type == ORV_BYTE ? 255 : 32767;
    if (dice.chance(extremes)) return static_cast<double>(dice.chance(50) ? low : high);
    return static_cast<double>(dice.between(low, high));
}

inline orvcase::Region randomRegion(Dice& dice, long width, long height) {
    orvcase::Region region;
    const long count = dice.between(1, 4);
    for (long i = 0; i < count; ++i) {
        const long x = dice.between(-2, width - 1);
        const long y = dice.between(-2, height - 1);
        region.push_back({x, y, dice.between(1, width + 2), dice.between(1, height + 2)});
    }
    return region;
}

inline Image randomImage(Dice& dice, const std::string& name, OrvDataType type, unsigned width, unsigned height,
                         unsigned bands) {
    Image image{.name = name, .type = type, .width = width, .height = height, .bands = bands};
    if (type == ORV_BIT) {
        image.offset = static_cast<unsigned>(dice.between(0, 7));
        const unsigned bytes = (image.offset + width + 7) / 8;
        if (dice.chance(50)) image.stride = bytes + static_cast<unsigned>(dice.between(0, 9));
        if (dice.chance(50))
            image.bandStride = image.stride.value_or(bytes) * height + static_cast<unsigned>(dice.between(0, 5));
    } else if (dice.chance(50)) {
        const unsigned pixel = bands + (dice.chance(50) ? static_cast<unsigned>(dice.between(0, 3)) : 0);
        image.pixelStride = pixel;
        image.stride = pixel * width + static_cast<unsigned>(dice.between(0, 5));
    }
    if (dice.chance(40)) {
        image.originX = static_cast<float>(dice.between(-4, 4));
        image.originY = static_cast<float>(dice.between(-4, 4));
    }
    if (dice.chance(40)) image.roi = randomRegion(dice, width, height);
    const int extremes = dice.chance(30) ? 60 : 5;
    for (std::size_t i = 0; i < image.sampleCount(); ++i) image.data.push_back(randomSample(dice, type, extremes));
    return image;
}

/// Sizes that meet plain loops, and sizes that meet vectors of every width with a rest behind them.
inline unsigned randomSize(Dice& dice, bool large) {
    return static_cast<unsigned>(large ? dice.between(30, 180) : dice.between(1, 12));
}

/// A case with a source "a" and a destination "d" of as many bands, at times of another size.
inline Case randomImages(Dice& dice, OrvDataType type) {
    const bool wide = dice.chance(2); // enough for several strips
    const bool large = !wide && dice.chance(25);
    const unsigned bands = static_cast<unsigned>(dice.between(1, large ? 3 : 5));
    const unsigned width = wide ? static_cast<unsigned>(dice.between(500, 2600)) : randomSize(dice, large);
    const unsigned height = static_cast<unsigned>(dice.between(1, wide ? 3 : large ? 40 : 12));
    const bool same = dice.chance(65);
    Case c{.name = "random"};
    c.images.push_back(randomImage(dice, "a", type, width, height, bands));
    c.images.push_back(randomImage(dice, "d", type, same ? width : randomSize(dice, large),
                                   same ? height : randomSize(dice, false), bands));
    // A small gap in both images counts as a band.
    if (type != ORV_BIT && dice.chance(15)) {
        for (Image& image : c.images) {
            image.pixelStride = bands + 1;
            image.stride = (bands + 1) * image.width + static_cast<unsigned>(dice.between(0, 5));
        }
    }
    if (same && dice.chance(50)) {
        c.images[1].originX = c.images[0].originX;
        c.images[1].originY = c.images[0].originY;
    }
    return c;
}

inline std::string opName(const std::string& family, OrvDataType type) {
    return family + (type == ORV_BIT ? "1" : type == ORV_BYTE ? "8" : "16");
}

inline orvcase::ExpectedValues asExpected(const orvcase::Values& values) {
    return orvcase::ExpectedValues(values.begin(), values.end());
}

/// Runs a case on every build and storage policy; the case itself is the message of a failure.
inline bool holds(const Case& c, unsigned seed) {
    for (const std::string& build : orvmodel::testedBuilds()) {
        for (const orvcase::Storage storage : orvcase::allStorages()) {
            const orvcase::Outcome outcome = orvcase::runCase(c, {.build = build, .storage = storage});
            if (outcome.passed()) continue;
            ADD_FAILURE() << "seed " << seed << ", build " << build << ", storage " << orvcase::storageName(storage)
                          << ": " << outcome.mismatches.front().text << "\n"
                          << (c.images.front().sampleCount() < 2000 ? orvcase::writeCase(c) : std::string{});
            return false;
        }
    }
    return true;
}

/// Repeats a random case; `make(dice)` answers it with its expectations.
template <class Make>
void repeat(const char* family, int rounds, Make make) {
    const unsigned first = std::random_device{}();
    std::printf("%s: seeds from %u\n", family, first);
    for (int i = 0; i < rounds; ++i) {
        const unsigned seed = first + static_cast<unsigned>(i);
        Dice dice(seed);
        if (!holds(make(dice), seed)) return;
    }
}

} // namespace filtermodel
