// Error diffusion against a model that keeps the whole image as floats.
#include <gtest/gtest.h>

#include "QuantiseModel.h"
#include "models/Answers.h"

namespace {

using orvmodel::Maker;

orvcase::Kernel floydSteinberg() {
    return {.name = "kernel", .width = 3, .height = 2, .keyX = 1, .data = {0, 0, 0.4375, 0.1875, 0.3125, 0.0625}};
}

/// Weights behind the key that need not add up to 1, at times none at all, at times no row below.
orvcase::Kernel randomKernel(Maker& maker) {
    if (maker.random.chance(30)) return floydSteinberg();
    orvcase::Kernel kernel{.name = "kernel"};
    kernel.width = 1 + maker.random.below(5);
    kernel.height = 1 + maker.random.below(4);
    kernel.keyX = maker.random.below(kernel.width);
    kernel.keyY = maker.random.below(std::min(kernel.height, 2U));
    const unsigned key = kernel.keyY * kernel.width + kernel.keyX;
    for (unsigned i = 0; i < kernel.width * kernel.height; ++i) {
        const bool weighs = i > key && maker.random.chance(80);
        kernel.data.push_back(weighs ? static_cast<double>(maker.random.real(0, 0.4F)) : 0);
    }
    return kernel;
}

auto makeDiffusion(OrvDataType from, OrvDataType to) {
    return [from, to](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", to, 1);
        const std::string a = maker.source("a", from, bands, d);
        unsigned entries = maker.random.chance(60) ? 1 + maker.random.below(8) : 1 + maker.random.below(256);
        if (to == ORV_BIT) entries = 1 + maker.random.below(2);
        orvcase::Lookup map = orvmodel::randomColors(maker, from, from, bands, entries);
        if (from == ORV_BIT) {
            for (double& sample : map.tables[0].data)
                sample = maker.random.chance(90) ? static_cast<double>(maker.random.below(2)) : sample;
        }
        maker.c.lookups.push_back(map);
        maker.c.kernels.push_back(randomKernel(maker));
        maker.c.addCall({.op = "errordiffusion" + orvmodel::typeSuffix(from) + "_" + orvmodel::typeSuffix(to),
                         .src = {a},
                         .dst = d,
                         .params = {orvcase::Param::ref("map"), orvcase::Param::ref("kernel")}});
    };
}

class ErrorDiffusion : public testing::TestWithParam<std::pair<OrvDataType, OrvDataType>> {};

TEST_P(ErrorDiffusion, Model) {
    orvmodel::check({.make = makeDiffusion(GetParam().first, GetParam().second),
                     .expect = orvmodel::answerErrorDiffusion,
                     .cases = 150});
}

constexpr std::pair<OrvDataType, OrvDataType> pairs[] = {
    {ORV_BIT, ORV_BIT},    {ORV_BIT, ORV_BYTE},  {ORV_BIT, ORV_SHORT},  {ORV_BYTE, ORV_BIT},    {ORV_BYTE, ORV_BYTE},
    {ORV_BYTE, ORV_SHORT}, {ORV_SHORT, ORV_BIT}, {ORV_SHORT, ORV_BYTE}, {ORV_SHORT, ORV_SHORT},
};
INSTANTIATE_TEST_SUITE_P(All, ErrorDiffusion, testing::ValuesIn(pairs));

} // namespace
