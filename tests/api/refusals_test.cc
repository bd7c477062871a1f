// Calls that the device must not get: every row of the catalogue by rule, and every check of a row's own once. A
// refused call says which operation and what is wanted, and reaches no device.

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "orv/orv.h"

namespace orv {
namespace {

Session& session() {
    static Session one;
    return one;
}

Image image(unsigned width, unsigned height, unsigned bands, Type type = Type::byte) {
    return {session(), width, height, bands, type};
}

Image tagged(const Image& image, Encoding encoding) {
    Image made = image.copy(session());
    made.tags().encoding = encoding;
    return made;
}

Image shifted(unsigned bands) {
    Image made = image(16, 12, bands, Type::int16);
    made.tags().sixteen = Sixteen::shifted;
    return made;
}

std::string refusal(std::string_view operation, const std::vector<Image>& sources, const Arguments& arguments = {},
                    const Image& destination = {}) {
    try {
        session().apply(operation, sources, arguments, {.destination = destination});
    } catch (const Error& error) {
        EXPECT_TRUE(error.id().empty()) << "the device was called: " << error.what();
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << error.what();
        return error.what();
    }
    return "nothing was refused";
}

// Every row, by rule. -------------------------------------------------------------------------------------------------

/// A value of the parameter that is right by itself.
Value valid(const Parameter& parameter) {
    switch (parameter.kind) {
    case Kind::number:
    case Kind::integer:
    case Kind::angle:
    case Kind::flag:
        return std::max(1.0, std::min(parameter.low, parameter.high));
    case Kind::choice:
        return static_cast<double>(parameter.choices.front().value);
    case Kind::levels:
        return Levels(1.0);
    case Kind::factors:
    case Kind::numbers:
    case Kind::bits:
        return std::vector<double>{1};
    case Kind::size:
        return std::vector<double>{9, 9};
    case Kind::kernel:
        return Kernel::box(3);
    case Kind::brush:
        return Brush::disk(1);
    case Kind::diffusion:
        return Diffusion::named("stucki");
    case Kind::element:
        return Element::rect(2, 2);
    case Kind::palette:
        return Palette::gray(2);
    case Kind::mask:
        return Mask::bayer(2);
    case Kind::table:
        return Table{.samples = {0, 1}};
    case Kind::points:
        return std::vector<Point>{{1, 1}};
    case Kind::colours:
        return std::vector<Levels>{Levels(1.0)};
    case Kind::text:
    case Kind::warp:
        return std::string("wave:2:8");
    }
    return 0.0;
}

bool required(const Parameter& parameter) { return parameter.fallback.empty() && !parameter.optional; }

/// What must be given, but for one.
Arguments needed(const Operation& row, const Parameter* but = nullptr) {
    Arguments arguments;
    for (const Parameter& parameter : row.parameters) {
        if (required(parameter) && &parameter != but)
            arguments.push_back({std::string(parameter.name), valid(parameter)});
    }
    return arguments;
}

std::vector<Image> sourcesOf(const Operation& row, const Image& image) { return {row.sources, image}; }

class EveryRow : public testing::TestWithParam<const Operation*> {
protected:
    const Operation& row = *GetParam();
    const Image rgb = image(16, 12, 3);

    void refused(const std::string& message, std::string_view part) const {
        EXPECT_TRUE(message.starts_with(row.name)) << message;
        EXPECT_NE(message.find(part), std::string::npos) << "'" << message << "' lacks '" << part << "'";
    }
    std::string refusalOf(const std::vector<Image>& sources, const Arguments& arguments,
                          const Image& destination = {}) const {
        return refusal(row.name, sources, arguments, destination);
    }
};

TEST_P(EveryRow, RefusesAnotherNumberOfImages) {
    const std::vector<Image> many(std::max(row.sources, row.mostSources) + 1, rgb);
    refused(refusalOf(many, needed(row)), "wanted");
    if (row.sources == 0) return;
    refused(refusalOf({}, needed(row)), "0 images came");
    refused(refusalOf(sourcesOf(row, Image()), needed(row)), "an empty image came");
}

TEST_P(EveryRow, RefusesParametersThatItHasNotOrLacks) {
    Arguments more = needed(row);
    more.push_back({"qqqq", 1.0});
    refused(refusalOf(sourcesOf(row, rgb), more), "there is no parameter 'qqqq'");
    for (const Parameter& parameter : row.parameters) {
        if (required(parameter))
            refused(refusalOf(sourcesOf(row, rgb), needed(row, &parameter)),
                    std::string(parameter.name) + ": it is missing");
    }
}

TEST_P(EveryRow, RefusesValuesOutOfRange) {
    for (const Parameter& parameter : row.parameters) {
        const auto given = [&](double value) {
            Arguments arguments = needed(row, &parameter);
            const bool list = parameter.kind == Kind::factors || parameter.kind == Kind::numbers;
            arguments.push_back({std::string(parameter.name), list ? Value(std::vector<double>{value}) : Value(value)});
            return refusalOf(sourcesOf(row, rgb), arguments);
        };
        if (parameter.kind == Kind::choice) refused(given(999), "stands for no choice");
        if (parameter.low > -1e30) refused(given(parameter.low - 1), " wanted");
        if (parameter.high < 1e30) refused(given(parameter.high * 2 + 1), " wanted");
        if (parameter.low > -1e30) refused(given(std::nan("")), " wanted");
    }
}

TEST_P(EveryRow, RefusesTextsThatCannotBeRead) {
    for (const Parameter& parameter : row.parameters) {
        if (parameter.kind == Kind::text || parameter.kind == Kind::warp) continue;
        Arguments arguments = needed(row, &parameter);
        arguments.push_back({std::string(parameter.name), std::string("no such:thing")});
        refused(refusalOf(sourcesOf(row, rgb), arguments), std::string(parameter.name) + ": ");
    }
}

TEST_P(EveryRow, RefusesTypesThatItDoesNotTake) {
    if (row.sources == 0) return;
    const auto takes = [&](Type type) {
        switch (row.types) {
        case Types::all:
            return true;
        case Types::bytesAndShorts:
            return type != Type::bit;
        default:
            return row.types == (type == Type::bit ? Types::bits : type == Type::byte ? Types::bytes : Types::shorts);
        }
    };
    for (const Type type : {Type::bit, Type::byte, Type::int16}) {
        if (takes(type)) continue;
        refused(refusalOf(sourcesOf(row, image(16, 12, 3, type)), needed(row)), " wanted");
    }
    if (!row.rightUnderShift && takes(Type::int16))
        refused(refusalOf(sourcesOf(row, shifted(3)), needed(row)), "--u16");
    if (!row.encodings.empty())
        refused(refusalOf(sourcesOf(row, tagged(rgb, Encoding::photoYcc)), needed(row)), "photoycc picture came");
}

TEST_P(EveryRow, RefusesImagesThatAreNotAlike) {
    if (!row.alike || row.sources < 2) return;
    for (const Image& other : {image(15, 12, 3), image(16, 11, 3), image(16, 12, 1), image(16, 12, 3, Type::int16)}) {
        std::vector<Image> sources = sourcesOf(row, rgb);
        sources.back() = other;
        refused(refusalOf(sources, needed(row)), "alike");
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryRow, testing::ValuesIn(catalogue().begin(), catalogue().end()),
                         [](const auto& row) { return std::string(row.param->name); });

// The checks that rows have of their own. -----------------------------------------------------------------------------

struct Wrong {
    std::string operation;
    std::vector<Image> sources;
    Arguments arguments;
    std::string part;
    Image destination = {};
};

Argument text(std::string name, std::string value) { return {std::move(name), std::move(value)}; }

Kernel keyOutside() {
    Kernel kernel = Kernel::box(3);
    kernel.keyX = 3;
    return kernel;
}

Kernel withoutWeights() {
    Kernel kernel = Diffusion::named("stucki");
    for (float& tap : kernel.taps) tap = 0;
    return kernel;
}

Element elementOutside() {
    Element element = Element::rect(2, 2);
    element.keyY = 9;
    return element;
}

TEST(Checks, OfEachRow) {
    const Image gray = image(16, 12, 1);
    const Image rgb = image(16, 12, 3);
    const Image two = tagged(image(16, 12, 2), Encoding::other);
    const Image four = tagged(image(16, 12, 4), Encoding::other);
    const Image rgba = image(16, 12, 4);
    const Image bits = image(64, 64, 1, Type::bit);
    const Image shorts = image(16, 12, 3, Type::int16);
    const Image tiny = image(2, 2, 1);
    const Image small = image(5, 5, 1);
    const Kernel short_{.width = 3, .height = 3, .keyX = 1, .keyY = 1, .taps = {1, 2}, .name = {}};
    const Element shortElement{.width = 2, .height = 2, .keyX = 0, .keyY = 0, .members = {1}};
    const std::vector<Levels> many(26, Levels(3.0));
    const std::vector<Wrong> all = {
        {"blend", {gray, rgb, gray}, {}, "alike"},
        {"blend", {rgb, rgb, rgb}, {}, "1 wanted"},
        {"blend", {gray, gray, small}, {}, "16 x 12 wanted"},
        {"convert", {gray}, {text("to", "byte")}, "byte already"},
        {"band_combine", {rgb}, {text("matrix", "1,1,1")}, "rows of 4 wanted"},
        {"band_combine", {rgb}, {text("matrix", "1,1,1,0"), text("bands", "2")}, "1 rows"},
        {"black_generation", {tagged(rgb, Encoding::other)}, {}, "4 wanted"},
        {"and_const", {gray}, {text("value", "256")}, "0 to 255 wanted"},
        {"set_value", {}, {text("value", "1")}, "size"},
        {"set_value", {}, {text("value", "1"), text("size", "0x5")}, "1x1"},
        {"set_value", {}, {text("value", "1,2"), text("size", "5x5")}, "2 values came"},
        {"copy_pattern", {gray}, {text("size", "5x9999999")}, "1x1"},
        {"lookup", {rgb}, {{"table", Table{.bands = 3, .samples = {1, 2, 3}}}}, "images of one band"},
        {"lookup", {gray}, {{"table", Table{.bands = 2, .samples = {1, 2, 3}}}}, "equally long"},
        {"lookup", {gray}, {{"table", Table{}}}, "65536"},
        {"lookup", {gray}, {{"table", Table{.samples = {300}}}}, "300"},
        {"color_convert", {tagged(rgb, Encoding::other)}, {text("to", "cmyk")}, "cannot be told"},
        {"color_convert", {rgb}, {text("to", "y601"), text("from", "y601")}, "already"},
        {"color_convert", {gray}, {text("to", "y601"), text("from", "rgb709")}, "3 wanted"},
        {"convolve", {gray}, {text("kernel", "box:21")}, "21 x 21"},
        {"convolve", {gray}, {{"kernel", short_}}, "do not fill"},
        {"convolve", {gray}, {{"kernel", keyOutside()}}, "key lies outside"},
        {"convolve", {shifted(1)}, {text("kernel", "laplace")}, "--u16"},
        {"convolve", {gray}, {text("kernel", "box:3")}, "shares samples", gray},
        {"edge_detect_sobel", {tiny}, {}, "3 x 3"},
        {"dilate", {tiny}, {text("element", "rect:3")}, "3 x 3"},
        {"dilate", {gray}, {{"element", shortElement}}, "do not fill"},
        {"erode", {gray}, {{"element", elementOutside()}}, "key lies outside"},
        {"affine", {gray}, {text("matrix", "1,0,0,1,0")}, "6 wanted"},
        {"affine", {gray}, {text("matrix", "1,1,1,1,0,0")}, "determinant"},
        {"affine", {gray}, {text("matrix", "9e5,0,0,9e5,0,0"), text("canvas", "fit")}, "would be"},
        {"rotate", {gray}, {text("degrees", "5"), text("center", "1,1;2,2")}, "one X,Y"},
        {"scale", {gray}, {}, "either --by"},
        {"scale", {gray}, {text("by", "2"), text("size", "4x4")}, "either --by"},
        {"scale", {gray}, {text("by", "1,2,3")}, "1 or 2 wanted"},
        {"scale", {gray}, {text("by", "0")}, "above 0"},
        {"scale", {image(200, 2, 1)}, {text("by", "9999")}, "would be"},
        {"scale", {gray}, {text("by", "0.001")}, "nothing would be written"},
        {"translate", {gray}, {text("by", "1")}, "DX,DY wanted"},
        {"subsample", {bits}, {text("by", "2")}, "at most 1"},
        {"subsample", {bits}, {text("by", "1/20")}, "two steps"},
        {"subsample_adaptive", {gray}, {text("by", "2")}, "at most 1"},
        {"table_warp", {gray}, {{"table", gray}}, "2 bands of int16"},
        {"table_warp_h", {gray}, {{"table", Image()}}, "empty image"},
        {"table_warp_v", {gray}, {text("table", "twirl:5")}, "twirl:5"},
        {"histogram", {gray}, {text("range", "9,2")}, "LOW,HIGH"},
        {"histogram", {gray}, {text("skip", "1.5,1")}, "whole numbers"},
        {"histogram", {gray}, {text("skip", "1")}, "two numbers"},
        {"histogram", {rgb}, {text("bins", "4096"), text("joint", "yes")}, "too many counters"},
        {"squeeze_range", {rgb}, {}, "1 wanted"},
        {"fill", {gray}, {text("seed", "16,0"), text("boundary", "0"), text("value", "1")}, "outside"},
        {"fill", {gray}, {text("seed", "1,1;2,2"), text("boundary", "0"), text("value", "1")}, "2 points came"},
        {"soft_fill",
         {image(16, 12, 26)},
         {text("seed", "1,1"), text("foreground", "0"), text("backgrounds", "1"), text("value", "1")},
         "at most 25"},
        {"soft_fill",
         {gray},
         {text("seed", "1,1"), text("foreground", "0"), {"backgrounds", many}, text("value", "1")},
         "1 to 25"},
        {"paint", {gray}, {{"brush", Kernel{}}, text("value", "1"), text("at", "1,1")}, "no weights"},
        {"paint", {gray}, {{"brush", Kernel::sharpen()}, text("value", "1"), text("at", "1,1")}, "from 0 to 1"},
        {"paint", {gray}, {text("brush", "disk:2"), text("value", "300"), text("at", "1,1")}, "does not fit"},
        {"paint", {gray}, {text("brush", "disk:2"), text("value", "3"), {"at", std::vector<Point>{}}}, "no points"},
        {"nearest_color", {two}, {text("palette", "bw")}, "1 or 3 wanted"},
        {"nearest_color", {gray}, {text("palette", "cube:2")}, "one band"},
        {"nearest_color", {gray}, {{"palette", Palette{}}}, "no colours"},
        {"nearest_color", {gray}, {text("palette", "gray:4"), text("to", "bit")}, "at most 2"},
        {"nearest_color", {rgba}, {text("palette", "cube:2")}, "--background"},
        {"nearest_color", {shorts}, {text("palette", "choose:4")}, "pictures of bytes"},
        {"ordered_dither", {rgb}, {text("palette", "gray:4")}, "cube of colours"},
        {"ordered_dither", {gray}, {{"palette", Palette{.colours = {{1, 1, 1}}, .cube = {}}}}, "steps of gray"},
        {"ordered_dither", {gray}, {text("palette", "bw"), {"mask", Mask{}}}, "no thresholds"},
        {"ordered_dither", {gray}, {text("palette", "bw"), text("mask", "dot:150lpi:45deg")}, "resolution"},
        {"error_diffusion", {gray}, {text("palette", "bw"), {"kernel", Kernel::box(3)}}, "still to come"},
        {"error_diffusion", {gray}, {text("palette", "bw"), {"kernel", keyOutside()}}, "key lies outside"},
        {"error_diffusion", {gray}, {text("palette", "bw"), {"kernel", withoutWeights()}}, "no weights"},
        {"error_diffusion", {gray}, {text("palette", "bw"), text("kernel", "atkinson")}, "three quarters"},
        {"choose_colormap", {gray}, {}, "3 wanted"},
        {"gray", {tagged(rgb, Encoding::photoYcc)}, {}, "rgb wanted"},
        {"resize", {gray}, {}, "one of --by"},
        {"resize", {gray}, {text("dpi", "300")}, "resolution"},
        {"resize", {gray}, {text("by", "1e7")}, "would be"},
        {"binarize", {rgba}, {}, "--background"},
        {"binarize", {four}, {}, "gray or rgb"},
        {"binarize", {gray}, {text("level", "1,2,3")}, "one level"},
        {"bucket", {gray}, {text("at", "16,1"), text("value", "1")}, "inside the picture"},
        {"join", {rgb, rgb}, {}, "1 wanted"},
        {"join", {gray, gray}, {}, "2 wanted", rgb},
        {"not", {gray}, {}, "wanted", rgb},
    };
    for (const Wrong& wrong : all) {
        const std::string message = refusal(wrong.operation, wrong.sources, wrong.arguments, wrong.destination);
        EXPECT_TRUE(message.starts_with(wrong.operation + ": ")) << wrong.operation << ": " << message;
        EXPECT_NE(message.find(wrong.part), std::string::npos) << "'" << message << "' lacks '" << wrong.part << "'";
    }
}

} // namespace
} // namespace orv
