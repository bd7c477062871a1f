// The affine family on bits, bytes and shorts, beside OpenCV, Leptonica and memcpy.

#include <cmath>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "Scene.h"

namespace {

using namespace orvbench;
namespace host = orv::host;

std::shared_ptr<Scene> moving(const char* op, OrvDataType type, unsigned bands, unsigned to,
                              std::initializer_list<float> parameters) {
    auto scene = makeScene(op, Picture(type, bands), Picture(type, bands, 0, to, to));
    for (const float parameter : parameters) scene->op().addFloat(parameter);
    return scene;
}

const bool translated = measure({"translate8nearest", "memcpy", 0.9, [] {
                                     return runsBesideCopy(moving("translate8nearest", ORV_BYTE, 1, side, {3, 5}));
                                 }});

#ifdef ORV_PEER_OPENCV

constexpr float angle = 0.34906584F; // 20 degrees

bool rotation(const char* op, OrvDataType type, unsigned bands, int interpolation, double goal) {
    return measure({std::string(op) + " " + std::to_string(bands), "cv::warpAffine", goal, [=] {
                        auto scene = moving(op, type, bands, side, {angle});
                        const double c = std::cos(double{angle});
                        const double s = std::sin(double{angle});
                        const cv::Mat matrix = (cv::Mat_<double>(2, 3) << c, s, 0, -s, c, 0);
                        return runsOf(scene, [=] {
                            cv::Mat to = matOf(scene->destination());
                            cv::warpAffine(matOf(scene->source()), to, matrix, to.size(), interpolation);
                        });
                    }});
}

bool scaling(const char* op, OrvDataType type, unsigned bands, float factor, int interpolation, double goal) {
    return measure(
        {std::string(op) + " " + (factor > 1 ? "2x " : "0.5x ") + std::to_string(bands), "cv::resize", goal, [=] {
             const unsigned to = factor > 1 ? side * 2 : side / 2;
             auto scene = moving(op, type, bands, to, {factor, factor});
             return runsOf(scene, [=] {
                 cv::Mat result = matOf(scene->destination());
                 cv::resize(matOf(scene->source()), result, result.size(), 0, 0, interpolation);
             });
         }});
}

const bool rows[] = {
    rotation("rotate8nearest", ORV_BYTE, 1, cv::INTER_NEAREST, 1.5),
    rotation("rotate8nearest", ORV_BYTE, 3, cv::INTER_NEAREST, 1.5),
    rotation("rotate8bilinear", ORV_BYTE, 1, cv::INTER_LINEAR, 1.2),
    rotation("rotate8bilinear", ORV_BYTE, 3, cv::INTER_LINEAR, 1.2),
    rotation("rotate8bicubic", ORV_BYTE, 1, cv::INTER_CUBIC, 1.5),
    rotation("rotate16bilinear", ORV_SHORT, 1, cv::INTER_LINEAR, 1.2),
    scaling("scale8nearest", ORV_BYTE, 1, 2.0F, cv::INTER_NEAREST, 2.0),
    scaling("scale8nearest", ORV_BYTE, 3, 2.0F, cv::INTER_NEAREST, 2.0),
    scaling("scale8bilinear", ORV_BYTE, 1, 2.0F, cv::INTER_LINEAR, 2.0),
    scaling("scale8bilinear", ORV_BYTE, 3, 2.0F, cv::INTER_LINEAR, 2.0),
    scaling("scale8bilinear", ORV_BYTE, 1, 0.5F, cv::INTER_AREA, 0.9),
    scaling("scale8bilinear", ORV_BYTE, 3, 0.5F, cv::INTER_AREA, 0.9),
};

#endif

constexpr const char* interpolations[] = {"nearest", "bilinear", "bicubic", "general"};

/// Four weights that lean with the fraction, sixteen rows of them.
host::Owned<host::InterpolationTable> weights() {
    std::vector<float> taps;
    for (int row = 0; row < 16; ++row) {
        const float f = static_cast<float>(row) / 16;
        for (const float weight : {-0.1F * (1 - f), 1.1F - f, 0.1F + f, -0.1F * f - 0.1F}) taps.push_back(weight);
    }
    return host::InterpolationTable::make(session(), 4, 16, taps.data());
}

/// Two parameters of a transform, and the tables that general interpolation takes behind them.
Subject transform(const std::string& op, const Kind& kind, const std::vector<float>& values) {
    return {.op = op, .from = {kind}, .to = kind, .parameters = [op, values](Scene& scene) {
                if (op.starts_with("affine")) {
                    scene.op().addPointer(scene.keep(std::make_shared<std::vector<float>>(values)).data());
                    scene.op().addPointer(nullptr);
                } else {
                    scene.op().addFloat(values[0]);
                    scene.op().addFloat(values[1]);
                }
                if (!op.ends_with("general")) return;
                for (int axis = 0; axis < 2; ++axis) scene.op().addObject(&scene.keep(weights()));
            }};
}

bool members(const std::string& name, const std::vector<float>& values) {
    for (const Kind& kind : {bits, bytes, shorts}) {
        const std::string digits = digitsOf(kind.type);
        for (const char* interpolation : interpolations) {
            const std::string op = name + digits + interpolation;
            if (op != "translate8nearest") besideCopy(0, transform(op, kind, values)); // that has a row of its own
        }
    }
    return true;
}

const bool all = members("affine", {0.9F, 0.2F, -0.1F, 0.95F, 30.5F, 2.25F}) && members("rotate", {0.1F, 0}) &&
                 members("scale", {0.9F, 0.8F}) && members("translate", {2.5F, 3.25F});

const bool layouts = layoutRows("rotate8nearest colors", transform("rotate8nearest", colors, {0.1F, 0})) &&
                     layoutRows("rotate8bilinear colors", transform("rotate8bilinear", colors, {0.1F, 0})) &&
                     layoutRows("rotate1nearest", transform("rotate1nearest", bits, {0.1F, 0})) &&
                     layoutRows("translate8nearest", transform("translate8nearest", bytes, {3, 5})) &&
                     layoutRows("scale8nearest 2x", transform("scale8nearest", colors, {2, 2})) &&
                     layoutRows("scale8bilinear 2x", transform("scale8bilinear", colors, {2, 2})) &&
                     layoutRows("scale8bilinear 0.5x", transform("scale8bilinear", colors, {0.5F, 0.5F}));

} // namespace
