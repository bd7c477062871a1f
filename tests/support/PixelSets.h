// Pixels one by one, as sets.
#pragma once

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "replay/Case.h"

namespace pixelmodel {

using orvcase::Image;

/// A pixel in image space, in row order.
using Pixel = std::pair<long, long>; // y, x
using Pixels = std::set<Pixel>;

inline long originX(const Image& image) { return static_cast<long>(image.originX); }
inline long originY(const Image& image) { return static_cast<long>(image.originY); }

inline Pixels pixelsOf(const Image& image) {
    Pixels pixels;
    const orvcase::Region whole{{0, 0, image.width, image.height}};
    for (const orvcase::Rect& rect : image.roi.value_or(whole)) {
        for (long y = std::max(0L, rect.y); y < std::min<long>(image.height, rect.y + rect.height); ++y) {
            for (long x = std::max(0L, rect.x); x < std::min<long>(image.width, rect.x + rect.width); ++x) {
                pixels.insert({y - originY(image), x - originX(image)});
            }
        }
    }
    return pixels;
}

inline Pixels common(const Pixels& a, const Pixels& b) {
    Pixels both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.end()));
    return both;
}

/// Every pixel as a rectangle of its own, rows joined.
inline orvcase::Region regionOf(const Pixels& pixels) {
    orvcase::Region region;
    for (const auto& [y, x] : pixels) {
        if (!region.empty() && region.back().y == y && region.back().x + region.back().width == x) {
            ++region.back().width;
        } else {
            region.push_back({x, y, 1, 1});
        }
    }
    return region;
}

/// A sample of an image at an image-space pixel.
inline double sampleAt(const Image& image, const Pixel& pixel, unsigned band) {
    return image.at(static_cast<unsigned>(pixel.second + originX(image)),
                    static_cast<unsigned>(pixel.first + originY(image)), band);
}

inline double& sampleAt(Image& image, const Pixel& pixel, unsigned band) {
    return image.data[image.index(static_cast<unsigned>(pixel.second + originX(image)),
                                  static_cast<unsigned>(pixel.first + originY(image)), band)];
}

} // namespace pixelmodel
