// Ordered dither one pixel at a time.
#include "QuantiseModel.h"
#include "models/Answers.h"

namespace orvmodel {
namespace {

long wrapped(long position, unsigned size) {
    while (position < 0) position += size;
    return position % static_cast<long>(size);
}

} // namespace

void answerOrderedDither(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    const auto& cube = *c.lookups.at(0).cube;
    const orvcase::Mask& mask = c.masks.at(0);
    const orvcase::Values thresholds = contentsAt(mask.data, c, call);
    const std::string& source = call.src[0];
    const OrvDataType from = scene.image(source).type;
    const auto rects = scene.rects({source, call.dst});
    scene.touch(call.dst, rects);
    const Scene before = scene;
    eachPixel(rects, [&](long x, long y) {
        long index = cube.origin;
        for (unsigned band = 0; band < scene.bands(source); ++band) {
            long sample = static_cast<long>(before.at(source, x, y, band));
            if (from == ORV_BIT) sample *= 255;
            if (from == ORV_SHORT) sample += 32768;
            const long scale = from == ORV_SHORT ? 65536 : 256;
            const unsigned plane = std::min(band, mask.bands - 1);
            const long at = (static_cast<long>(plane * mask.height) + wrapped(y, mask.height)) * mask.width +
                            wrapped(x, mask.width);
            const long threshold =
                static_cast<long>(thresholds[static_cast<std::size_t>(at)] * static_cast<double>(scale - 1));
            const long total = sample * static_cast<long>(cube.dimensions[band] - 1);
            const long level = total / scale + (total % scale > threshold ? 1 : 0);
            index += level * cube.multipliers[band];
        }
        // The table of the fast path to bits holds the low byte.
        const bool fast = from == ORV_BYTE && scene.image(call.dst).type == ORV_BIT && scene.bands(source) == 1 &&
                          mask.width == mask.height && (mask.width == 4 || mask.width == 8);
        scene.put(call.dst, x, y, 0, indexSample(scene.image(call.dst).type, fast ? index & 255 : index));
    });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
