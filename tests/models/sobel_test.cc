// Edge detection against a model that reads every sample through a clamp.

#include "FilterModel.h"

namespace {

using namespace filtermodel;

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
