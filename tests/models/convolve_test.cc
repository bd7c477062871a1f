// Convolution and the fused pair against a model that lists, for each pixel, the samples and weights in the order in
// which they are summed.

#include "FilterModel.h"

namespace {

using namespace filtermodel;

float randomTap(Dice& dice, int style) {
    switch (style) {
    case 0:
        return static_cast<float>(dice.between(-16, 16)) / 8;
    case 1:
        return static_cast<float>(dice.real(-1, 1));
    case 2:
        return static_cast<float>(dice.real(0, 0.1));
    case 3:
        return static_cast<float>(std::ldexp(dice.real(-1, 1), static_cast<int>(dice.between(-60, 40))));
    case 4:
        return static_cast<float>(std::ldexp(dice.real(-1, 1), static_cast<int>(dice.between(-149, 127))));
    case 6:
        return static_cast<float>(std::ldexp(dice.real(0.5, 1), static_cast<int>(dice.between(-45, -3))));
    case 5:
        return dice.chance(70) ? 0.0F : static_cast<float>(dice.between(-2, 2));
    default:
        return static_cast<float>(dice.between(0, 65536)) / 65536 / 9;
    }
}

Kernel randomKernel(Dice& dice) {
    const long odd[] = {1, 3, 5, 3, 5, 7};
    Kernel kernel{};
    kernel.width = dice.chance(60) ? odd[dice.between(0, 5)] : dice.between(1, 8);
    kernel.height = dice.chance(50) ? kernel.width : dice.chance(60) ? odd[dice.between(0, 5)] : dice.between(1, 8);
    kernel.keyX = dice.chance(50) ? kernel.width / 2 : dice.between(0, kernel.width - 1);
    kernel.keyY = dice.chance(50) ? kernel.height / 2 : dice.between(0, kernel.height - 1);
    if (dice.chance(6)) kernel.keyX = dice.chance(50) ? dice.between(0, 15) : 65536 + dice.between(-6, 9);
    if (dice.chance(6)) kernel.keyY = dice.chance(50) ? dice.between(0, 15) : 65536 + dice.between(-6, 9);
    const int style = static_cast<int>(dice.between(0, 7));
    for (long i = 0; i < kernel.width * kernel.height; ++i) kernel.data.push_back(randomTap(dice, style));
    return kernel;
}

orvcase::Kernel asCaseKernel(const std::string& name, const Kernel& kernel) {
    return {.name = name,
            .width = static_cast<unsigned>(kernel.width),
            .height = static_cast<unsigned>(kernel.height),
            .keyX = static_cast<unsigned>(kernel.keyX),
            .keyY = static_cast<unsigned>(kernel.keyY),
            .data = orvcase::Values(kernel.data.begin(), kernel.data.end())};
}

Case randomConvolution(Dice& dice, OrvDataType type) {
    Case c = randomImages(dice, type);
    const Kernel kernel = randomKernel(dice);
    const long edge = dice.chance(60) ? 2 : dice.between(-1, 3);
    c.kernels.push_back(asCaseKernel("k", kernel));
    orvcase::Call& call = c.addCall({.op = opName("convolve", type),
                                     .src = {"a"},
                                     .dst = "d",
                                     .params = {orvcase::Param::ref("k"), orvcase::Param::l(edge)}});
    call.expect.out = {{.image = "d", .values = asExpected(convolveModel(c.images[0], c.images[1], kernel, edge))}};
    return c;
}

TEST(Convolve, bitsAsModel) {
    repeat("convolve1", 400, [](Dice& dice) { return randomConvolution(dice, ORV_BIT); });
}
TEST(Convolve, bytesAsModel) {
    repeat("convolve8", 600, [](Dice& dice) { return randomConvolution(dice, ORV_BYTE); });
}
TEST(Convolve, shortsAsModel) {
    repeat("convolve16", 600, [](Dice& dice) { return randomConvolution(dice, ORV_SHORT); });
}

Case randomPair(Dice& dice, OrvDataType type) {
    Case c = randomImages(dice, type);
    const auto kernel = [&](bool row) {
        Kernel k{.width = row ? 5 : 1, .height = row ? 1 : 5, .keyX = 0, .keyY = 0, .data = {}};
        k.keyX = dice.between(0, 4);
        k.keyY = dice.between(0, 4);
        const int style = static_cast<int>(dice.between(0, 7));
        for (int i = 0; i < 5; ++i) k.data.push_back(randomTap(dice, style));
        return k;
    };
    const bool outerIsRow = dice.chance(50);
    const Kernel inner = kernel(!outerIsRow);
    const Kernel outer = kernel(outerIsRow);
    c.kernels = {asCaseKernel("i", inner), asCaseKernel("o", outer)};
    const std::string op = opName("convolve", type);
    c.chains.push_back(
        {.name = "first", .op = op, .src = {"a"}, .params = {orvcase::Param::ref("i"), orvcase::Param::l(1)}});
    orvcase::Call& call =
        c.addCall({.op = op, .dst = "d", .op1 = "first", .params = {orvcase::Param::ref("o"), orvcase::Param::l(1)}});
    call.expect.out = {{.image = "d", .values = asExpected(pairModel(c.images[0], c.images[1], inner, outer))}};
    return c;
}

TEST(ConvolvePair, bytesAsModel) {
    repeat("convolve8/convolve8", 300, [](Dice& dice) { return randomPair(dice, ORV_BYTE); });
}
TEST(ConvolvePair, shortsAsModel) {
    repeat("convolve16/convolve16", 300, [](Dice& dice) { return randomPair(dice, ORV_SHORT); });
}

} // namespace
