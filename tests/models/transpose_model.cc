// A transpose asks, for each pixel, where it comes from.
#include <algorithm>

#include "models/Answers.h"

namespace orvmodel {
namespace {

std::pair<long, long> sourceOf(long flip, long x, long y, long w, long h) {
    switch (flip) {
    case 0:
        return {x, h - 1 - y};
    case 1:
        return {w - 1 - x, y};
    case 2:
        return {y, x};
    case 3:
        return {w - 1 - y, h - 1 - x};
    case 4:
        return {w - 1 - y, x};
    case 5:
        return {w - 1 - x, h - 1 - y};
    default:
        return {y, h - 1 - x};
    }
}

bool holds(const std::vector<Rect>& rects, long x, long y) {
    return std::any_of(rects.begin(), rects.end(),
                       [&](const Rect& r) { return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height; });
}

} // namespace

void answerTranspose(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    onlyApart(call);
    const std::string& s = call.src[0];
    const std::string& d = call.dst;
    const orvcase::Image& source = c.image(s);
    const auto region = scene.region(s);
    eachPixel(scene.region(d), [&](long x, long y) {
        const auto [column, row] =
            sourceOf(call.params[0].integer, x + scene.originX(d), y + scene.originY(d), source.width, source.height);
        if (!holds(region, column - scene.originX(s), row - scene.originY(s))) return;
        for (unsigned b = 0; b < scene.bands(d); ++b) scene.put(d, x, y, b, scene.sample(s, column, row, b));
    });
    scene.touchNone(d);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
