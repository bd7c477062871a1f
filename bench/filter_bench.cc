// Convolution, the fused pair, edge detection and morphology beside OpenCV and Leptonica. Rows of a growing kernel
// show how the cost grows.

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Scene.h"

namespace {

using namespace orvbench;
namespace host = orv::host;

/// Weights of a Gaussian that no short number of bits holds, the sum about 1.
std::vector<float> gaussian(unsigned width, unsigned height) {
    std::vector<float> taps;
    float sum = 0;
    const unsigned middleX = width / 2;
    const unsigned middleY = height / 2;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const float dx = static_cast<float>(x) - static_cast<float>(middleX);
            const float dy = static_cast<float>(y) - static_cast<float>(middleY);
            taps.push_back(std::exp(-(dx * dx + dy * dy) / 2.7F));
            sum += taps.back();
        }
    }
    for (float& tap : taps) tap /= sum;
    return taps;
}

host::Owned<host::Kernel> makeKernel(unsigned width, unsigned height) {
    return host::Kernel::make(session(), width, height, width / 2, height / 2, gaussian(width, height).data());
}

Subject convolution(const Kind& kind, unsigned taps) {
    return {.op = opName("convolve", kind), .from = {kind}, .to = kind, .parameters = [taps](Scene& scene) {
                scene.op().addObject(&scene.keep(makeKernel(taps, taps)));
                scene.op().addLong(2);
            }};
}

/// A row and then a column of five weights, borders zeroed.
Subject pair(const Kind& kind) {
    return {.op = opName("convolve", kind), .from = {kind}, .to = kind, .parameters = [kind](Scene& scene) {
                host::Op& first = scene.keep(host::Op::make(session(), opName("convolve", kind).c_str()));
                first.setSource(1, &scene.source().image());
                first.addObject(&scene.keep(makeKernel(5, 1)));
                first.addLong(1);
                scene.op().setSource(1, nullptr);
                scene.op().setOp1(&first);
                scene.op().addObject(&scene.keep(makeKernel(1, 5)));
                scene.op().addLong(1);
            }};
}

Subject edges(const Kind& kind) { return {.op = opName("edge_detect_sobel", kind), .from = {kind}, .to = kind}; }

struct Element {
    std::string name;
    unsigned size;
    std::vector<unsigned> members;
};

Element element(const std::string& name, unsigned size, bool (*belongs)(int x, int y)) {
    Element made{.name = name, .size = size, .members = {}};
    const int half = static_cast<int>(size / 2);
    for (int y = -half; y <= half; ++y) {
        for (int x = -half; x <= half; ++x) made.members.push_back(belongs(x, y) ? 1 : 0);
    }
    return made;
}

Element square(unsigned size) {
    const std::string length = std::to_string(size);
    return element(length + "x" + length, size, [](int, int) { return true; });
}

Subject morphology(const char* family, const Kind& kind, const Element& element) {
    return {.op = opName(family, kind), .from = {kind}, .to = kind, .parameters = [element](Scene& scene) {
                const unsigned key = element.size / 2;
                scene.op().addObject(&scene.keep(
                    host::Sel::make(session(), element.size, element.size, key, key, element.members.data())));
            }};
}

Peer filter2d([[maybe_unused]] unsigned taps) {
#ifdef ORV_PEER_OPENCV
    return [taps](Scene& scene) {
        std::vector<float> weights = gaussian(taps, taps);
        const cv::Mat kernel(static_cast<int>(taps), static_cast<int>(taps), CV_32F, weights.data());
        cv::Mat to = matOf(scene.destination());
        cv::filter2D(matOf(scene.source()), to, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    };
#else
    return {};
#endif
}

Peer separable() {
#ifdef ORV_PEER_OPENCV
    return [](Scene& scene) {
        std::vector<float> taps = gaussian(5, 1);
        const cv::Mat kernel(5, 1, CV_32F, taps.data());
        cv::Mat to = matOf(scene.destination());
        cv::sepFilter2D(matOf(scene.source()), to, -1, kernel, kernel);
    };
#else
    return {};
#endif
}

Peer gradient() {
#ifdef ORV_PEER_OPENCV
    return [](Scene& scene) {
        cv::Mat gx;
        cv::Mat gy;
        cv::Mat magnitude;
        cv::Mat to = matOf(scene.destination());
        cv::Sobel(matOf(scene.source()), gx, CV_32F, 1, 0, 3, 0.5, 0, cv::BORDER_REPLICATE);
        cv::Sobel(matOf(scene.source()), gy, CV_32F, 0, 1, 3, 0.5, 0, cv::BORDER_REPLICATE);
        cv::magnitude(gx, gy, magnitude);
        magnitude.convertTo(to, to.depth());
    };
#else
    return {};
#endif
}

Peer greatest([[maybe_unused]] const Element& element) {
#ifdef ORV_PEER_OPENCV
    return [element](Scene& scene) {
        const std::vector<unsigned char> members(element.members.begin(), element.members.end());
        const int size = static_cast<int>(element.size);
        const cv::Mat kernel(size, size, CV_8U, const_cast<unsigned char*>(members.data()));
        cv::Mat to = matOf(scene.destination());
        cv::dilate(matOf(scene.source()), to, kernel);
    };
#else
    return {};
#endif
}

Peer grownBits([[maybe_unused]] int size) {
#ifdef ORV_PEER_LEPTONICA
    struct Pages {
        std::shared_ptr<PIX> from;
        std::shared_ptr<PIX> to;
        std::shared_ptr<SEL> sel;
    };
    // The size of pictures is known when the row runs.
    return [size, pages = std::make_shared<Pages>()](Scene&) {
        if (!pages->from) {
            SEL* const brick = selCreateBrick(size, size, size / 2, size / 2, SEL_HIT);
            *pages = {bitmap(), bitmap(), {brick, [](SEL* owned) { selDestroy(&owned); }}};
        }
        pixDilate(pages->to.get(), pages->from.get(), pages->sel.get());
    };
#else
    return {};
#endif
}

bool convolve(const Kind& kind, unsigned taps, double goal) {
    const Subject subject = convolution(kind, taps);
    const std::string size = std::to_string(taps);
    return row(subject.op + " " + size + "x" + size, subject, "opencv", goal, filter2d(taps));
}

bool dilate8(const Element& element) {
    return row("dilate8 " + element.name, morphology("dilate", bytes, element), "opencv", 1, greatest(element));
}

const bool registered =
    convolve(bytes, 3, 1.5) && convolve(bytes, 5, 1.5) && convolve(bytes, 7, 1.2) && convolve(bytes, 9, 0) &&
    convolve(bytes, 11, 0) && convolve(bytes, 13, 0) && convolve(shorts, 3, 1.5) && convolve(shorts, 5, 0) &&
    convolve(shorts, 7, 0) && row("convolve1 3x3", convolution(bits, 3)) &&
    row("convolve8/convolve8 5+5", pair(bytes), "opencv", 1, separable()) &&
    row("convolve16/convolve16 5+5", pair(shorts), "opencv", 0.95, separable()) &&
    row("edge_detect_sobel1", edges(bits)) && row("edge_detect_sobel8", edges(bytes), "opencv", 2, gradient()) &&
    row("edge_detect_sobel16", edges(shorts), "opencv", 0, gradient()) && dilate8(square(3)) &&
    dilate8(element("5x5 cross", 5, [](int x, int y) { return x == 0 || y == 0; })) &&
    dilate8(element("7x7 disk", 7, [](int x, int y) { return x * x + y * y <= 9; })) && dilate8(square(31)) &&
    row("dilate1 5x5", morphology("dilate", bits, square(5)), "leptonica", 1, grownBits(5)) &&
    row("dilate16 3x3", morphology("dilate", shorts, square(3)), "opencv", 0, greatest(square(3))) &&
    row("erode1 3x3", morphology("erode", bits, square(3))) &&
    row("erode8 3x3", morphology("erode", bytes, square(3))) &&
    row("erode16 3x3", morphology("erode", shorts, square(3)));

const bool layouts =
    layoutRows("convolve8 3x3 colors", convolution(colors, 3)) && layoutRows("convolve1 3x3", convolution(bits, 3)) &&
    layoutRows("convolve8/convolve8 5+5", pair(bytes)) && layoutRows("edge_detect_sobel8 colors", edges(colors)) &&
    layoutRows("dilate8 3x3 colors", morphology("dilate", colors, square(3))) &&
    layoutRows("dilate1 5x5", morphology("dilate", bits, square(5)));

} // namespace
