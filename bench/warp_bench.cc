// Table warps, flips and turns, one-bit geometry and subsampling beside OpenCV, Leptonica and memcpy.

#include <cmath>
#include <cstdint>
#include <string>

#include "Scene.h"

namespace {

using namespace orvbench;

std::shared_ptr<Scene> turning(OrvDataType type, unsigned bands, long flip, unsigned offset = 0) {
    const char* op = type == ORV_BIT ? "transpose1" : type == ORV_BYTE ? "transpose8" : "transpose16";
    auto scene = makeScene(op, Picture(type, bands, offset), Picture(type, bands));
    scene->op().addLong(flip);
    return scene;
}

bool flipped(OrvDataType type, unsigned bands, long flip) {
    const char* op = type == ORV_BYTE ? "transpose8 flip " : "transpose16 flip ";
    return measure({op + std::to_string(flip) + " bands " + std::to_string(bands), "memcpy", 0.9,
                    [=] { return runsBesideCopy(turning(type, bands, flip)); }});
}

const bool flips[] = {
    flipped(ORV_BYTE, 1, 0), flipped(ORV_BYTE, 1, 1),  flipped(ORV_BYTE, 1, 5),
    flipped(ORV_BYTE, 3, 1), flipped(ORV_SHORT, 1, 1), flipped(ORV_BYTE, 4, 5),
};

#ifdef ORV_PEER_OPENCV

/// A swirl about the middle, up to some 40 pixels, as displacements in sixteenths and as the peer's fixed-point maps.
struct Swirl {
    Picture table;
    cv::Mat whole;
    cv::Mat fractions;

    explicit Swirl(bool interpolated) : table(ORV_SHORT, 2) {
        const auto length = static_cast<int>(side);
        cv::Mat x(length, length, CV_32F);
        cv::Mat y(length, length, CV_32F);
        auto* to = table.samples<std::int16_t>();
        for (int r = 0; r < length; ++r) {
            for (int c = 0; c < length; ++c) {
                const double phase = static_cast<double>(r + c) * 0.003;
                to[0] = static_cast<std::int16_t>(640 * std::sin(phase));
                to[1] = static_cast<std::int16_t>(640 * std::cos(phase));
                x.at<float>(r, c) = static_cast<float>(c) + static_cast<float>(to[0]) / 16;
                y.at<float>(r, c) = static_cast<float>(r) + static_cast<float>(to[1]) / 16;
                to += 2;
            }
        }
        cv::convertMaps(x, y, whole, fractions, CV_16SC2, !interpolated);
    }
};

bool warped(const char* op, OrvDataType type, unsigned bands, int interpolation, double goal) {
    return measure({std::string(op) + " " + std::to_string(bands), "cv::remap", goal, [=] {
                        auto scene = makeScene(op, Picture(type, bands), Picture(type, bands));
                        auto swirl = std::make_shared<Swirl>(interpolation != cv::INTER_NEAREST);
                        scene->op().setSource(2, &swirl->table.image());
                        Runs runs = runsOf(scene, [=] {
                            cv::Mat to = matOf(scene->destination());
                            cv::remap(matOf(scene->source()), to, swirl->whole, swirl->fractions, interpolation);
                        });
                        runs.bytes += swirl->table.bytes();
                        return runs;
                    }});
}

bool turned(const char* name, OrvDataType type, unsigned bands, long flip, double goal) {
    return measure({name, flip == 2 ? "cv::transpose" : "cv::rotate", goal, [=] {
                        auto scene = turning(type, bands, flip);
                        return runsOf(scene, [=] {
                            cv::Mat to = matOf(scene->destination());
                            if (flip == 2) {
                                cv::transpose(matOf(scene->source()), to);
                            } else {
                                cv::rotate(matOf(scene->source()), to, cv::ROTATE_90_COUNTERCLOCKWISE);
                            }
                        });
                    }});
}

const bool rows[] = {
    warped("tablewarp8nearest", ORV_BYTE, 1, cv::INTER_NEAREST, 1.2),
    warped("tablewarp8nearest", ORV_BYTE, 3, cv::INTER_NEAREST, 1.2),
    warped("tablewarp8bilinear", ORV_BYTE, 1, cv::INTER_LINEAR, 1.2),
    warped("tablewarp8bilinear", ORV_BYTE, 3, cv::INTER_LINEAR, 1.2),
    warped("tablewarp8bicubic", ORV_BYTE, 1, cv::INTER_CUBIC, 1.0),
    warped("tablewarp16bilinear", ORV_SHORT, 1, cv::INTER_LINEAR, 1.0),
    turned("transpose8 diagonal", ORV_BYTE, 1, 2, 3.0),
    turned("transpose8 diagonal 3", ORV_BYTE, 3, 2, 1.0),
    turned("transpose16 diagonal", ORV_SHORT, 1, 2, 1.0),
    turned("transpose8 90 degrees", ORV_BYTE, 1, 4, 2.0),
    turned("transpose8 90 degrees 3", ORV_BYTE, 3, 4, 2.0),
    measure({"subsampleAdaptive8 0.37", "cv::resize", 1.0,
             [] {
                 const auto to = static_cast<unsigned>(std::ceil(side * 0.37));
                 auto scene = makeScene("subsampleAdaptive8", Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1, 0, to, to));
                 scene->op().addFloat(0.37F);
                 scene->op().addFloat(0.37F);
                 return runsOf(scene, [=] {
                     cv::Mat result = matOf(scene->destination());
                     cv::resize(matOf(scene->source()), result, result.size(), 0, 0, cv::INTER_AREA);
                 });
             }}),
};

#endif

#ifdef ORV_PEER_LEPTONICA

bool turnedBits(const char* name, unsigned offset) {
    return measure({name, "pixRotate90", 10, [=] {
                        return runsOf(turning(ORV_BIT, 1, 4, offset), [s = bitmap()] {
                            PIX* turned = pixRotate90(s.get(), 1);
                            pixDestroy(&turned);
                        });
                    }});
}

bool counted(float scale, unsigned factor) {
    return measure({"subsample1_8 1/" + std::to_string(factor), "pixScaleToGray" + std::to_string(factor), 1, [=] {
                        const unsigned to = side / factor;
                        auto scene = makeScene("subsample1_8", Picture(ORV_BIT, 1), Picture(ORV_BYTE, 1, 0, to, to));
                        scene->op().addFloat(scale);
                        scene->op().addFloat(scale);
                        return runsOf(scene, [=, s = bitmap()] {
                            PIX* grey = factor == 2 ? pixScaleToGray2(s.get()) : pixScaleToGray4(s.get());
                            pixDestroy(&grey);
                        });
                    }});
}

const bool bitRows[] = {
    turnedBits("transpose1 90 degrees", 0),
    turnedBits("transpose1 90, offset 3", 3),
    counted(0.5F, 2),
    counted(0.25F, 4),
    measure({"rotate1nearest", "pixAffineSampled", 2,
             [] {
                 auto scene = makeScene("rotate1nearest", Picture(ORV_BIT, 1), Picture(ORV_BIT, 1));
                 constexpr float angle = 0.34906584F;
                 scene->op().addFloat(angle);
                 const float c = std::cos(angle);
                 const float s = std::sin(angle);
                 return runsOf(scene, [=, from = bitmap()] {
                     l_float32 matrix[6] = {c, -s, 0, s, c, 0};
                     PIX* turned = pixAffineSampled(from.get(), matrix, L_BRING_IN_WHITE);
                     pixDestroy(&turned);
                 });
             }}),
};

#endif

/// A row of weights for each fraction, by the nearer of two samples.
orv::host::Owned<orv::host::InterpolationTable> weights() {
    const float taps[] = {0.9F, 0.1F, 0.6F, 0.4F, 0.4F, 0.6F, 0.1F, 0.9F};
    return orv::host::InterpolationTable::make(session(), 2, 4, taps);
}

/// A warp by up to 40 pixels, with displacements that change slowly from one to the next.
Subject warping(const std::string& op, const Kind& kind) {
    return {.op = op, .from = {kind, {ORV_SHORT, 2}}, .to = kind, .parameters = [op](Scene& scene) {
                auto* to = scene.source(2).samples<std::int16_t>();
                for (std::size_t i = 0; i < scene.source(2).bytes() / 2; ++i) {
                    to[i] = static_cast<std::int16_t>(640 * std::sin(static_cast<double>(i % 4096) * 0.0015));
                }
                if (!op.ends_with("general")) return;
                for (int parameter = 0; parameter < 2; ++parameter) scene.op().addPointer(nullptr);
                for (int axis = 0; axis < 2; ++axis) scene.op().addObject(&scene.keep(weights()));
            }};
}

const bool all = [] {
    for (const char* form : {"", "h", "v"}) {
        for (const Kind& kind : {bits, bytes, shorts}) {
            const std::string digits = digitsOf(kind.type);
            for (const char* interpolation : {"nearest", "bilinear", "bicubic", "general"}) {
                besideCopy(0, warping(std::string("tablewarp") + form + digits + interpolation, kind));
            }
        }
    }
    return true;
}();

Subject turn(const char* op, const Kind& kind, long flip) {
    return {.op = op, .from = {kind}, .to = kind, .parameters = [flip](Scene& scene) { scene.op().addLong(flip); }};
}
Subject shrinking(const char* op, const Kind& from, const Kind& to, float scale) {
    return {.op = op, .from = {from}, .to = to, .parameters = floatValues({scale, scale})};
}

const bool others = besideCopy("subsample1_8 1/3", 0, shrinking("subsample1_8", bits, bytes, 1.0F / 3)) &&
                    besideCopy("subsample1_8 0.37", 0, shrinking("subsample1_8", bits, bytes, 0.37F)) &&
                    besideCopy("subsampleAdaptive1 0.37", 0, shrinking("subsampleAdaptive1", bits, bits, 0.37F)) &&
                    besideCopy("subsampleAdaptive16 0.37", 0, shrinking("subsampleAdaptive16", shorts, shorts, 0.37F));

const bool layouts = layoutRows("tablewarp8nearest colors", warping("tablewarp8nearest", colors)) &&
                     layoutRows("tablewarp8bilinear", warping("tablewarp8bilinear", bytes)) &&
                     layoutRows("tablewarp1nearest", warping("tablewarp1nearest", bits)) &&
                     layoutRows("transpose8 90 degrees", turn("transpose8", bytes, 4)) &&
                     layoutRows("transpose8 90 degrees colors", turn("transpose8", colors, 4)) &&
                     layoutRows("transpose8 flip 1 colors", turn("transpose8", colors, 1)) &&
                     layoutRows("transpose1 90 degrees", turn("transpose1", bits, 4)) &&
                     layoutRows("subsample1_8 1/2", shrinking("subsample1_8", bits, bytes, 0.5F)) &&
                     layoutRows("subsampleAdaptive8 0.37", shrinking("subsampleAdaptive8", bytes, bytes, 0.37F));

} // namespace
