// The models of the neighbourhood filters, and the sets of pixels that they go by.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "replay/Case.h"

namespace filtermodel {

using orvcase::Image;
using orvcase::Rect;

/// Pixels in image space: row, then columns.
using Pixels = std::map<long, std::set<long>>;

inline long originX(const Image& image) { return static_cast<long>(image.originX); }
inline long originY(const Image& image) { return static_cast<long>(image.originY); }

inline Pixels pixelsOf(const Image& image) {
    Pixels pixels;
    const long width = image.width;
    const long height = image.height;
    const orvcase::Region whole{{0, 0, width, height}};
    for (const Rect& rect : image.roi.value_or(whole)) {
        for (long y = std::max(0L, rect.y); y < std::min(height, rect.y + rect.height); ++y) {
            for (long x = std::max(0L, rect.x); x < std::min(width, rect.x + rect.width); ++x) {
                pixels[y - originY(image)].insert(x - originX(image));
            }
        }
    }
    return pixels;
}

inline Pixels common(const Pixels& a, const Pixels& b) {
    Pixels both;
    for (const auto& [y, columns] : a) {
        const auto other = b.find(y);
        if (other == b.end()) continue;
        for (long x : columns) {
            if (other->second.contains(x)) both[y].insert(x);
        }
    }
    return both;
}

/// The pixels between two corners, in any order.
inline Pixels cut(const Pixels& pixels, long x1, long y1, long x2, long y2) {
    if (x1 > x2) std::swap(x1, x2);
    if (y1 > y2) std::swap(y1, y2);
    Pixels inside;
    for (const auto& [y, columns] : pixels) {
        for (long x : columns) {
            if (y >= y1 && y <= y2 && x >= x1 && x <= x2) inside[y].insert(x);
        }
    }
    return inside;
}

/// Rectangles in canonical order: bands of rows with equal intervals, each band's intervals from left to right.
inline std::vector<Rect> rectangles(const Pixels& pixels) {
    std::vector<Rect> rects;
    for (auto row = pixels.begin(); row != pixels.end();) {
        auto next = std::next(row);
        long height = 1;
        while (next != pixels.end() && next->first == row->first + height && next->second == row->second) {
            ++next;
            ++height;
        }
        for (auto x = row->second.begin(); x != row->second.end();) {
            const long first = *x;
            long last = first;
            for (++x; x != row->second.end() && *x == last + 1; ++x) ++last;
            rects.push_back({first, row->first, last - first + 1, height});
        }
        row = next;
    }
    return rects;
}

/// The nine regions as rectangles of what is written, by the lines left, top, right, bottom.
inline std::vector<std::vector<Rect>> nineRegions(const Pixels& written, const Image& source, long width, long height,
                                                  long keyX, long keyY) {
    const long ox = originX(source);
    const long oy = originY(source);
    const long w = source.width;
    const long h = source.height;
    const long l = keyX - ox;
    const long t = keyY - oy;
    const long r = w + keyX - width - ox;
    const long b = h + keyY - height - oy;
    const long corners[9][4] = {
        {-1 - ox, -1 - oy, l - 1, t - 1}, {l, -1 - oy, r, t - 1}, {r + 1, -1 - oy, w, t - 1},
        {-1 - ox, t, l - 1, b},           {l, t, r, b},           {r + 1, t, w - ox, b},
        {-1 - ox, b + 1, l - 1, h - oy},  {l, b + 1, r, h - oy},  {r + 1, b + 1, w - ox, h - oy}};
    std::vector<std::vector<Rect>> regions;
    for (const auto& c : corners) regions.push_back(rectangles(cut(written, c[0], c[1], c[2], c[3])));
    return regions;
}

struct Kernel {
    long width;
    long height;
    long keyX; // as the user gives it
    long keyY;
    std::vector<float> data;

    long turnedKeyX() const { return static_cast<std::int16_t>(width - keyX - 1); }
    long turnedKeyY() const { return static_cast<std::int16_t>(height - keyY - 1); }
    /// The weight of the turned kernel.
    float turned(long column, long row) const {
        return data[static_cast<std::size_t>(width * height - 1 - (row * width + column))];
    }
};

/// The samples of the destination as they are after a call.
orvcase::Values morphologyModel(const Image& source, const Image& destination, const orvcase::Sel& element,
                                bool dilate);
orvcase::Values sobelModel(const Image& source, const Image& destination);
orvcase::Values convolveModel(const Image& source, const Image& destination, const Kernel& kernel, long edge);
orvcase::Values pairModel(const Image& source, const Image& destination, const Kernel& inner, const Kernel& outer);

} // namespace filtermodel
