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
                        const bool fixed = corner && source.type != ORV_BIT; // one position and one band serve all
                        const long column = fixed ? (region % 3 == 0 ? 0 : source.width - 1) : x + originX(source);
                        const long row = fixed ? (region < 3 ? 0 : source.height - 1) : y + originY(source);
                        const auto p = [&](long c, long r) {
                            return source.at(static_cast<unsigned>(std::clamp<long>(column + c, 0, source.width - 1)),
                                             static_cast<unsigned>(std::clamp<long>(row + r, 0, source.height - 1)),
                                             fixed ? 0 : band);
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
    Case c = randomImages(dice, type);
    orvcase::Call& call = c.addCall({.op = opName("edge_detect_sobel", type), .src = {"a"}, .dst = "d"});
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
