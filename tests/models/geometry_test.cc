// The affine family against its model, on random geometry.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>

#include "models/geometry_model.h"
#include "replay/CaseText.h"
#include "replay/Runner.h"
#include "support/ModelKit.h"

namespace {

using namespace geometrymodel;
using orvcase::Case;
using orvcase::Param;

constexpr const char* suffixes[] = {"nearest", "bilinear", "bicubic", "general"};

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    int integer(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }
    float real(float low, float high) { return std::uniform_real_distribution<float>(low, high)(engine_); }
    bool oneIn(int n) { return integer(1, n) == 1; }
    template <class T>
    T pick(std::initializer_list<T> values) {
        return values.begin()[integer(0, static_cast<int>(values.size()) - 1)];
    }

private:
    std::mt19937 engine_;
};

double sample(Random& random, OrvDataType type) {
    switch (type) {
    case ORV_BIT:
        return random.integer(0, 1);
    case ORV_BYTE:
        return random.oneIn(4) ? random.pick({0, 255}) : random.integer(0, 255);
    default:
        return random.oneIn(4) ? random.pick({-32768, 32767}) : random.integer(-32768, 32767);
    }
}

Region region(Random& random, const Image& image) {
    Region rects;
    const int w = static_cast<int>(image.width);
    const int h = static_cast<int>(image.height);
    for (int i = random.integer(1, 3); i > 0; --i) {
        rects.push_back(
            {random.integer(-2, w - 1), random.integer(-2, h - 1), random.integer(1, w + 2), random.integer(1, h + 2)});
    }
    return rects;
}

Image picture(Random& random, const char* name, OrvDataType type, unsigned bands, int most) {
    Image image{.name = name, .type = type, .bands = bands};
    image.width = static_cast<unsigned>(random.integer(1, most));
    image.height = static_cast<unsigned>(random.integer(1, most));
    if (type == ORV_BIT) {
        image.offset = static_cast<unsigned>(random.integer(0, 7));
        image.stride = (image.offset + image.width + 7) / 8 + static_cast<unsigned>(random.integer(0, 2));
        image.bandStride = *image.stride * image.height + static_cast<unsigned>(random.integer(0, 3));
    } else {
        image.pixelStride = bands + static_cast<unsigned>(random.oneIn(2) ? random.integer(0, 2) : 0);
        image.stride = image.width * *image.pixelStride + static_cast<unsigned>(random.integer(0, 3));
    }
    if (random.oneIn(2)) {
        image.originX = static_cast<float>(random.integer(-20, 20)) / (random.oneIn(2) ? 10.0F : 1.0F);
        image.originY = static_cast<float>(random.integer(-20, 20)) / (random.oneIn(2) ? 10.0F : 1.0F);
    }
    if (random.oneIn(3)) image.roi = region(random, image);
    for (std::size_t i = 0; i < image.sampleCount(); ++i) image.data.push_back(sample(random, type));
    return image;
}

/// Runs of equal bits, so that interpolation meets edges and flat parts.
void smear(Random& random, Image& image) {
    for (double& v : image.data) v = random.oneIn(4) ? 1 - v : v;
    for (std::size_t i = 1; i < image.data.size(); ++i) {
        if (!random.oneIn(3)) image.data[i] = image.data[i - 1];
    }
}

orvcase::Interp interp(Random& random, const char* name) {
    orvcase::Interp table{.name = name};
    table.size = static_cast<unsigned>(random.integer(1, 6));
    table.subsamples = static_cast<unsigned>(random.integer(1, 9));
    for (unsigned i = 0; i < table.size * table.subsamples; ++i) {
        table.data.push_back(static_cast<double>(random.real(-0.4F, 1.0F)));
    }
    return table;
}

Weights weights(const orvcase::Interp& table) {
    Weights w{table.size, table.subsamples, {}};
    for (const double v : table.data) w.data.push_back(static_cast<float>(v));
    return w;
}

/// Every build and storage policy answers as expected; the whole case is printed where one does not.
void check(const Case& c) {
    for (const std::string& build : orvmodel::testedBuilds()) {
        for (const orvcase::Storage storage : orvcase::allStorages()) {
            const orvcase::Outcome outcome = orvcase::runCase(c, {.build = build, .storage = storage});
            if (outcome.passed()) continue;
            FAIL() << build << ", " << orvcase::storageName(storage) << ": " << outcome.mismatches.front().text << '\n'
                   << orvcase::writeCase(c);
        }
    }
}

void expectImage(Case& c, const std::vector<double>& values, std::optional<Region> touched) {
    orvcase::Call& call = std::get<orvcase::Call>(c.steps.front());
    call.expect.out = {{.image = "d", .values = {values.begin(), values.end()}}};
    call.expect.touched = {{.image = "d", .region = std::move(touched)}};
}

struct Transform {
    std::string name;
    std::array<float, 6> p;
    std::vector<Param> params;
};

float factor(Random& random) {
    if (random.oneIn(3)) return random.pick({0.25F, 0.5F, 1.0F, 1.5F, 2.0F, 3.0F, -1.0F, -0.5F});
    return random.real(0.2F, 2.5F) * random.pick({1.0F, 1.0F, -1.0F});
}

/// A transform whose image lies about a destination of the sizes used here.
Transform transform(Random& random, Case& c) {
    switch (random.integer(0, 4)) {
    case 0: {
        const float angle =
            random.oneIn(3) ? static_cast<float>(random.integer(-4, 4)) * 1.5707964F : random.real(-3.2F, 3.2F);
        const float cosine = static_cast<float>(std::cos(static_cast<double>(angle)));
        const float sine = static_cast<float>(std::sin(static_cast<double>(angle)));
        return {"rotate", {cosine, -sine, sine, cosine, 0, 0}, {Param::f(angle)}};
    }
    case 1: {
        const float sx = factor(random);
        const float sy = factor(random);
        return {"scale", {sx, 0, 0, sy, 0, 0}, {Param::f(sx), Param::f(sy)}};
    }
    case 2: {
        const float tx = random.oneIn(2) ? static_cast<float>(random.integer(-8, 8)) / 4 : random.real(-6, 6);
        const float ty = random.oneIn(2) ? static_cast<float>(random.integer(-8, 8)) / 4 : random.real(-6, 6);
        return {"translate", {1, 0, 0, 1, tx, ty}, {Param::f(tx), Param::f(ty)}};
    }
    default: {
        const float angle = random.real(-3.2F, 3.2F);
        const float sx = factor(random);
        const float sy = factor(random);
        const float shear = random.oneIn(3) ? random.real(-1, 1) : 0;
        std::array<float, 6> p{std::cos(angle) * sx, -std::sin(angle) * sx, std::sin(angle) * sy + shear,
                               std::cos(angle) * sy, random.real(-5, 25),   random.real(-5, 25)};
        if (random.oneIn(5)) p = {0, 1, 1, 0, 0, 0};
        c.floats = {{.name = "m", .data = {p.begin(), p.end()}}};
        return {"affine", p, {Param::ref("m")}};
    }
    }
}

std::string digits(OrvDataType type) { return type == ORV_BIT ? "1" : type == ORV_BYTE ? "8" : "16"; }

/// The most pixels of a side, of the source and of the destination.
struct Sizes {
    int source;
    int destination;
};

void engineRound(unsigned seed, std::initializer_list<OrvDataType> types, Sizes usual, Sizes large) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Random random(seed);
    const OrvDataType type = random.pick(types);
    const unsigned bands = static_cast<unsigned>(random.integer(1, 5));
    const int kind = random.integer(0, 3);
    Case c{.name = "geometry"};
    const Sizes& sizes = random.oneIn(6) ? large : usual;
    c.images = {picture(random, "s", type, bands, sizes.source), picture(random, "d", type, bands, sizes.destination)};
    if (random.oneIn(2)) c.images[0].roi.reset();
    c.images[1].io = random.oneIn(2);
    if (type == ORV_BIT) smear(random, c.images[0]);
    const Transform t = transform(random, c);
    if (fastPath(t.name, t.p, type, kind)) return;
    c.interps = {interp(random, "h"), interp(random, "v")};
    orvcase::Call call{.op = t.name + digits(type) + suffixes[kind], .src = {"s"}, .dst = "d", .params = t.params};
    if (kind == 3) {
        while (call.params.size() < 2) call.params.push_back(Param::null());
        call.params.push_back(Param::ref("h"));
        call.params.push_back(Param::ref("v"));
    }
    c.addCall(call);
    Engine model(c.images[0], c.images[1], t.p, static_cast<Interpolation>(kind), weights(c.interps[0]),
                 weights(c.interps[1]));
    if (singular(t.p)) {
        expectImage(c, c.images[1].data, std::nullopt);
    } else {
        model.run();
        const bool tracked = c.images[1].io && type != ORV_BIT;
        expectImage(c, model.result, tracked ? std::optional(model.touched) : std::nullopt);
    }
    check(c);
}

/// ORV_CASES shortens a run, as it does for the other models.
int roundsOf(int usual) {
    const char* text = std::getenv("ORV_CASES");
    return text != nullptr ? std::atoi(text) : usual;
}

void rounds(int usual, void (*round)(unsigned seed)) {
    const char* text = std::getenv("ORV_SEED");
    const unsigned base = text != nullptr ? static_cast<unsigned>(std::atoi(text)) : 1;
    const int count = text != nullptr ? 1 : roundsOf(usual);
    for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) round(base + static_cast<unsigned>(i));
}

TEST(Geometry, EnginesAnswerAsTheModel) {
    rounds(1500, [](unsigned seed) { engineRound(seed, {ORV_BIT, ORV_BYTE, ORV_SHORT}, {24, 40}, {90, 140}); });
}

/// Walks over large sources go by tiles, of which parts of the source are copied.
TEST(Geometry, EnginesAnswerAsTheModelOnLargeSources) {
    rounds(60, [](unsigned seed) { engineRound(seed, {ORV_BYTE, ORV_SHORT}, {260, 200}, {500, 300}); });
}

void pathRound(unsigned seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Random random(seed);
    const OrvDataType type = random.pick({ORV_BYTE, ORV_SHORT});
    const unsigned bands = static_cast<unsigned>(random.integer(1, 5));
    Case c{.name = "path"};
    const bool large = random.oneIn(4);
    c.images = {picture(random, "s", type, bands, large ? 150 : 20),
                picture(random, "d", type, bands, large ? 310 : 40)};
    Image& s = c.images[0];
    if (random.oneIn(2)) s.roi.reset();
    c.images[1].io = random.oneIn(3);
    Pair pair{s, c.images[1], c.images[1].data};
    std::optional<Region> touched;
    std::string op;
    std::vector<Param> params;
    switch (random.integer(0, 3)) {
    case 0: {
        const float tx = random.oneIn(2) ? static_cast<float>(random.integer(-16, 16)) / 2 : random.real(-9, 9);
        const float ty = random.oneIn(2) ? static_cast<float>(random.integer(-16, 16)) / 2 : random.real(-9, 9);
        op = "translate" + digits(type) + "nearest";
        params = {Param::f(tx), Param::f(ty)};
        shift(pair, tx, ty, bands);
        break;
    }
    case 1: {
        if (type != ORV_BYTE) return;
        op = "scale8nearest";
        params = {Param::f(random.pick({2.0F, 2.0005F, 1.9995F})), Param::f(2)};
        const std::vector<Rect> rects = scaledRects(s, c.images[1], 2, 2);
        touched = rects;
        repeat(pair, rects, bands);
        break;
    }
    case 2: {
        const float by = random.pick({0.5F, 0.5F, 0.500005F});
        op = "scale" + digits(type) + "bilinear";
        params = {Param::f(by), Param::f(0.5F)};
        average(pair, scaledRects(s, c.images[1], double{by}, 0.5), bands);
        break;
    }
    default: {
        const float by = random.pick({2.0F, 2.0F, 2.000005F, 1.999995F});
        op = "scale" + digits(type) + "bilinear";
        params = {Param::f(2), Param::f(by)};
        enlarge(pair, scaledRects(s, c.images[1], 2, double{by}), bands);
    }
    }
    c.addCall({.op = op, .src = {"s"}, .dst = "d", .params = params});
    expectImage(c, pair.result, touched);
    check(c);
}

TEST(Geometry, FastPathsAnswerAsTheModel) { rounds(1500, pathRound); }

} // namespace
