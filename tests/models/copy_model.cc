// Copies between images, between children of one image, and of a tile all over an image.
#include "models/Answers.h"
#include "models/Children.h"
#include "models/pixel_rules.h"

namespace orvmodel {
namespace {

using orvcase::Call;
using orvcase::Case;
using orvcase::Image;

void copyWithin(const Case& c, const Call& call, Scene& scene) {
    const Image& source = c.image(call.src[0]);
    const Image& destination = c.image(call.dst);
    // Origins that bring a row of bits to the right of its source are nobody's promise.
    const bool moved =
        source.originX != 0 || source.originY != 0 || destination.originX != 0 || destination.originY != 0;
    if (moved && source.type == ORV_BIT) throw Unanswered{};
    Image parent = c.image(source.parent);
    pixelmodel::Children(parent, source, destination).copy();
    for (unsigned y = 0; y < parent.height; ++y) {
        for (unsigned x = 0; x < parent.width; ++x) {
            for (unsigned b = 0; b < parent.bands; ++b) scene.setSample(parent.name, x, y, b, parent.at(x, y, b));
        }
    }
}

} // namespace

void answerCopy(const Case& c, Call& call, Scene& scene) {
    const std::string& s = call.src[0];
    const auto rects = scene.rects({s, call.dst});
    const std::string& parent = c.image(s).parent;
    if (s != call.dst && !parent.empty() && parent == c.image(call.dst).parent) {
        copyWithin(c, call, scene);
    } else {
        eachPixel(rects, [&](long x, long y) {
            for (unsigned b = 0; b < scene.bands(call.dst); ++b) scene.put(call.dst, x, y, b, scene.at(s, x, y, b));
        });
    }
    scene.touch(call.dst, rects);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

void answerCopyPattern(const Case& c, Call& call, Scene& scene) {
    onlyApart(call);
    const std::string& s = call.src[0];
    const std::string& d = call.dst;
    const Image& tile = c.image(s);
    const Image& picture = c.image(d);
    const pixelmodel::Pixels pixels = pixelmodel::pixelsOf(tile);
    eachPixel(scene.region(d), [&](long x, long y) {
        const long column = pixelrules::tiled(x, tile.width, picture.width, scene.originX(s), scene.originX(d));
        const long row = pixelrules::tiled(y, tile.height, picture.height, scene.originY(s), scene.originY(d));
        if (column < 0 || row < 0) return;
        if (!pixels.contains({row - scene.originY(s), column - scene.originX(s)})) return;
        for (unsigned b = 0; b < scene.bands(d); ++b) scene.put(d, x, y, b, scene.sample(s, column, row, b));
    });
    scene.touchNone(d);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
