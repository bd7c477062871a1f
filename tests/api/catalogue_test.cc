// The public API on small pictures: what is kept, what is refused, and that recipes and fused chains change nothing.

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "orv/orv.h"
#include "pictures.h"

namespace orv {
namespace {

Session& session() {
    static Session one;
    return one;
}

Image flat(unsigned size, unsigned bands, int level) {
    Image image(session(), size, size, bands, Type::byte);
    for (unsigned y = 0; y < size; ++y) {
        for (unsigned x = 0; x < size; ++x) {
            for (unsigned b = 0; b < bands; ++b) image.setSample(x, y, b, level);
        }
    }
    return image;
}

Image pattern(unsigned width, unsigned height, unsigned bands, Type type) {
    Image image(session(), width, height, bands, type);
    unsigned seed = 12345;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            for (unsigned b = 0; b < bands; ++b) {
                seed = seed * 1664525U + 1013904223U;
                const auto value = static_cast<int>(seed >> 16);
                image.setSample(x, y, b,
                                type == Type::bit    ? value & 1
                                : type == Type::byte ? value & 255
                                                     : value - 32768);
            }
        }
    }
    return image;
}

Image made(std::string_view operation, std::vector<Image> sources, const Arguments& arguments = {}) {
    return session().apply(operation, sources, arguments).image;
}

std::string refusal(std::string_view operation, std::vector<Image> sources, const Arguments& arguments = {},
                    const CallOptions& options = {}) {
    try {
        session().apply(operation, sources, arguments, options);
    } catch (const Error& error) {
        EXPECT_TRUE(error.id().empty()) << "the device was called: " << error.what();
        return error.what();
    }
    return {};
}

Argument text(std::string name, std::string value) { return {std::move(name), std::move(value)}; }

TEST(Catalogue, RowsAreWhole) {
    std::set<std::string_view> names;
    for (const Operation* row : catalogue()) {
        EXPECT_TRUE(names.insert(row->name).second) << row->name;
        EXPECT_FALSE(row->help.empty()) << row->name;
        EXPECT_TRUE(row->example.starts_with("orv ")) << row->name;
        EXPECT_NE(row->prepare == nullptr, row->body == nullptr) << row->name;
        for (const Parameter& p : row->parameters) {
            EXPECT_FALSE(p.help.empty()) << row->name << " " << p.name;
            if (p.fallback.empty()) continue;
            EXPECT_NO_THROW(checkText(*row, p, std::string(p.fallback))) << row->name << " " << p.name;
        }
    }
}

TEST(Catalogue, RowsSayHowTheyWorkOnBlocks) {
    for (const Operation* row : catalogue()) {
        const Blocks& blocks = row->blocks;
        EXPECT_EQ(blocks.why.empty(), blocks.reach != Reach::picture && blocks.unless.empty()) << row->name;
        EXPECT_EQ(blocks.margin > 0, blocks.reach == Reach::window) << row->name;
        for (const std::string_view parameter : {blocks.parameter, blocks.unless}) {
            EXPECT_TRUE(parameter.empty() || std::ranges::count(row->parameters, parameter, &Parameter::name) == 1)
                << row->name << " " << parameter;
        }
    }
}

TEST(Kernels, FlatAreasStayFlat) {
    for (const char* kernel :
         {"gaussian:3:0.8", "gaussian:5:1.0", "gaussian:7:1.7", "box:3", "box:5", "box:7x3", "sharpen"}) {
        for (int level = 0; level < 256; ++level) {
            const Image image = flat(9, 1, level);
            EXPECT_TRUE(same(made("convolve", {image}, {text("kernel", kernel)}), image)) << kernel << " " << level;
        }
    }
}

TEST(Interpolation, FlatAreasStayFlat) {
    for (const char* filter : {"catmull-rom", "mitchell", "lanczos2", "lanczos3", "triangle"}) {
        for (int level = 0; level < 256; level += 15) {
            const Image large = made("scale", {flat(24, 1, level)},
                                     {text("by", "1.7"), text("interpolation", "general"), text("filter", filter)});
            EXPECT_TRUE(same(large, flat(large.width(), 1, level))) << filter << " " << level;
        }
    }
}

TEST(Dither, WhiteStaysWhiteAndBlackBlack) {
    for (const char* mask : {"bayer:2", "bayer:4", "bayer:8", "bayer:16", "dot:6:45deg"}) {
        for (int levels = 2; levels <= 9; ++levels) {
            const Argument palette = text("palette", "gray:" + std::to_string(levels));
            const Arguments arguments{palette, text("mask", mask), text("to", "byte")};
            EXPECT_TRUE(same(made("ordered_dither", {flat(16, 1, 255)}, arguments), flat(16, 1, levels - 1))) << mask;
            EXPECT_TRUE(same(made("ordered_dither", {flat(16, 1, 0)}, arguments), flat(16, 1, 0))) << mask;
        }
    }
}

TEST(Palettes, AreRedGreenBlue) {
    Image red = flat(4, 3, 0);
    for (unsigned y = 0; y < 4; ++y) {
        for (unsigned x = 0; x < 4; ++x) red.setSample(x, y, 2, 255);
    }
    Palette palette;
    palette.colours = {{0, 0, 255, 255}, {255, 0, 0, 255}};
    for (const char* operation : {"nearest_color", "error_diffusion"}) {
        const Image result = made(operation, {red}, {{"palette", palette}});
        EXPECT_EQ(result.encoding(), Encoding::palette);
        EXPECT_EQ(result.tags().palette, palette.colours);
        EXPECT_EQ(result.sample(1, 1), 1);
    }
    const Image cube = made("ordered_dither", {red}, {text("palette", "cube:2x3x4")});
    EXPECT_EQ(cube.tags().palette.at(static_cast<std::size_t>(cube.sample(0, 0))), (PaletteEntry{255, 0, 0, 255}));
    EXPECT_TRUE(same(made("copy", {made("add_const", {cube}, {text("value", "0")})}), red));
}

TEST(Geometry, QuarterTurnsAreTransposes) {
    const Image image = pattern(13, 8, 3, Type::byte);
    const Image turned = made("transpose", {image}, {text("flip", "90")});
    EXPECT_TRUE(same(made("rotate_fit", {image}, {text("degrees", "90")}), turned));
    EXPECT_TRUE(
        same(made("rotate", {image}, {text("degrees", "90"), text("interpolation", "nearest"), text("canvas", "fit")}),
             turned));
}

TEST(Geometry, EveryPixelIsCovered) {
    const Image image = flat(12, 3, 200);
    for (const char* by : {"2", "0.5", "1.3", "0.7"}) {
        for (const char* way : {"nearest", "bilinear", "bicubic", "general"}) {
            const Image result = made("scale", {image}, {text("by", by), text("interpolation", way)});
            EXPECT_TRUE(same(result, flat(result.width(), 3, 200))) << by << " " << way;
        }
    }
}

/// The same picture with its colours in the other order of memory.
Image otherOrder(const Image& picture) {
    Image made(session(), picture.width(), picture.height(), picture.bands(), picture.type());
    made.tags() = picture.tags();
    made.tags().order = picture.tags().order == ColourOrder::bgr ? ColourOrder::rgb : ColourOrder::bgr;
    for (unsigned y = 0; y < picture.height(); ++y) {
        for (unsigned x = 0; x < picture.width(); ++x) {
            for (unsigned b = 0; b < picture.bands(); ++b)
                made.setSample(x, y, b < 3 ? 2 - b : b, picture.sample(x, y, b));
        }
    }
    return made;
}

bool sameColours(const Image& a, const Image& b) {
    return same(a, a.tags().order == b.tags().order ? b : otherOrder(b));
}

TEST(Order, OfMemoryChangesNoResult) {
    for (const unsigned bands : {3U, 4U}) {
        const Image bgr = pattern(13, 9, bands, Type::byte);
        const Image rgb = otherOrder(bgr);
        const std::vector<std::pair<std::string, Arguments>> calls = {
            {"add_const", {text("value", "1,20,60")}},
            {"gray", {}},
            {"color_convert", {text("to", "photoycc"), text("from", "rgb709")}},
            {"threshold", {text("low", "20,0,100"), text("high", "99,50,200"), text("map", "#ff8000")}},
            {"rotate", {text("degrees", "20"), text("background", "#102030")}},
        };
        for (const auto& [operation, arguments] : calls) {
            SCOPED_TRACE(operation);
            EXPECT_TRUE(sameColours(made(operation, {bgr}, arguments), made(operation, {rgb}, arguments)));
        }
    }
}

TEST(Order, ADestinationKeepsItsOwn) {
    const Image source = pattern(13, 9, 3, Type::byte);
    const Arguments arguments = {text("value", "1,20,60")};
    const Image expected = made("add_const", {source}, arguments);
    Image destination = otherOrder(source);
    const Result result = session().apply("add_const", std::span(&source, 1), arguments, {.destination = destination});
    EXPECT_EQ(destination.tags().order, ColourOrder::rgb);
    EXPECT_EQ(result.image.pixels().data, destination.pixels().data);
    EXPECT_TRUE(same(expected, otherOrder(destination)));
}

TEST(Order, PalettesOfTablesAreRedGreenBlue) {
    Image indices = flat(4, 1, 1);
    const Image colours = made("lookup", {indices}, {{"table", Table{.bands = 3, .samples = {0, 0, 0, 10, 20, 30}}}});
    ASSERT_EQ(colours.encoding(), Encoding::rgb);
    EXPECT_EQ(colours.sample(1, 1, 0), 30);
    EXPECT_EQ(colours.sample(1, 1, 2), 10);
}

TEST(Alpha, IsCarriedMultipliedOrRefused) {
    Image image = pattern(8, 8, 4, Type::byte);
    const Image inverted = made("not", {image});
    EXPECT_EQ(inverted.encoding(), Encoding::rgba);
    EXPECT_EQ(inverted.sample(3, 3, 3), image.sample(3, 3, 3));
    EXPECT_EQ(inverted.sample(3, 3, 0), 255 - image.sample(3, 3, 0));
    EXPECT_NE(refusal("nearest_color", {image}, {text("palette", "bw")}).find("--background"), std::string::npos);
    EXPECT_EQ(made("nearest_color", {image}, {text("palette", "cube:2"), text("alpha", "drop")}).bands(), 1U);
    EXPECT_EQ(made("nearest_color", {image}, {text("palette", "cube:2"), text("background", "white")}).bands(), 1U);
    // Colours that are not seen do not bleed into those that are.
    for (unsigned x = 0; x < 8; ++x) {
        for (unsigned y = 0; y < 8; ++y) {
            for (unsigned b = 0; b < 3; ++b) image.setSample(x, y, b, x < 4 ? 0 : 255);
            image.setSample(x, y, 3, x < 4 ? 0 : 255);
        }
    }
    const Image soft = made("convolve", {image}, {text("kernel", "box:3")});
    EXPECT_EQ(soft.sample(4, 4, 0), 255);
    EXPECT_LT(soft.sample(4, 4, 3), 255);
}

TEST(Alpha, CanvasOfMovedPicturesIsTransparentUnlessAColourIsGiven) {
    Image image = pattern(8, 8, 4, Type::byte);
    for (const int opacity : {255, 100}) {
        for (unsigned y = 0; y < 8; ++y) {
            for (unsigned x = 0; x < 8; ++x) image.setSample(x, y, 3, opacity);
        }
        const auto corner = [&](std::string_view operation, const Arguments& arguments) {
            const Image moved = made(operation, {image}, arguments);
            return std::array{moved.sample(0, 0, 0), moved.sample(0, 0, 1), moved.sample(0, 0, 2),
                              moved.sample(0, 0, 3)};
        };
        for (const std::string way : {"nearest", "bilinear"}) {
            const Arguments turn = {text("degrees", "45"), text("canvas", "fit"), text("interpolation", way)};
            EXPECT_EQ(corner("rotate", turn), (std::array{0, 0, 0, 0}));
            EXPECT_EQ(corner("rotate_fit", {text("degrees", "45"), text("interpolation", way)}),
                      (std::array{0, 0, 0, 0}));
            const auto over = [&](const std::string& colour) {
                Arguments all = turn;
                all.push_back(text("background", colour));
                return corner("rotate", all);
            };
            EXPECT_EQ(over("black"), (std::array{0, 0, 0, 255}));
            EXPECT_EQ(over("30,20,10"), (std::array{10, 20, 30, 255}));
            EXPECT_EQ(over("200,100,50,51"), (std::array{50, 100, 200, 51}));
        }
    }
}

TEST(Recipes, BecomeOperations) {
    const Image image = pattern(12, 9, 3, Type::byte);
    const Image bands[] = {image};
    const Result parts = session().apply("split", bands);
    ASSERT_EQ(parts.images.size(), 3U);
    EXPECT_TRUE(same(made("join", parts.images), image));
    EXPECT_TRUE(same(made("depth", {made("depth", {image}, {text("to", "int16")})}, {text("to", "byte")}), image));
    EXPECT_FALSE(session().apply("halftone", bands).explained.empty());
    const Image filled = made("bucket", {flat(6, 3, 40)}, {text("at", "2,3"), text("value", "70")});
    EXPECT_TRUE(same(filled, flat(6, 3, 70)));
}

TEST(Pipelines, FusedChainsGiveTheSame) {
    const Image a = pattern(16, 9, 3, Type::byte);
    const Image b = pattern(16, 9, 3, Type::byte);
    const Image sources[] = {a, b};
    std::array<Image, 2> results;
    for (const Fuse way : {Fuse::exact, Fuse::off}) {
        Pipeline pipeline(session());
        pipeline.then("multiply", {}, {"@2"}).then("add", {}, {"@2"}).fuse(way);
        const Result result = pipeline.run(sources);
        EXPECT_EQ(result.explained.size(), way == Fuse::off ? 2U : 1U);
        results[way == Fuse::off ? 1 : 0] = result.image;
    }
    EXPECT_TRUE(same(results[0], results[1]));
}

TEST(Checks, RefuseBeforeTheDevice) {
    const Image gray = pattern(10, 8, 1, Type::byte);
    const Image rgb = pattern(10, 8, 3, Type::byte);
    const auto refused = [](const std::string& message, std::string_view part) {
        EXPECT_NE(message.find(part), std::string::npos) << "'" << message << "' lacks '" << part << "'";
    };
    refused(refusal("add", {gray}), "2 wanted");
    refused(refusal("add", {gray, rgb}), "must be alike");
    refused(refusal("convolve", {gray}, {text("kernel", "box:9")}), "9 x 9");
    refused(refusal("convolve", {gray}), "missing");
    refused(refusal("convolve", {gray}, {text("kernel", "box:3"), text("edg", "zero")}), "did you mean 'edge'");
    refused(refusal("affine", {gray}, {text("matrix", "1,1,1,1,0,0")}), "determinant");
    refused(refusal("affine", {gray}, {text("matrix", "1,1")}), "6 wanted");
    refused(refusal("scale", {gray}), "--by");
    refused(refusal("scale", {gray}, {text("by", "0.001")}), "nothing would be written");
    refused(refusal("subsample", {gray}, {text("by", "0.5")}), "bit wanted");
    refused(refusal("subsample", {pattern(64, 64, 1, Type::bit)}, {text("by", "1/20")}), "two steps");
    refused(refusal("subsample_adaptive", {gray}, {text("by", "2")}), "at most 1");
    refused(refusal("transpose", {gray}, {{"flip", 7.0}}), "no choice");
    refused(refusal("table_warp", {gray}, {{"table", gray}}), "2 bands of int16");
    refused(refusal("ordered_dither", {rgb}, {text("palette", "gray:4")}), "cube");
    refused(refusal("nearest_color", {gray}, {text("palette", "cube:2")}), "one band");
    refused(refusal("error_diffusion", {gray}, {text("palette", "bw"), text("kernel", "atkinson")}), "three quarters");
    refused(refusal("error_diffusion", {gray}, {text("palette", "bw"), {"kernel", Kernel::box(3)}}), "still to come");
    refused(refusal("choose_colormap", {gray}), "3 wanted");
    refused(refusal("histogram", {gray}, {text("skip", "0,1")}), "1 to");
    refused(refusal("squeeze_range", {rgb}), "1 wanted");
    refused(refusal("fill", {gray}, {text("seed", "10,0"), text("boundary", "0"), text("value", "1")}), "outside");
    refused(refusal("soft_fill", {gray},
                    {text("seed", "-1,0"), text("foreground", "0"), text("backgrounds", "1"), text("value", "1")}),
            "outside");
    const std::vector<Levels> many(26, Levels(3.0));
    refused(refusal("soft_fill", {gray},
                    {text("seed", "1,0"), text("foreground", "0"), {"backgrounds", many}, text("value", "1")}),
            "1 to 25");
    refused(refusal("paint", {gray}, {{"brush", Kernel::sharpen()}, text("value", "1"), text("at", "1,1")}),
            "from 0 to 1");
    refused(refusal("paint", {gray}, {text("brush", "disk:2"), text("value", "300"), text("at", "1,1")}),
            "does not fit");
    refused(refusal("convolve", {gray}, {text("kernel", "box:3")}, {.destination = gray}), "shares samples");
    refused(refusal("not", {gray}, {}, {.destination = rgb}), "destination");
    refused(refusal("resize", {gray}, {text("dpi", "300")}), "resolution");
    Image shifted = pattern(6, 6, 1, Type::int16);
    shifted.tags().sixteen = Sixteen::shifted;
    refused(refusal("multiply", {shifted, shifted}), "--u16");
}

} // namespace
} // namespace orv
