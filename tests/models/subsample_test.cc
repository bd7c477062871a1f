// Subsampling against models that collect, pixel by pixel, what falls on each destination pixel.

#include <gtest/gtest.h>

#include "models/Answers.h"

namespace {

using namespace orvmodel;

float factor(Maker& maker) {
    return maker.random.chance(60)
               ? maker.random.pick({0.5F, 0.25F, 0.33F, 0.3333333F, 0.325F, 0.7F, 0.35F, 0.1F, 1.0F})
               : maker.random.real(0.04F, 1.6F);
}

auto subsamples(const char* op, OrvDataType from, OrvDataType to) {
    return [=](Maker& maker) {
        const unsigned bands = maker.bands();
        const std::string d = maker.image("d", to, bands);
        const std::string s = maker.image("s", from, bands);
        maker.c.image(d).io = maker.c.image(d).parent.empty() && maker.random.chance(50);
        if (from == ORV_BIT && maker.random.chance(50) && maker.c.image(s).parent.empty()) maker.c.image(s).offset = 0;
        const float sx = factor(maker);
        const float sy = maker.random.chance(60) ? sx : factor(maker);
        maker.c.addCall({.op = op, .src = {s}, .dst = d, .params = {orvcase::Param::f(sx), orvcase::Param::f(sy)}});
    };
}

TEST(Subsample, AdaptiveBits) {
    check(
        {.make = subsamples("subsampleAdaptive1", ORV_BIT, ORV_BIT), .expect = answerSubsampleAdaptive, .seed = 1000});
}
TEST(Subsample, AdaptiveBytes) {
    check({.make = subsamples("subsampleAdaptive8", ORV_BYTE, ORV_BYTE),
           .expect = answerSubsampleAdaptive,
           .seed = 2000});
}
TEST(Subsample, AdaptiveShorts) {
    check({.make = subsamples("subsampleAdaptive16", ORV_SHORT, ORV_SHORT),
           .expect = answerSubsampleAdaptive,
           .seed = 3000});
}
TEST(Subsample, Counts) {
    check({.make = subsamples("subsample1_8", ORV_BIT, ORV_BYTE),
           .expect = answerSubsampleCounts,
           .cases = 600,
           .seed = 4000});
}

} // namespace
