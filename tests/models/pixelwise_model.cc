// The ops that make a pixel of the pixels at the same place, sample by sample, by the rules that the tests of their
// families share.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "models/Answers.h"
#include "models/pixel_rules.h"

namespace orvmodel {
namespace {

using namespace pixelrules;
using orvcase::Call;
using orvcase::Case;
using orvcase::Param;

/// What one sample of the destination becomes: `of` are the samples of the pixel's bands, image by image; `old` is the
/// destination's.
using Rule = std::function<double(const std::vector<orvcase::Values>& of, unsigned band, double old)>;

struct Op {
    std::vector<std::string> sources;
    Rule rule;
};

/// The name of an op without its types: "add" of "add8".
bool isCalled(const std::string& op, const std::string& stem) {
    return op.starts_with(stem) && op.find_first_not_of("0123456789_", stem.size()) == std::string::npos;
}

const orvcase::Values& arrayOf(const Case& c, const Param& param) {
    for (const auto* arrays : {&c.floats, &c.ulongs}) {
        for (const orvcase::Array& array : *arrays) {
            if (array.name == param.name) return array.data;
        }
    }
    throw Unanswered{};
}

template <class Named>
const Named& named(const std::vector<Named>& all, const std::string& name) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const Named& each) { return each.name == name; });
    if (found == all.end()) throw Unanswered{};
    return *found;
}

struct TwoSamples {
    const char* stem;
    double (*of)(double a, double b, OrvDataType type);
};
constexpr TwoSamples twoSamples[] = {{"add", add},       {"subtract", subtract}, {"multiply", multiply},
                                     {"divide", divide}, {"max", largest},       {"min", smallest},
                                     {"and", both},      {"or", either},         {"xor", oneOf}};
constexpr TwoSamples oneSample[] = {{"not", inverse}, {"absolute", absolute}};

struct OneConstant {
    const char* stem;
    double (*of)(double v, float c, OrvDataType type);
};
constexpr OneConstant oneConstant[] = {{"addconst", addConst},
                                       {"subtractfromconst", subtractFromConst},
                                       {"multiplyconst", multiplyConst},
                                       {"divideintoconst", divideIntoConst}};

struct OnePattern {
    const char* stem;
    double (*of)(double v, double pattern, OrvDataType type);
};
constexpr OnePattern onePattern[] = {{"andconst", both}, {"orconst", either}, {"xorconst", oneOf}};

Op productAndSum(const Case& c, const Call& call) {
    const orvcase::Chain& product = named(c.chains, call.op1);
    return {{product.src[0], product.src[1], call.src[1]}, [](const auto& of, unsigned band, double) {
                return std::min(255.0, std::min(255.0, of[0][band] * of[1][band]) + of[2][band]);
            }};
}

/// Whether a sample lies from the lowest to the highest of an op's bounds, and what it becomes there.
struct Bounds {
    orvcase::Values low, high, map;

    Bounds(const Case& c, const std::vector<Param>& params)
        : low(arrayOf(c, params[0])), high(arrayOf(c, params[1])), map(arrayOf(c, params[2])) {}
};

Op threshold(const Case& c, const Call& call, OrvDataType type) {
    const Bounds last(c, call.params);
    if (call.op1.empty()) {
        return {{call.src[0]}, [=](const auto& of, unsigned b, double) {
                    const double v = of[0][b];
                    const bool in = boundOf(last.low[b], type) <= v && v <= boundOf(last.high[b], type);
                    return in ? boundOf(last.map[b], type) : v;
                }};
    }
    const orvcase::Chain& earlier = named(c.chains, call.op1);
    const Bounds first(c, earlier.params);
    return {{earlier.src[0]}, [=](const auto& of, unsigned b, double) {
                const double v = of[0][b];
                double result = v;
                for (const Bounds* each : {&first, &last}) {
                    if (boundOf(each->low[b], type) < v && v < boundOf(each->high[b], type)) {
                        result = boundOf(each->map[b], type);
                    }
                }
                return result;
            }};
}

Op rescale(const Case& c, const Call& call, OrvDataType type) {
    const orvcase::Values scales = arrayOf(c, call.params[0]);
    const bool shifts = call.params[1].kind == Param::Kind::reference;
    const orvcase::Values offsets = shifts ? arrayOf(c, call.params[1]) : orvcase::Values(scales.size());
    return {{call.src[0]}, [=](const auto& of, unsigned b, double) {
                return rescaled(of[0][b], numberOf(scales[b]), numberOf(offsets[b]), type);
            }};
}

Op bandCombine(const Case& c, const Call& call, OrvDataType type) {
    const orvcase::Kernel& kernel = named(c.kernels, call.params[0].name);
    onlyWithin(1e9, kernel.data);
    const std::vector<float> weights(kernel.data.begin(), kernel.data.end());
    return {{call.src[0]}, [=, width = kernel.width](const auto& of, unsigned b, double) {
                return combined(of[0], weights.data() + std::size_t{b} * width, width, type);
            }};
}

Op blend(const Scene& scene, const Call& call) {
    const OrvDataType type = scene.image(call.src[0]).type;
    const OrvDataType alpha = scene.image(call.src[2]).type;
    for (const Blend& each : blends) {
        if (each.type != type || each.alpha != alpha) continue;
        return {{call.src[0], call.src[1], call.src[2]}, [of = each.of](const auto& samples, unsigned b, double) {
                    return of(samples[2][0], samples[0][b], samples[1][b]);
                }};
    }
    throw Unanswered{};
}

Op withPattern(const Case& c, Call& call, OrvDataType type, double (*of)(double, double, OrvDataType)) {
    orvcase::Values patterns = arrayOf(c, call.params[0]);
    // What is beyond the type's range is cut, for the caller to see.
    for (double& each : patterns) each = type == ORV_BIT ? each : std::min(each, highest(type));
    call.expect.now = {{.name = call.params[0].name, .values = {patterns.begin(), patterns.end()}}};
    if (type == ORV_BIT) {
        for (double& each : patterns) each = each == 1 ? 1 : 0;
    }
    return {{call.src[0]},
            [=](const auto& samples, unsigned b, double) { return of(samples[0][b], patterns[b], type); }};
}

Op planemask(const Case& c, Call& call, OrvDataType type) {
    orvcase::Values masks = arrayOf(c, call.params[0]);
    for (double& each : masks) each = type == ORV_BIT ? each : std::min(each, highest(type));
    call.expect.now = {{.name = call.params[0].name, .values = {masks.begin(), masks.end()}}};
    return {{call.src[0]},
            [=](const auto& samples, unsigned b, double old) { return masked(masks[b], samples[0][b], old, type); }};
}

Op opOf(const Case& c, Call& call, const Scene& scene) {
    const OrvDataType type = scene.image(call.dst).type;
    const std::string& op = call.op;
    if (op == "add8" && !call.op1.empty()) return productAndSum(c, call);
    if (isCalled(op, "threshold")) return threshold(c, call, type);
    if (!call.op1.empty()) throw Unanswered{};
    for (const TwoSamples& each : twoSamples) {
        if (!isCalled(op, each.stem)) continue;
        return {{call.src[0], call.src[1]},
                [=](const auto& of, unsigned b, double) { return each.of(of[0][b], of[1][b], type); }};
    }
    for (const TwoSamples& each : oneSample) {
        if (!isCalled(op, each.stem)) continue;
        return {{call.src[0]}, [=](const auto& of, unsigned b, double) { return each.of(of[0][b], 0, type); }};
    }
    for (const OneConstant& each : oneConstant) {
        if (!isCalled(op, each.stem)) continue;
        const orvcase::Values constants = arrayOf(c, call.params[0]);
        return {{call.src[0]}, [=](const auto& of, unsigned b, double) {
                    const float constant = static_cast<float>(constants[b]);
                    return each.of(of[0][b], std::isnan(constant) && type != ORV_BIT ? 0 : constant, type);
                }};
    }
    for (const OnePattern& each : onePattern) {
        if (isCalled(op, each.stem)) return withPattern(c, call, type, each.of);
    }
    if (isCalled(op, "copy_with_planemask")) return planemask(c, call, type);
    if (isCalled(op, "rescale")) return rescale(c, call, type);
    if (isCalled(op, "bandCombine")) return bandCombine(c, call, type);
    if (op.starts_with("blend")) return blend(scene, call);
    if (isCalled(op, "convert")) {
        return {{call.src[0]}, [=](const auto& of, unsigned b, double) { return converted(of[0][b], type); }};
    }
    if (isCalled(op, "blackgeneration")) {
        return {{call.src[0]},
                [=, black = numberOf(double{call.params[0].real}), under = numberOf(double{call.params[1].real})](
                    const auto& of, unsigned b, double) { return inkOf(of[0], b, black, under, type); }};
    }
    if (isCalled(op, "lookup")) {
        const orvcase::Lookup lookup = named(c.lookups, call.params[0].name);
        return {{call.src[0]}, [=, bands = scene.bands(call.dst)](const auto& of, unsigned b, double old) {
                    return lookUp(lookup, of[0], b, old, bands);
                }};
    }
    if (isCalled(op, "setvalue")) {
        const orvcase::Values values = arrayOf(c, call.params[0]);
        return {{}, [=](const auto&, unsigned b, double) { return valueOf(static_cast<float>(values[b]), type); }};
    }
    throw Unanswered{};
}

bool holdsZero(const Scene& scene, const std::string& image, const std::vector<Rect>& rects) {
    bool zero = false;
    eachPixel(rects, [&](long x, long y) {
        for (unsigned b = 0; b < scene.bands(image); ++b) zero = zero || scene.at(image, x, y, b) == 0;
    });
    return zero;
}

/// Divisions tell of a zero among the divisors: those of the pixels of the call, or for bits those of the divisor's own
/// region as it stands after the pixels were written. That search keeps its list at a hit.
void tellOfZeros(Call& call, const Scene& before, const Scene& after, const std::vector<Rect>& rects) {
    const bool constant = isCalled(call.op, "divideintoconst");
    if (!constant && !isCalled(call.op, "divide")) return;
    const std::string& divisor = call.src[constant ? 0 : 1];
    const bool bits = before.image(divisor).type == ORV_BIT;
    const bool zero = bits ? holdsZero(after, divisor, after.region(divisor)) : holdsZero(before, divisor, rects);
    if (!zero) return;
    call.expect.errors = {{.id = "di-171", .category = 4, .primary = 1}};
    if (bits) call.expect.live.lists = 1;
}

} // namespace

void answerPixelwise(const Case& c, Call& call, Scene& scene) {
    const Op op = opOf(c, call, scene);
    const Scene before = scene;
    const std::string none;
    const auto source = [&](std::size_t i) { return i < op.sources.size() ? op.sources[i] : none; };
    const auto rects = scene.rects({call.dst, source(0), source(1), source(2)});
    eachPixel(rects, [&](long x, long y) {
        std::vector<orvcase::Values> samples;
        for (const std::string& name : op.sources) {
            orvcase::Values& bands = samples.emplace_back();
            for (unsigned b = 0; b < before.bands(name); ++b) bands.push_back(before.at(name, x, y, b));
        }
        for (unsigned b = 0; b < scene.bands(call.dst); ++b) {
            scene.put(call.dst, x, y, b, op.rule(samples, b, before.at(call.dst, x, y, b)));
        }
    });
    if (op.sources.empty()) {
        scene.touchNone(call.dst);
    } else {
        scene.touch(call.dst, rects);
    }
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    tellOfZeros(call, before, scene, rects);
}

} // namespace orvmodel
