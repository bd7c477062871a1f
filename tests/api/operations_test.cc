// The typed functions: that each is there in its forms, says what apply() says, and makes no image where it is given
// one.

#include <cstdlib>
#include <dlfcn.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orv/orv.h"
#include "pictures.h"

namespace {

/// How often room for samples was asked for; images get theirs from posix_memalign alone.
int imagesMade = 0;

} // namespace

// Visible, so that the library calls it.
extern "C" __attribute__((visibility("default"))) int posix_memalign(void** place, std::size_t alignment,
                                                                     std::size_t size) noexcept {
    using Allocate = int (*)(void**, std::size_t, std::size_t);
    static const auto next = reinterpret_cast<Allocate>(dlsym(RTLD_NEXT, "posix_memalign"));
    ++imagesMade;
    return next(place, alignment, size);
}

namespace orv {
namespace {

std::vector<std::string>& notices() {
    static std::vector<std::string> all;
    return all;
}

Session& session() {
    static Session one({.notices = [](std::string_view line) { notices().emplace_back(line); }});
    return one;
}

Image pattern(unsigned width, unsigned height, unsigned bands, Type type = Type::byte) {
    Image image(session(), width, height, bands, type);
    unsigned seed = 4711;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            for (unsigned b = 0; b < bands; ++b) {
                seed = seed * 1664525U + 1013904223U;
                image.setSample(x, y, b, static_cast<int>(seed >> 24 & (type == Type::bit ? 1U : 255U)));
            }
        }
    }
    return image;
}

Image applied(std::string_view operation, std::vector<Image> sources, const Arguments& arguments = {}) {
    return session().apply(operation, sources, arguments).image;
}

TEST(Typed, SayWhatTheCallByNameSays) {
    const Image a = pattern(20, 14, 3);
    const Image b = pattern(20, 14, 3);
    EXPECT_TRUE(same(session().add(a, b), applied("add", {a, b})));
    EXPECT_TRUE(same(session().not_(a), applied("not", {a})));
    EXPECT_TRUE(same(
        session().convolve(a, {.kernel = Kernel::gaussian(5, 1), .edge = Edge::zero, .round = true}),
        applied("convolve", {a}, {{"kernel", Kernel::gaussian(5, 1)}, {"edge", std::string("zero")}, {"round", 1.0}})));
    EXPECT_TRUE(
        same(session().rotate(a, {.degrees = 20, .canvas = Canvas::fit, .background = {1, 2, 3}}),
             applied("rotate", {a},
                     {{"degrees", 20.0}, {"canvas", std::string("fit")}, {"background", std::string("1,2,3")}})));
    EXPECT_TRUE(same(session().add_const(a, {.value = 7}), session().add_const(a, {.value = {7, 7, 7}})));
    EXPECT_TRUE(same(session().set_value({.value = Levels::parse("#102030"), .size = {4, 3}}),
                     applied("set_value", {}, {{"value", std::string("#102030")}, {"size", std::string("4x3")}})));
    EXPECT_TRUE(same(session().join(session().split(a)), a));
    EXPECT_TRUE(same(session().table_warp_h(a, {.table = std::string("wave:2:8")}),
                     applied("table_warp_h", {a}, {{"table", std::string("wave:2:8")}})));
    EXPECT_TRUE(same(
        session().paint(a, {.brush = Brush::disk(2), .value = {9, 8, 7}, .at = {{3, 4}, {10, 9}}}),
        applied("paint", {a},
                {{"brush", std::string("disk:2")}, {"value", std::string("9,8,7")}, {"at", std::string("3,4;10,9")}})));
    EXPECT_EQ(session().error_diffusion(a, {.palette = Palette::cubeOf(2, 2, 2)}).tags().palette.size(), 8U);
}

TEST(Typed, GiveWhatTheyMeasureAsValues) {
    const Image a = pattern(20, 14, 1);
    const Measurements found = session().extrema(a);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_LT(found["min"].front(), found["max"].front());
    EXPECT_THROW(static_cast<void>(found["mean"]), Error);
    double counted = 0;
    for (const double count : session().histogram(a)["gray"]) counted += count;
    EXPECT_EQ(counted, 20 * 14);
    double inside = 0;
    for (const double count : session().histogram(a, {.roi = {{2, 3, 5, 4}}})["gray"]) inside += count;
    EXPECT_EQ(inside, 20);
    EXPECT_EQ(session().choose_colormap(pattern(20, 14, 3), {.colors = 5}).colours.size(), 5U);
    EXPECT_FALSE(session().squeeze_range(a).samples.empty());
}

TEST(Typed, MakeNoImageWhereOneIsGiven) {
    const Image a = pattern(300, 200, 3);
    const Image b = pattern(300, 200, 3);
    const Image whole = session().convolve(a, {.kernel = Kernel::box(5)});
    const Image into(session(), 300, 200, 3, Type::byte);
    imagesMade = 0;
    session().convolve(a, into, {.kernel = Kernel::box(5)});
    session().add(a, b, into);
    session().dilate(a, into, {.element = Element::disk(1)});
    session().affine(a, into, {.matrix = {1, 0, 0.1, 1, 0, 0}});
    EXPECT_EQ(imagesMade, 0);
    session().convolve(a, into, {.kernel = Kernel::box(5)});
    EXPECT_TRUE(same(into, whole));
    session().convolve(a, {.kernel = Kernel::box(5)});
    EXPECT_EQ(imagesMade, 1);
}

TEST(Typed, WriteTheRectanglesAlone) {
    const Image a = pattern(12, 9, 1);
    const Image into(session(), 12, 9, 1, Type::byte);
    const std::vector<Rectangle> lanes = {{0, 1, 12, 1}, {0, 5, 12, 2}};
    session().not_(a, into, {.roi = lanes});
    for (unsigned y = 0; y < 9; ++y) {
        const bool written = y == 1 || y == 5 || y == 6;
        for (unsigned x = 0; x < 12; ++x) EXPECT_EQ(into.sample(x, y), written ? 255 - a.sample(x, y) : 0);
    }
}

TEST(Typed, WorkOnTheCallersMemory) {
    // Two bands beside what belongs to somebody else, rows apart.
    std::vector<std::uint8_t> memory(std::size_t{10} * 64, 77);
    const Image view = Image::view(session(), 5, 10, 2, Type::byte,
                                   {.data = reinterpret_cast<std::byte*>(memory.data()), .stride = 64, .pixel = 3});
    session().set_value(view, {.value = {std::vector<double>{1, 2}}});
    for (std::size_t i = 0; i < memory.size(); ++i) {
        const std::size_t x = i % 64;
        const bool sample = x < 15 && x % 3 < 2;
        EXPECT_EQ(memory[i], sample ? x % 3 + 1 : 77) << i;
    }
}

TEST(Typed, RefuseByThrowingOrByAStatus) {
    const Image a = pattern(12, 9, 1);
    try {
        session().rotate(a, {});
        FAIL() << "an angle must be given";
    } catch (const Error& error) {
        EXPECT_EQ(error.op(), "rotate");
        EXPECT_EQ(error.id(), "");
        EXPECT_NE(std::string(error.what()).find("degrees: it is missing"), std::string::npos) << error.what();
    }
    EXPECT_THROW(session().not_(a, Image()), Error);
    const Outcome<Image> good = session().try_not(a);
    ASSERT_TRUE(good);
    EXPECT_TRUE(same(good.value, session().not_(a)));
    EXPECT_TRUE(good.status.op().empty());
    const Status bad = session().try_convolve(a, pattern(3, 3, 1), {.kernel = Kernel::box(3)});
    EXPECT_FALSE(bad);
    EXPECT_EQ(bad.op(), "convolve");
    EXPECT_NE(std::string(bad.what()).find("destination"), std::string::npos) << bad.what();
    EXPECT_FALSE(session().try_extrema(Image()));
    EXPECT_TRUE(session().try_choose_colormap(pattern(9, 9, 3)));
}

TEST(Typed, TellWarningsAndNotes) {
    notices().clear();
    const Image a = pattern(4, 4, 1);
    const Image zero(session(), 4, 4, 1, Type::byte);
    session().divide(a, zero);
    ASSERT_EQ(notices().size(), 1U);
    EXPECT_TRUE(notices().front().starts_with("divide: warning: ")) << notices().front();
    notices().clear();
    const Image indices = session().quantize(pattern(9, 9, 3), {.colors = 4});
    session().add_const(indices, {.value = 1});
    EXPECT_EQ(notices(), std::vector<std::string>{"add_const: note: the palette picture became rgb"});
}

} // namespace
} // namespace orv
