// The choice of a colormap against a model that keeps the pixels of each box, without a histogram and its sums.
#include <gtest/gtest.h>

#include "models/Answers.h"

namespace {

using orvmodel::Maker;

// So few pixels that all sums are exact in single precision.
constexpr unsigned mostSide = 8;

void makeChoice(Maker& maker) {
    maker.largest = mostSide;
    const std::string a = maker.image("a", ORV_BYTE, 3);
    maker.c.slots.push_back({.name = "map"});
    const long wanted = maker.random.chance(70) ? maker.random.between(1, 20) : maker.random.between(1, 300);
    maker.c.addCall(
        {.op = "chooseColormap8", .src = {a}, .params = {orvcase::Param::ref("map"), orvcase::Param::l(wanted)}});
}

TEST(ChooseColormap, Model) {
    orvmodel::check({.make = makeChoice, .expect = orvmodel::answerChooseColormap, .cases = 400});
}

} // namespace
