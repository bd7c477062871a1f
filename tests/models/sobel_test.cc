// Edge detection against a model that reads every sample through a clamp.

#include "FilterModel.h"

namespace {

using namespace filtermodel;

double magnitude(OrvDataType type, double gx, double gy) {
    if (type == ORV_BIT) return static_cast<float>(std::sqrt(gx * gx / 4 + gy * gy / 4)) >= 0.5F ? 1 : 0;
    const double high = type == ORV_BYTE ? 255 : 32767;
    const double root =
        static_cast<float>(std::sqrt(type == ORV_BYTE ? gx * gx * 0.25 + gy * gy * 0.25 : gx * gx + gy * gy));
    const float rounded = static_cast<float>(root * (type == ORV_BYTE ? 1 : 0.5) + 0.5);
    return rounded > high ? high : std::trunc(static_cast<double>(rounded));
}

orvcase::Values sobelModel(const Image& source, const Image& destination) {
    orvcase::Values result = destination.data;
    const auto regions = nineRegions(common(pixelsOf(destination), pixelsOf(source)), source, 3, 3, 1, 1);
    for (std::size_t region = 0; region < 9; ++region) {
        const bool corner = region % 2 == 0 && region != 4;
        for (const Rect& rect : regions[region]) {
            for (long y = rect.y; y < rect.y + rect.height; ++y) {
                for (long x = rect.x; x < rect.x + rect.width; ++x) {
                    for (unsigned band = 0; band < source.bands; ++band) {
                        const auto p = [&](long c, long r) {
                            const long sx = std::clamp<long>(x + originX(source) + c, 0, source.width - 1);
                            const long sy = std::clamp<long>(y + originY(source) + r, 0, source.height - 1);
                            return source.at(static_cast<unsigned>(sx), static_cast<unsigned>(sy),
                                             corner && source.type != ORV_BIT ? 0 : band);
                        };
                        const double gx = p(-1, -1) + 2 * p(-1, 0) + p(-1, 1) - p(1, -1) - 2 * p(1, 0) - p(1, 1);
                        const double gy = p(-1, -1) + 2 * p(0, -1) + p(1, -1) - p(-1, 1) - 2 * p(0, 1) - p(1, 1);
                        result[destination.index(static_cast<unsigned>(x + originX(destination)),
                                                 static_cast<unsigned>(y + originY(destination)), band)] =
                            magnitude(source.type, gx, gy);
                    }
                }
            }
        }
    }
    return result;
}

Case randomSobel(Dice& dice, OrvDataType type) {
    const bool large = dice.chance(25);
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const unsigned width = randomSize(dice, large);
    const unsigned height = large ? static_cast<unsigned>(dice.between(3, 30)) : randomSize(dice, false);
    Case c{.name = "random"};
    c.images.push_back(randomImage(dice, "a", type, width, height, bands));
    c.images.push_back(randomImage(dice, "d", type, width, height, bands));
    orvcase::Call& call = c.addCall({.op = std::string("edge_detect_sobel") + (type == ORV_BIT    ? "1"
                                                                               : type == ORV_BYTE ? "8"
                                                                                                  : "16"),
                                     .src = {"a"},
                                     .dst = "d"});
    call.expect.out = {{.image = "d", .values = asExpected(sobelModel(c.images[0], c.images[1]))}};
    return c;
}

TEST(Sobel, bitsAsModel) {
    repeat("edge_detect_sobel1", 400, [](Dice& dice) { return randomSobel(dice, ORV_BIT); });
}
TEST(Sobel, bytesAsModel) {
    repeat("edge_detect_sobel8", 400, [](Dice& dice) { return randomSobel(dice, ORV_BYTE); });
}
TEST(Sobel, shortsAsModel) {
    repeat("edge_detect_sobel16", 400, [](Dice& dice) { return randomSobel(dice, ORV_SHORT); });
}

} // namespace
