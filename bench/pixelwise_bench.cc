// Arithmetic, logic, blend, conversion and band ops beside OpenCV and Leptonica.

#include <cstdint>
#include <memory>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef ORV_PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif

namespace {

using namespace orvbench;
using Runs = Measurement::Runs;

/// The images of a row, sources first, and the call on them.
struct Scene {
    std::vector<std::unique_ptr<Picture>> pictures;
    std::unique_ptr<Call> call;
    std::shared_ptr<void> extra;

    Scene(const char* op, std::vector<std::unique_ptr<Picture>> all) : pictures(std::move(all)) {
        std::vector<Picture*> sources;
        for (std::size_t i = 0; i + 1 < pictures.size(); ++i) sources.push_back(pictures[i].get());
        call = std::make_unique<Call>(op, sources, *pictures.back());
    }
    std::size_t bytes() const {
        std::size_t sum = 0;
        for (const auto& picture : pictures) sum += picture->bytes();
        return sum;
    }
};

template <class... Pictures>
std::shared_ptr<Scene> makeScene(const char* op, Pictures... pictures) {
    std::vector<std::unique_ptr<Picture>> all;
    (all.push_back(std::make_unique<Picture>(std::move(pictures))), ...);
    return std::make_shared<Scene>(op, std::move(all));
}

Runs runsOf(const std::shared_ptr<Scene>& scene, std::function<void()> peer) {
    return {.orv = [scene] { (*scene->call)(); }, .peer = std::move(peer), .bytes = scene->bytes(), .holds = scene};
}

#ifdef ORV_PEER_OPENCV

cv::Mat matOf(Scene& scene, std::size_t index) {
    auto& image = scene.pictures[index]->image();
    const int depth = image.shape().type == ORV_BYTE ? CV_8U : CV_16S;
    return cv::Mat(side, side, CV_MAKETYPE(depth, static_cast<int>(image.shape().bands)),
                   scene.pictures[index]->samples());
}

using Pairwise = void (*)(const cv::Mat& a, const cv::Mat& b, cv::Mat& d);
using Single = void (*)(const cv::Mat& a, cv::Mat& d);

bool pairRow(const char* op, OrvDataType type, double goal, Pairwise peer) {
    return measure({.name = op, .peer = "opencv", .goal = goal, .prepare = [op, type, peer] {
                        const auto scene = makeScene(op, Picture(type, 1), Picture(type, 1), Picture(type, 1));
                        return runsOf(scene, [=, a = matOf(*scene, 0), b = matOf(*scene, 1),
                                              d = matOf(*scene, 2)]() mutable { peer(a, b, d); });
                    }});
}

bool singleRow(const char* op, OrvDataType from, OrvDataType to, Single peer) {
    return measure({.name = op, .peer = "opencv", .goal = 0.95, .prepare = [op, from, to, peer] {
                        const auto scene = makeScene(op, Picture(from, 1), Picture(to, 1));
                        return runsOf(scene, [=, a = matOf(*scene, 0), d = matOf(*scene, 1)]() mutable { peer(a, d); });
                    }});
}

bool arithmeticRows() {
    for (const OrvDataType type : {ORV_BYTE, ORV_SHORT}) {
        const auto name = [type](const char* byte, const char* other) { return type == ORV_BYTE ? byte : other; };
        pairRow(name("add8", "add16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::add(a, b, d); });
        pairRow(name("subtract8", "subtract16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::subtract(a, b, d); });
        pairRow(name("multiply8", "multiply16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::multiply(a, b, d); });
        pairRow(name("divide8", "divide16"), type, 1, [](auto& a, auto& b, auto& d) { cv::divide(a, b, d); });
        pairRow(name("max8", "max16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::max(a, b, d); });
        pairRow(name("min8", "min16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::min(a, b, d); });
        pairRow(name("and8", "and16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::bitwise_and(a, b, d); });
        pairRow(name("or8", "or16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::bitwise_or(a, b, d); });
        pairRow(name("xor8", "xor16"), type, 0.95, [](auto& a, auto& b, auto& d) { cv::bitwise_xor(a, b, d); });
        singleRow(name("not8", "not16"), type, type, [](auto& a, auto& d) { cv::bitwise_not(a, d); });
    }
    singleRow("absolute16", ORV_SHORT, ORV_SHORT, [](auto& a, auto& d) { d = cv::abs(a); });
    singleRow("convert8_16", ORV_BYTE, ORV_SHORT, [](auto& a, auto& d) { a.convertTo(d, CV_16S); });
    return singleRow("convert16_8", ORV_SHORT, ORV_BYTE, [](auto& a, auto& d) { a.convertTo(d, CV_8U); });
}
const bool arithmetic = arithmeticRows();

const bool blend =
    measure({.name = "blend8a8", .peer = "opencv", .goal = 1.5, .prepare = [] {
                 const auto scene = makeScene("blend8a8", Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1),
                                              Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1));
                 cv::Mat second;
                 matOf(*scene, 2).convertTo(second, CV_32F, 1.0 / 255);
                 const cv::Mat first = 1.0F - second;
                 return runsOf(scene, [=, a = matOf(*scene, 0), b = matOf(*scene, 1), d = matOf(*scene, 3)]() mutable {
                     cv::blendLinear(a, b, first, second, d);
                 });
             }});

constexpr float weights[12] = {0.4F, 0.3F, 0.2F, 1.5F, 0.1F, 0.7F, 0.15F, -2.0F, 0.25F, 0.25F, 0.5F, 0.0F};

const bool combine = measure(
    {.name = "bandCombine8", .peer = "opencv", .goal = 1, .prepare = [] {
         const auto scene = makeScene("bandCombine8", Picture(ORV_BYTE, 3), Picture(ORV_BYTE, 3));
         std::shared_ptr<orv::host::Kernel> kernel(orv::host::Kernel::make(session(), 4, 3, 0, 0, weights).release(),
                                                   orv::host::Release{});
         scene->call->op().addObject(kernel.get());
         scene->extra = kernel;
         return runsOf(scene,
                       [a = matOf(*scene, 0), d = matOf(*scene, 1),
                        m = cv::Mat(3, 4, CV_32F, const_cast<float*>(weights))]() mutable { cv::transform(a, d, m); });
     }});

#endif

#ifdef ORV_PEER_LEPTONICA

std::shared_ptr<PIX> bitmap() {
    PIX* pix = pixCreate(side, side, 1);
    l_uint32* words = pixGetData(pix);
    for (unsigned i = 0; i < side * side / 32; ++i) words[i] = i * 2654435761U;
    return {pix, [](PIX* owned) { pixDestroy(&owned); }};
}

/// Bits that begin at `from` in the source and at `to` in the destination, in place for two sources, as a raster
/// operation works.
bool bitRow(const char* name, const char* op, unsigned sources, unsigned from, unsigned to, l_int32 rasterOp) {
    return measure({.name = name, .peer = "leptonica", .goal = 1, .prepare = [=] {
                        const auto picture = [](unsigned offset) { return Picture(ORV_BIT, 1, offset); };
                        const auto scene = makeScene(op, picture(from), picture(to));
                        if (sources == 2) scene->call->op().setSource(2, &scene->pictures.back()->image());
                        return runsOf(scene, [=, s = bitmap(), d = bitmap()] {
                            const auto shift = static_cast<l_int32>(to) - static_cast<l_int32>(from);
                            pixRasterop(d.get(), shift, 0, side, side, rasterOp, s.get(), 0, 0);
                        });
                    }});
}

const bool bits =
    bitRow("and1", "and1", 2, 0, 0, PIX_SRC& PIX_DST) && bitRow("or1", "or1", 2, 0, 0, PIX_SRC | PIX_DST) &&
    bitRow("xor1", "xor1", 2, 0, 0, PIX_SRC ^ PIX_DST) && bitRow("copy1", "copy1", 1, 0, 0, PIX_SRC) &&
    bitRow("not1", "not1", 1, 0, 0, PIX_NOT(PIX_SRC)) && bitRow("and1 3 to 5", "and1", 2, 3, 5, PIX_SRC& PIX_DST) &&
    bitRow("or1 3 to 5", "or1", 2, 3, 5, PIX_SRC | PIX_DST) &&
    bitRow("xor1 3 to 5", "xor1", 2, 3, 5, PIX_SRC ^ PIX_DST) && bitRow("copy1 3 to 5", "copy1", 1, 3, 5, PIX_SRC) &&
    bitRow("not1 3 to 5", "not1", 1, 3, 5, PIX_NOT(PIX_SRC));

const bool widen = measure({.name = "convert1_8", .peer = "leptonica", .goal = 2, .prepare = [] {
                                const auto scene = makeScene("convert1_8", Picture(ORV_BIT, 1), Picture(ORV_BYTE, 1));
                                std::shared_ptr<PIX> d(pixCreate(side, side, 8), [](PIX* p) { pixDestroy(&p); });
                                return runsOf(scene, [d, s = bitmap()] { pixConvert1To8(d.get(), s.get(), 0, 1); });
                            }});

#endif

} // namespace
