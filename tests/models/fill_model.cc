// Both floods and soft fill as floods that go pixel by pixel.
#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <optional>
#include <stdexcept>

#include "models/Answers.h"

namespace orvmodel {
namespace {

using orvcase::Call;
using orvcase::Case;

long toPlace(float seed) {
    if (std::isnan(seed)) return 0;
    const auto t = static_cast<float>(seed < 0 ? seed - 0.5 : seed + 0.5);
    return static_cast<long>(std::clamp(static_cast<double>(t), -2147483648.0, 2147483647.0));
}

double toSample(float value, OrvDataType type) {
    if (std::isnan(value)) return 0;
    if (type == ORV_BIT) return value >= 0.5F ? 1 : 0;
    const auto t = static_cast<float>(value < 0 ? value - 0.5 : value + 0.5);
    return std::trunc(std::clamp(static_cast<double>(t), lowest(type), highest(type)));
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

} // namespace

void answerFill(const Case& c, Call& call, Scene& scene) {
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
        if (field.flooded != queueFlood(Field{field.width, field.height, field.closed}, x, y)) {
            throw std::logic_error("the flood does not reach what hangs together");
        }
    }
    eachPixel(rects, [&](long px, long py) {
        if (!field.was(px + scene.originX(source), py + scene.originY(source))) return;
        for (unsigned b = 0; b < image.bands; ++b) {
            scene.put(call.dst, px, py, b, toSample(static_cast<float>(colour[b]), image.type));
        }
    });
}

void answerSoftFill(const Case& c, Call& call, Scene& scene) {
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
    for (const orvcase::Values& numbers : {foreground, backgrounds, fill}) onlyWithin(1e5, numbers);
    if (bands == 0 || foreground.size() < bands || backgrounds.size() < bands * backs) throw Unanswered{};
    const double* const last = backgrounds.data() + (backs - 1) * bands;
    std::vector<double> basis;
    basis.reserve(backs * bands);
    for (std::size_t i = 0; i < bands; ++i) basis.push_back(foreground[i] - last[i]);
    for (std::size_t k = 0; k + 1 < backs; ++k) {
        for (std::size_t i = 0; i < bands; ++i) basis.push_back(backgrounds[k * bands + i] - last[i]);
    }
    const auto inverse = resolver(basis, bands, backs);
    if (!inverse) throw Unanswered{};
    const auto weight = [&](long x, long y) {
        double sum = 0;
        for (unsigned b = 0; b < bands; ++b) sum += (*inverse)[b] * (scene.sample(source, x, y, b) - last[b]);
        return sum;
    };
    Field field{image.width, image.height, [&](long x, long y) {
                    const double share = weight(x, y);
                    if (std::fabs(share - 0.01) < 1e-3) throw Unanswered{};
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
    eachPixel(rects, [&](long x, long y) {
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

} // namespace orvmodel
