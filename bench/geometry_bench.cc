// Rotation, translation and scaling beside OpenCV and beside memcpy.

#include <cmath>
#include <initializer_list>
#include <string>

#include "Scene.h"

namespace {

using namespace orvbench;

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

} // namespace
