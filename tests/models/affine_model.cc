// The affine family by the engines and fast paths of its tests.
#include <cmath>
#include <string>

#include "models/Answers.h"
#include "models/geometry_model.h"

namespace orvmodel {
namespace {

using orvcase::Call;
using orvcase::Case;
using orvcase::Image;

using Matrix = std::array<float, 6>;

std::string familyOf(const std::string& op) { return op.substr(0, op.find_first_of("0123456789")); }

int kindOf(const std::string& op) {
    int kind = 0;
    for (const char* suffix : {"nearest", "bilinear", "bicubic", "general"}) {
        if (op.ends_with(suffix)) return kind;
        ++kind;
    }
    throw Unanswered{};
}

Matrix matrixOf(const Case& c, const Call& call) {
    const std::string family = familyOf(call.op);
    const float first = call.params[0].real;
    if (family == "rotate") {
        const auto cosine = static_cast<float>(std::cos(static_cast<double>(first)));
        const auto sine = static_cast<float>(std::sin(static_cast<double>(first)));
        return {cosine, -sine, sine, cosine, 0, 0};
    }
    if (family == "scale") return {first, 0, 0, call.params[1].real, 0, 0};
    if (family == "translate") return {1, 0, 0, 1, first, call.params[1].real};
    Matrix p{};
    for (std::size_t i = 0; i < p.size(); ++i) p[i] = static_cast<float>(c.floats.at(0).data.at(i));
    return p;
}

/// Numbers of which no step is too great for its type.
void onlyOrdinary(const Matrix& p) {
    onlyWithin(1e3, {p.begin(), p.end()});
    if (geometrymodel::singular(p)) throw Unanswered{};
    const double det = std::fabs(double{p[3]} * p[0] - double{p[2]} * p[1]);
    for (int i = 0; i < 4; ++i) onlyWithin(1e3, {double{p[static_cast<std::size_t>(i)]} / det});
}

geometrymodel::Weights weightsOf(const Case& c, std::size_t i) {
    if (c.interps.size() <= i) return {};
    return {c.interps[i].size, c.interps[i].subsamples, {c.interps[i].data.begin(), c.interps[i].data.end()}};
}

/// The result of a fast path and what it says to have touched.
std::optional<orvcase::Region> alongPath(geometrymodel::Pair& pair, const Matrix& p, const Call& call) {
    using namespace geometrymodel;
    const unsigned bands = pair.d.bands;
    if (familyOf(call.op) == "translate") {
        shift(pair, p[4], p[5], bands);
        return {};
    }
    if (p[0] != p[3] || (p[0] != 2 && p[0] != 0.5F)) throw Unanswered{};
    std::vector<orvcase::Rect> rects = scaledRects(pair.s, pair.d, double{p[0]}, double{p[3]});
    if (kindOf(call.op) == 0) {
        if (p[0] != 2) throw Unanswered{};
        repeat(pair, rects, bands);
        return rects;
    }
    if (p[0] == 2) {
        enlarge(pair, rects, bands);
    } else {
        average(pair, rects, bands);
    }
    return {};
}

} // namespace

void answerAffine(const Case& c, Call& call, Scene& scene) {
    onlyApart(call);
    const Matrix p = matrixOf(c, call);
    onlyOrdinary(p);
    const int kind = kindOf(call.op);
    const Image source = alone(scene, call.src[0]);
    const Image destination = alone(scene, call.dst);
    const bool tracked = destination.io && destination.type != ORV_BIT;
    if (geometrymodel::fastPath(familyOf(call.op), p, destination.type, kind)) {
        geometrymodel::Pair pair{source, destination, destination.data};
        const auto touched = alongPath(pair, p, call);
        put(scene, call.dst, pair.result);
        call.expect.touched = {{.image = call.dst, .region = touched}};
        return;
    }
    geometrymodel::Engine engine(source, destination, p, static_cast<geometrymodel::Interpolation>(kind),
                                 weightsOf(c, 0), weightsOf(c, 1));
    engine.run();
    put(scene, call.dst, engine.result);
    if (!tracked) return scene.touchNone(call.dst);
    scene.touch(call.dst, engine.touched);
}

} // namespace orvmodel
