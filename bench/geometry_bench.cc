// Rotation, translation and scaling beside OpenCV and beside memcpy.

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace orvbench;
using Runs = Measurement::Runs;

struct Scene {
    Picture source;
    Picture destination;
    Call call;

    Scene(const char* op, OrvDataType type, unsigned bands, unsigned to, std::initializer_list<float> parameters)
        : source(type, bands), destination(type, bands, 0, to, to), call(op, {&source}, destination) {
        for (const float parameter : parameters) call.op().addFloat(parameter);
    }
};

Runs runsOf(const std::shared_ptr<Scene>& scene, std::function<void()> peer) {
    return {.orv = [scene] { scene->call(); },
            .peer = std::move(peer),
            .bytes = scene->source.bytes() + scene->destination.bytes(),
            .holds = scene};
}

const bool translated =
    measure({"translate8nearest", "memcpy", 0.9, [] {
                 auto scene = std::make_shared<Scene>("translate8nearest", ORV_BYTE, 1, side,
                                                      std::initializer_list<float>{3, 5});
                 return runsOf(scene, [scene] {
                     std::memcpy(scene->destination.samples(), scene->source.samples(), scene->source.bytes());
                 });
             }});

#ifdef ORV_PEER_OPENCV

constexpr float angle = 0.34906584F; // 20 degrees

cv::Mat matOf(Picture& picture) {
    const orv::host::Shape& shape = picture.image().shape();
    return cv::Mat(static_cast<int>(shape.height), static_cast<int>(shape.width),
                   CV_MAKETYPE(shape.type == ORV_BYTE ? CV_8U : CV_16S, static_cast<int>(shape.bands)),
                   picture.samples());
}

bool rotation(const char* op, OrvDataType type, unsigned bands, int interpolation, double goal) {
    return measure({std::string(op) + " " + std::to_string(bands), "cv::warpAffine", goal, [=] {
                        auto scene =
                            std::make_shared<Scene>(op, type, bands, side, std::initializer_list<float>{angle});
                        const double c = std::cos(double{angle});
                        const double s = std::sin(double{angle});
                        const cv::Mat matrix = (cv::Mat_<double>(2, 3) << c, s, 0, -s, c, 0);
                        return runsOf(scene, [=] {
                            cv::Mat to = matOf(scene->destination);
                            cv::warpAffine(matOf(scene->source), to, matrix, to.size(), interpolation);
                        });
                    }});
}

bool scaling(const char* op, OrvDataType type, unsigned bands, float factor, int interpolation, double goal) {
    return measure(
        {std::string(op) + " " + (factor > 1 ? "2x " : "0.5x ") + std::to_string(bands), "cv::resize", goal, [=] {
             const unsigned to = factor > 1 ? side * 2 : side / 2;
             auto scene = std::make_shared<Scene>(op, type, bands, to, std::initializer_list<float>{factor, factor});
             return runsOf(scene, [=] {
                 cv::Mat result = matOf(scene->destination);
                 cv::resize(matOf(scene->source), result, result.size(), 0, 0, interpolation);
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
