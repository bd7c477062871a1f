// Both floods and soft fill against floods that go pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <optional>

#include "support/ModelKit.h"

namespace {

using orvcase::Call;
using orvcase::Case;
using orvcase::Param;
using orvmodel::Maker;
using orvmodel::Scene;

long toPlace(float seed) {
    if (std::isnan(seed)) return 0;
    const auto t = static_cast<float>(seed < 0 ? seed - 0.5 : seed + 0.5);
    return static_cast<long>(std::clamp(static_cast<double>(t), -2147483648.0, 2147483647.0));
}

double toSample(float value, OrvDataType type) {
    if (std::isnan(value)) return 0;
    if (type == ORV_BIT) return value >= 0.5F ? 1 : 0;
    const auto t = static_cast<float>(value < 0 ? value - 0.5 : value + 0.5);
    return std::trunc(std::clamp(static_cast<double>(t), orvmodel::lowest(type), orvmodel::highest(type)));
}

const orvcase::Values& floatsOf(const Case& c, const std::string& name) {
    return std::find_if(c.floats.begin(), c.floats.end(), [&](const auto& array) { return array.name == name; })->data;
}

/// A picture that a flood may enter here and there, and where it has been.
struct Field {
    long width;
    long height;
    std::function<bool(long, long)> closed; ///< asked within the picture alone
    std::vector<bool> flooded = std::vector<bool>(static_cast<std::size_t>(width * height));

    bool inside(long x, long y) const { return x >= 0 && x < width && y >= 0 && y < height; }
    bool open(long x, long y) const { return inside(x, y) && !closed(x, y); }
    bool was(long x, long y) const { return inside(x, y) && flooded[static_cast<std::size_t>(y * width + x)]; }
    void set(long x, long y) { flooded[static_cast<std::size_t>(y * width + x)] = true; }
};

/// A stack that asks for memory whenever a 25 frames are full that never were before, one time in vain.
template <class Frame>
struct Stack {
    std::optional<unsigned> failing; ///< of the requests after the first chunk's, counted from 1
    std::size_t room = 25;
    unsigned requests = 0;
    std::vector<Frame> frames = {};

    bool push(const Frame& frame) {
        if (frames.size() == room) {
            if (++requests == failing) return false;
            room += 25;
        }
        frames.push_back(frame);
        return true;
    }
};

struct Span {
    long left, right, parentLeft, parentRight, y, direction;
};

void spanFlood(Field& field, long x, long y, Stack<Span> stack) {
    long left = x;
    while (field.open(left, y)) field.set(left--, y);
    ++left;
    long stop = x + 1;
    while (field.open(stop, y)) field.set(stop++, y);
    stack.push({left, stop - 1, left - 1, stop, y + 1, 1});
    stack.push({left, stop - 1, left - 1, stop, y - 1, -1});
    while (!stack.frames.empty()) {
        const Span f = stack.frames.back();
        stack.frames.pop_back();
        if (f.y < 0 || f.y >= field.height) continue;
        const auto fresh = [&](long c) { return field.open(c, f.y) && !field.was(c, f.y); };
        const auto shadow = [&](long l, long r) {
            stack.push({l, r, l - 1, r + 1, f.y + f.direction, f.direction});
            if (r > f.parentRight) stack.push({f.parentRight + 1, r, l - 1, r + 1, f.y - f.direction, -f.direction});
            if (l < f.parentLeft) stack.push({l, f.parentLeft - 1, l - 1, r + 1, f.y - f.direction, -f.direction});
        };
        bool in = fresh(f.left);
        long start = f.left;
        if (in) {
            while (fresh(start)) field.set(start--, f.y);
            ++start;
        }
        long c = f.left + 1;
        for (; c < field.width; ++c) {
            if (in) {
                if (fresh(c)) {
                    field.set(c, f.y);
                } else {
                    shadow(start, c - 1);
                    in = false;
                }
            } else {
                if (c > f.right) break;
                if (fresh(c)) {
                    field.set(c, f.y);
                    in = true;
                    start = c;
                }
            }
        }
        if (in) shadow(start, c - 1);
    }
}

struct RunSeed {
    long x, y, parentLeft, parentRight, parentY;
};

bool runFlood(Field& field, long x, long y, Stack<RunSeed> stack) {
    stack.push({x, y, x, x, y});
    while (!stack.frames.empty()) {
        const RunSeed f = stack.frames.back();
        stack.frames.pop_back();
        if (field.was(f.x, f.y)) continue;
        long left = f.x;
        while (field.open(left, f.y)) field.set(left--, f.y);
        ++left;
        long right = f.x + 1;
        while (field.open(right, f.y)) field.set(right++, f.y);
        --right;
        for (const long row : {f.y + 1, f.y - 1}) {
            if (row < 0 || row >= field.height) continue;
            long from = left;
            long to = right;
            if (row == f.parentY) {
                if (f.parentLeft <= left) from = f.parentRight + 1;
                if (f.parentRight >= right) to = f.parentLeft - 1;
            }
            bool inRun = false;
            for (long c = from; c <= to; ++c) {
                if (!field.open(c, row)) {
                    inRun = false;
                } else if (!inRun && !field.was(c, row)) {
                    if (!stack.push({c, row, left, right, f.y})) return false;
                    inRun = true;
                }
            }
        }
    }
    return true;
}

/// All that hangs together with the seed.
std::vector<bool> queueFlood(Field field, long x, long y) {
    std::deque<std::pair<long, long>> queue{{x, y}};
    while (!queue.empty()) {
        const auto [c, r] = queue.front();
        queue.pop_front();
        if (!field.open(c, r) || field.was(c, r)) continue;
        field.set(c, r);
        for (const auto& next : {std::pair{c + 1, r}, {c - 1, r}, {c, r + 1}, {c, r - 1}}) queue.push_back(next);
    }
    return field.flooded;
}

/// Few different samples, so that pixels hang together.
void thinOut(Maker& maker, const std::string& name) {
    orvcase::Image& image = maker.c.image(name);
    if (image.data.empty() || maker.random.chance(15)) return;
    const unsigned kinds = image.type == ORV_BIT ? 2 : maker.random.below(3) + 2;
    const unsigned odds = maker.random.pick({1U, 5U, 20U, 35U, 50U});
    for (double& sample : image.data) sample = maker.random.chance(odds) ? maker.random.below(kinds - 1) + 1 : 0;
}

float randomSeed(Maker& maker, unsigned size, float origin) {
    if (maker.random.chance(3)) return maker.random.pick({1e30F, -1e30F, std::nanf(""), 3e9F});
    const auto place = static_cast<float>(maker.random.between(-2, static_cast<long>(size) + 1));
    return place - std::trunc(origin) + (maker.random.chance(30) ? maker.random.real(-0.5F, 0.5F) : 0.0F);
}

orvcase::Values colourOf(Maker& maker, const orvcase::Image& image, unsigned bands) {
    orvcase::Values colour;
    const auto column = maker.random.below(image.width);
    const auto row = maker.random.below(image.height);
    const bool met = image.parent.empty() && maker.random.chance(60);
    for (unsigned band = 0; band < bands; ++band) {
        const double sample = met && band < image.bands ? image.at(column, row, band) : maker.random.below(4);
        colour.push_back(maker.random.chance(5) ? maker.random.real(-40000.0F, 40000.0F) : sample);
    }
    return colour;
}

enum class Pictures { any, wide };

auto makeFill(const char* op, OrvDataType type, Pictures pictures = Pictures::any) {
    return [op, type, pictures](Maker& maker) {
        maker.children = maker.random.chance(30);
        const bool wide = pictures == Pictures::wide;
        const unsigned bands = wide ? maker.random.below(2) + 1 : maker.bands();
        const unsigned width = wide ? maker.random.below(350) + 57 : 0;
        const unsigned height = wide ? maker.random.below(40) + 1 : 0;
        const std::string d = maker.image("d", type, bands, width, height);
        const std::string s = wide ? maker.image("s", type, bands, width, height) : maker.source("s", type, bands, d);
        thinOut(maker, s);
        const orvcase::Image source = maker.c.image(s);
        const Param x = Param::f(randomSeed(maker, source.width, source.originX));
        const Param y = Param::f(randomSeed(maker, source.height, source.originY));
        const Param boundary = maker.floats("boundary", colourOf(maker, source, bands));
        const Param colour = maker.floats("colour", colourOf(maker, source, bands));
        Call& call = maker.c.addCall({.op = op, .src = {s}, .dst = d, .params = {x, y, boundary, colour}});
        if (maker.random.chance(25)) call.faults.push_back({.nth = 5 + maker.random.below(3)});
    };
}

void expectFill(const Case& c, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const orvcase::Image& image = scene.image(source);
    const auto rects = scene.rects({source, call.dst});
    scene.touch(call.dst, rects);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    const orvcase::Values& boundary = floatsOf(c, call.params[2].name);
    const orvcase::Values& colour = floatsOf(c, call.params[3].name);
    Field field{image.width, image.height, [&](long x, long y) {
                    for (unsigned b = 0; b < image.bands; ++b) {
                        if (scene.sample(source, x, y, b) != toSample(static_cast<float>(boundary[b]), image.type))
                            return false;
                    }
                    return true;
                }};
    const long x = toPlace(call.params[0].real) + scene.originX(source);
    const long y = toPlace(call.params[1].real) + scene.originY(source);
    std::optional<unsigned> failing;
    if (!call.faults.empty()) failing = call.faults[0].nth - 4;
    bool done = true;
    if (image.type == ORV_BIT) {
        done = runFlood(field, x, y, {.failing = failing});
    } else {
        done = y >= 0 && y < field.height;
        if (done) spanFlood(field, x, y, {.failing = failing});
    }
    if (!done) {
        call.expect.status = 2;
        call.expect.errors = {{.id = "di-1", .category = 1, .primary = 0}};
        return;
    }
    if (field.open(x, y) && !failing) {
        ASSERT_EQ(field.flooded, queueFlood(Field{field.width, field.height, field.closed}, x, y));
    }
    orvmodel::eachPixel(rects, [&](long px, long py) {
        if (!field.was(px + scene.originX(source), py + scene.originY(source))) return;
        for (unsigned b = 0; b < image.bands; ++b) {
            scene.put(call.dst, px, py, b, toSample(static_cast<float>(colour[b]), image.type));
        }
    });
}

TEST(Fill1, IsTheFloodByRuns) { orvmodel::check({.make = makeFill("fill1", ORV_BIT), .expect = expectFill}); }
TEST(Fill8, IsTheFloodBySpans) { orvmodel::check({.make = makeFill("fill8", ORV_BYTE), .expect = expectFill}); }
TEST(Fill16, IsTheFloodBySpans) { orvmodel::check({.make = makeFill("fill16", ORV_SHORT), .expect = expectFill}); }

// Rows of many words, with runs that lie in one of them and runs that do not.
void checkWide(const char* op, OrvDataType type) {
    orvmodel::check({.make = makeFill(op, type, Pictures::wide), .expect = expectFill, .cases = 120});
}
TEST(Fill1, IsTheFloodByRunsInWideRows) { checkWide("fill1", ORV_BIT); }
TEST(Fill8, IsTheFloodBySpansInWideRows) { checkWide("fill8", ORV_BYTE); }
TEST(Fill16, IsTheFloodBySpansInWideRows) { checkWide("fill16", ORV_SHORT); }

// Soft fill.

using Matrix = std::vector<std::vector<double>>;

/// The inverse of a square matrix; nothing where it is close to singular.
std::optional<Matrix> inverseOf(Matrix a) {
    const std::size_t n = a.size();
    Matrix result(n, std::vector<double>(n));
    double largest = 0;
    for (std::size_t i = 0; i < n; ++i) {
        result[i][i] = 1;
        for (const double entry : a[i]) largest = std::max(largest, std::fabs(entry));
    }
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t best = i;
        for (std::size_t r = i; r < n; ++r) {
            if (std::fabs(a[r][i]) > std::fabs(a[best][i])) best = r;
        }
        std::swap(a[i], a[best]);
        std::swap(result[i], result[best]);
        if (std::fabs(a[i][i]) < 1e-3 * largest || largest == 0) return std::nullopt;
        for (std::size_t r = 0; r < n; ++r) {
            const double factor = r == i ? 0 : a[r][i] / a[i][i];
            for (std::size_t k = 0; k < n; ++k) {
                a[r][k] -= factor * a[i][k];
                result[r][k] -= factor * result[i][k];
            }
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        for (double& entry : result[i]) entry /= a[i][i];
    }
    return result;
}

/// What resolves a pixel into its foreground weight: the first row of the pseudo-inverse, a value a band. The basis is
/// written background by background and read band by band, and its inverse is read likewise.
std::optional<std::vector<double>> resolver(const std::vector<double>& basis, std::size_t bands, std::size_t backs) {
    const auto at = [&](std::size_t i, std::size_t j) { return basis[i * backs + j]; };
    const bool tall = bands >= backs;
    const std::size_t n = std::min(bands, backs);
    Matrix gram(n, std::vector<double>(n));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
            for (std::size_t k = 0; k < std::max(bands, backs); ++k) {
                gram[i][j] += tall ? at(k, i) * at(k, j) : at(i, k) * at(j, k);
            }
        }
    }
    const auto inverse = inverseOf(gram);
    if (!inverse) return std::nullopt;
    std::vector<double> flat(bands * backs); // backs rows of bands
    for (std::size_t i = 0; i < backs; ++i) {
        for (std::size_t j = 0; j < bands; ++j) {
            for (std::size_t k = 0; k < n; ++k) {
                flat[i * bands + j] += tall ? (*inverse)[i][k] * at(j, k) : at(k, i) * (*inverse)[k][j];
            }
        }
    }
    std::vector<double> weights(bands);
    for (std::size_t i = 0; i < bands; ++i) weights[i] = flat[i * backs];
    return weights;
}

auto makeSoftFill(const char* op, OrvDataType type) {
    return [op, type](Maker& maker) {
        maker.children = false;
        const unsigned bands = maker.bands();
        const long backs = maker.random.between(1, 3);
        const std::string d = maker.image("d", type, bands);
        const std::string s = maker.source("s", type, bands, d);
        const float span = type == ORV_BIT ? 1.0F : type == ORV_BYTE ? 255.0F : 3000.0F;
        const auto colour = [&](unsigned count) {
            orvcase::Values values;
            for (unsigned i = 0; i < count; ++i) values.push_back(maker.random.real(0.0F, span));
            return values;
        };
        const orvcase::Values foreground = colour(bands);
        const orvcase::Values backgrounds = colour(bands * static_cast<unsigned>(backs));
        orvcase::Image& image = maker.c.image(s);
        for (std::size_t i = 0; type != ORV_BIT && i < image.data.size(); ++i) {
            // Mixes along the line from the last background to the foreground.
            const double share = maker.random.chance(30) ? 0 : maker.random.real(0.0F, 1.1F);
            const std::size_t band = i % bands;
            const double back = backgrounds[backgrounds.size() - bands + band];
            image.data[i] = std::clamp(std::round(back + share * (foreground[band] - back)), orvmodel::lowest(type),
                                       orvmodel::highest(type));
        }
        const orvcase::Image source = image;
        const Param x = Param::f(randomSeed(maker, source.width, source.originX));
        const Param y = Param::f(randomSeed(maker, source.height, source.originY));
        const Param f = maker.floats("foreground", foreground);
        const Param b = maker.floats("backgrounds", backgrounds);
        const Param fill = maker.floats("fill", colour(bands));
        maker.c.addCall({.op = op, .src = {s}, .dst = d, .params = {x, y, f, Param::l(backs), b, fill}});
    };
}

void expectSoftFill(const Case& c, Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    const orvcase::Image& image = scene.image(source);
    const auto rects = scene.rects({source, call.dst});
    scene.touch(call.dst, rects);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    const std::size_t bands = image.bands;
    const auto backs = static_cast<std::size_t>(call.params[3].integer);
    const orvcase::Values& foreground = floatsOf(c, call.params[2].name);
    const orvcase::Values& backgrounds = floatsOf(c, call.params[4].name);
    const orvcase::Values& fill = floatsOf(c, call.params[5].name);
    if (bands == 0 || foreground.size() < bands || backgrounds.size() < bands * backs) throw orvmodel::Unanswered{};
    const double* const last = backgrounds.data() + (backs - 1) * bands;
    std::vector<double> basis;
    for (std::size_t i = 0; i < bands; ++i) basis.push_back(foreground[i] - last[i]);
    for (std::size_t k = 0; k + 1 < backs; ++k) {
        for (std::size_t i = 0; i < bands; ++i) basis.push_back(backgrounds[k * bands + i] - last[i]);
    }
    const auto inverse = resolver(basis, bands, backs);
    if (!inverse) throw orvmodel::Unanswered{};
    const auto weight = [&](long x, long y) {
        double sum = 0;
        for (unsigned b = 0; b < bands; ++b) sum += (*inverse)[b] * (scene.sample(source, x, y, b) - last[b]);
        return sum;
    };
    Field field{image.width, image.height, [&](long x, long y) {
                    const double share = weight(x, y);
                    if (std::fabs(share - 0.01) < 1e-3) throw orvmodel::Unanswered{};
                    return share < 0.01;
                }};
    const long sx = toPlace(call.params[0].real) + scene.originX(source);
    const long sy = toPlace(call.params[1].real) + scene.originY(source);
    if (!field.open(sx, sy)) {
        call.expect.status = 2;
        call.expect.errors = {{.id = "di-258", .category = 4, .primary = 1}};
        return;
    }
    field.flooded = queueFlood(field, sx, sy);
    struct Result {
        long x, y;
        unsigned band;
        std::optional<double> value;
    };
    std::vector<Result> results;
    orvmodel::eachPixel(rects, [&](long x, long y) {
        const long column = x + scene.originX(source);
        const long row = y + scene.originY(source);
        if (!field.was(column, row)) return;
        const double share = weight(column, row);
        for (unsigned b = 0; b < bands; ++b) {
            const double v = scene.sample(source, column, row, b) - (foreground[b] - fill[b]) * share;
            const double margin = 1e-3 * (1 + std::fabs(share) * (std::fabs(foreground[b]) + std::fabs(fill[b])));
            const double half = image.type == ORV_BIT ? v - 0.5 : std::fabs(v) - std::floor(std::fabs(v)) - 0.5;
            const bool sure = std::fabs(half) > std::min(margin, 0.45);
            const double value = toSample(static_cast<float>(v), image.type);
            results.push_back({x, y, b, sure && margin < 0.45 ? std::optional(value) : std::nullopt});
        }
    });
    for (const Result& r : results) {
        if (r.value) {
            scene.put(call.dst, r.x, r.y, r.band, *r.value);
        } else {
            scene.leaveOpen(call.dst, r.x, r.y, r.band);
        }
    }
}

TEST(SoftFill1, ReplacesTheForegroundsShare) {
    orvmodel::check({.make = makeSoftFill("softfill1", ORV_BIT), .expect = expectSoftFill});
}
TEST(SoftFill8, ReplacesTheForegroundsShare) {
    orvmodel::check({.make = makeSoftFill("softfill8", ORV_BYTE), .expect = expectSoftFill});
}
TEST(SoftFill16, ReplacesTheForegroundsShare) {
    orvmodel::check({.make = makeSoftFill("softfill16", ORV_SHORT), .expect = expectSoftFill});
}

} // namespace
