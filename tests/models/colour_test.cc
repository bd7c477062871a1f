// Colour conversion of images of any shape, held against the model of one pixel.

#include <gtest/gtest.h>

#include "models/Answers.h"
#include "models/colour_model.h"

namespace {

void make(orvmodel::Maker& maker) {
    const OrvDataType type = maker.random.pick({ORV_BYTE, ORV_SHORT});
    const int from = static_cast<int>(maker.random.between(1, 10));
    const int to = static_cast<int>(maker.random.between(1, 10));
    // Now and then bands beside those of the space, or one too few.
    const auto bandsFor = [&maker](int space) {
        const long bands = colourmodel::bands(space) + maker.random.pick({0L, 0L, 0L, 0L, 1L, 2L, -1L});
        return static_cast<unsigned>(std::max(bands, 1L));
    };
    const std::string d = maker.image("d", type, bandsFor(to));
    const std::string s = maker.source("s", type, bandsFor(from), d);
    const auto nameOf = [](int space) { return orvcase::colorspaceNames().at(static_cast<std::size_t>(space) - 1); };
    maker.c.colorspaces = {{.name = "from", .space = nameOf(from)}, {.name = "to", .space = nameOf(to)}};
    maker.c.addCall({.op = "colorconvert",
                     .src = {s},
                     .dst = d,
                     .params = {orvcase::Param::ref("from"), orvcase::Param::ref("to")}});
}

TEST(Colour, Model) { orvmodel::check({.make = make, .expect = orvmodel::answerColour}); }

} // namespace
