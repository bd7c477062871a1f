// Dilation and erosion against a model that looks at every member of the element for every pixel.

#include "FilterModel.h"

namespace {

using namespace filtermodel;

/// For small images at times one with more runs, or rows, than the fast walk takes.
orvcase::Sel randomElement(Dice& dice, bool smallImage) {
    orvcase::Sel element{.name = "e",
                         .width = static_cast<unsigned>(dice.between(1, dice.chance(15) ? 80 : 9)),
                         .height = static_cast<unsigned>(dice.between(1, 9))};
    if (smallImage && dice.chance(3)) element.width = static_cast<unsigned>(dice.between(100, 150));
    if (smallImage && dice.chance(4)) element.height = static_cast<unsigned>(dice.between(30, 60));
    if (smallImage && dice.chance(1)) element.height = static_cast<unsigned>(dice.between(500, 600));
    element.keyX = static_cast<unsigned>(dice.chance(85) ? dice.between(0, element.width - 1) : dice.between(0, 70000));
    element.keyY = static_cast<unsigned>(dice.chance(90) ? dice.between(0, element.height - 1) : dice.between(0, 20));
    const int filled = static_cast<int>(dice.between(0, 3)) * 33 + 1;
    for (unsigned i = 0; i < element.width * element.height; ++i) {
        element.data.push_back(dice.chance(filled) ? static_cast<double>(dice.between(1, 4294967295)) : 0);
    }
    return element;
}

/// Few rows, as long as a strip about, be it the widest or the narrowest.
Case longRows(Dice& dice) {
    Case c;
    const auto width = static_cast<unsigned>(dice.between(-40, 40) + (dice.chance(50) ? 16384 : 2048));
    const auto height = static_cast<unsigned>(dice.between(1, 4));
    for (const char* name : {"a", "d"}) {
        orvcase::Image image{.name = name, .type = ORV_BIT, .width = width, .height = height};
        image.offset = static_cast<unsigned>(dice.between(0, 7));
        for (unsigned i = 0; i < width * height; ++i) image.data.push_back(dice.chance(50) ? 1 : 0);
        c.images.push_back(image);
    }
    return c;
}

Case randomMorphology(Dice& dice, OrvDataType type, bool wide = false) {
    const bool dilate = dice.chance(50);
    Case c = wide ? longRows(dice) : randomImages(dice, type);
    if (type == ORV_BIT && dice.chance(50)) {
        // Sparse bits (for an erosion sparse holes) make every member of the element count.
        for (double& bit : c.images[0].data) bit = dice.chance(4) == dilate ? 1 : 0;
    }
    c.sels.push_back(randomElement(dice, c.images[0].sampleCount() < 400));
    orvcase::Call& call = c.addCall({.op = opName(dilate ? "dilate" : "erode", type),
                                     .src = {"a"},
                                     .dst = "d",
                                     .params = {orvcase::Param::ref("e")}});
    call.expect.out = {
        {.image = "d", .values = asExpected(morphologyModel(c.images[0], c.images[1], c.sels[0], dilate))}};
    return c;
}

TEST(Morphology, bitsAsModel) {
    repeat("dilate1, erode1", 600, [](Dice& dice) { return randomMorphology(dice, ORV_BIT); });
}
TEST(Morphology, longRowsOfBitsAsModel) {
    repeat("dilate1, erode1", 12, [](Dice& dice) { return randomMorphology(dice, ORV_BIT, true); });
}
TEST(Morphology, bytesAsModel) {
    repeat("dilate8, erode8", 500, [](Dice& dice) { return randomMorphology(dice, ORV_BYTE); });
}
TEST(Morphology, shortsAsModel) {
    repeat("dilate16, erode16", 500, [](Dice& dice) { return randomMorphology(dice, ORV_SHORT); });
}

} // namespace
