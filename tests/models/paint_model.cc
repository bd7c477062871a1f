// Paint blends pixel by pixel, stamp by stamp.
#include <algorithm>
#include <cmath>

#include "models/Answers.h"

namespace orvmodel {
namespace {

long toPlace(float coordinate) {
    if (std::isnan(coordinate)) return 0;
    const auto t = static_cast<float>(coordinate < 0 ? coordinate - 0.5 : coordinate + 0.5);
    return static_cast<long>(std::clamp(static_cast<double>(t), -2147483648.0, 2147483647.0));
}

/// What the three-band form stores: no clamp, the low byte.
double wrapped(float a, float colour, double sample) {
    const auto premultiplied = static_cast<float>(double{a} * double{colour} + 0.5);
    const auto inverse = static_cast<float>(1.0 - double{a});
    const double sum = std::clamp(sample * double{inverse} + double{premultiplied}, -2147483648.0, 2147483647.0);
    return static_cast<double>(static_cast<std::uint8_t>(static_cast<long>(sum)));
}

double blended(float a, float colour, double sample, OrvDataType type) {
    const auto v = static_cast<float>(double{a} * double{colour} + sample * (1.0 - double{a}));
    if (type == ORV_BIT) return v >= 0.5F ? 1 : 0;
    const auto t = static_cast<float>(v < 0 ? v - 0.5 : v + 0.5);
    return std::trunc(std::clamp(static_cast<double>(t), lowest(type), highest(type)));
}

} // namespace

void answerPaint(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const orvcase::Image& image = scene.image(source);
    const orvcase::Kernel& brush = c.kernels.at(0);
    const orvcase::Values& colour = c.floats.at(0).data;
    const orvcase::Values& places = c.floats.at(1).data;
    onlyWithin(1e9, brush.data);
    onlyWithin(1e5, colour);
    const bool wraps = image.type == ORV_BYTE && image.bands == 3;
    std::vector<orvcase::Rect> touched;
    for (std::size_t i = 0; i < static_cast<std::size_t>(call.params[2].integer); ++i) {
        const long left = toPlace(static_cast<float>(places[2 * i])) - static_cast<long>(brush.keyX);
        const long top = toPlace(static_cast<float>(places[2 * i + 1])) - static_cast<long>(brush.keyY);
        eachPixel(scene.rects({call.dst, source}), [&](long x, long y) {
            if (x < left || x >= left + long{brush.width} || y < top || y >= top + long{brush.height}) return;
            touched.push_back({x, y, 1, 1});
            const auto at = static_cast<std::size_t>((y - top) * long{brush.width} + x - left);
            const auto a = static_cast<float>(brush.data[at]);
            for (unsigned b = 0; b < image.bands; ++b) {
                const double sample = scene.at(source, x, y, b);
                const auto paint = static_cast<float>(colour[b]);
                scene.put(call.dst, x, y, b, wraps ? wrapped(a, paint, sample) : blended(a, paint, sample, image.type));
            }
        });
    }
    scene.touch(call.dst, canonical(touched));
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
}

} // namespace orvmodel
