// Nearest colour by a full search.
#include "QuantiseModel.h"
#include "models/Answers.h"

namespace orvmodel {
void answerNearestColor(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    if (c.lookups.at(0).cube) throw Unanswered{};
    const orvcase::Values colors = contentsAt(c.lookups.at(0).tables.at(0).data, c, call);
    const std::string& source = call.src[0];
    const unsigned bands = scene.bands(source);
    const OrvDataType to = scene.image(call.dst).type;
    const bool addsOffset = !(scene.image(source).type == ORV_SHORT && to == ORV_BYTE);
    const long offset = addsOffset ? c.lookups[0].tables[0].offset : 0;
    const auto rects = scene.rects({source, call.dst});
    scene.touch(call.dst, rects);
    const Scene before = scene;
    eachPixel(rects, [&](long x, long y) {
        double best = 1e300;
        long index = 0;
        for (std::size_t entry = 0; entry * bands < colors.size(); ++entry) {
            double sum = 0;
            for (unsigned band = 0; band < bands; ++band) {
                const double d = before.at(source, x, y, band) - colors[entry * bands + band];
                sum += d * d;
            }
            if (sum < best) {
                best = sum;
                index = static_cast<long>(entry);
            }
        }
        scene.put(call.dst, x, y, 0, indexSample(to, index + offset));
    });
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
