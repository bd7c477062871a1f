// Convolution, the fused pair, edge detection and morphology beside OpenCV and Leptonica. Rows of a growing picture and
// of a growing kernel show how the cost grows.

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
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const float dx = static_cast<float>(x) - static_cast<float>(width / 2);
            const float dy = static_cast<float>(y) - static_cast<float>(height / 2);
            taps.push_back(std::exp(-(dx * dx + dy * dy) / 2.7F));
            sum += taps.back();
        }
    }
    for (float& tap : taps) tap /= sum;
    return taps;
}

/// What a row keeps while it is measured.
struct Filtering {
    Picture source;
    Picture destination;
    host::Owned<host::Kernel> kernel = {};
    host::Owned<host::Kernel> second = {};
    host::Owned<host::Sel> element = {};
    host::Owned<host::Op> first = {};
    std::unique_ptr<Call> call = {};

    Filtering(OrvDataType type, unsigned size) : source(type, 1, 0, size, size), destination(type, 1, 0, size, size) {}
};

using Peer = std::function<void(Filtering& scene)>;

/// A row; `prepare` makes the call of a scene, `peer` does the same work.
bool row(const std::string& name, const std::string& peerName, double goal, OrvDataType type, unsigned size,
         const std::function<void(Filtering&)>& prepare, const Peer& peer) {
    return measure({.name = name, .peer = peerName, .goal = goal, .prepare = [=]() -> Measurement::Runs {
                        const auto scene = std::make_shared<Filtering>(type, size);
                        prepare(*scene);
                        std::function<void()> other;
                        if (peer) other = [scene, peer] { peer(*scene); };
                        return {.orv = [scene] { (*scene->call)(); },
                                .peer = other,
                                .bytes = scene->source.bytes() + scene->destination.bytes(),
                                .holds = scene};
                    }});
}

host::Owned<host::Kernel> makeKernel(unsigned width, unsigned height) {
    return host::Kernel::make(session(), width, height, width / 2, height / 2, gaussian(width, height).data());
}

void prepareConvolution(Filtering& scene, const char* op, unsigned taps) {
    scene.kernel = makeKernel(taps, taps);
    scene.call = std::make_unique<Call>(op, std::vector<Picture*>{&scene.source}, scene.destination);
    scene.call->op().addObject(scene.kernel.get());
    scene.call->op().addLong(2);
}

bool convolution(const std::string& op, OrvDataType type, unsigned taps, double goal, unsigned size = side) {
    Peer peer;
#ifdef ORV_PEER_OPENCV
    peer = [taps](Filtering& scene) {
        std::vector<float> weights = gaussian(taps, taps);
        const cv::Mat kernel(static_cast<int>(taps), static_cast<int>(taps), CV_32F, weights.data());
        cv::Mat to = matOf(scene.destination);
        cv::filter2D(matOf(scene.source), to, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    };
#endif
    std::string name = op + " " + std::to_string(taps) + "x" + std::to_string(taps);
    if (size != side) name.append(" ").append(std::to_string(size));
    return row(
        name, "opencv", goal, type, size, [op, taps](Filtering& scene) { prepareConvolution(scene, op.c_str(), taps); },
        peer);
}

void prepareSobel(Filtering& scene, const char* op) {
    scene.call = std::make_unique<Call>(op, std::vector<Picture*>{&scene.source}, scene.destination);
}

bool sobel() {
    Peer peer;
#ifdef ORV_PEER_OPENCV
    peer = [](Filtering& scene) {
        cv::Mat gx;
        cv::Mat gy;
        cv::Mat magnitude;
        cv::Mat to = matOf(scene.destination);
        cv::Sobel(matOf(scene.source), gx, CV_32F, 1, 0, 3, 0.5, 0, cv::BORDER_REPLICATE);
        cv::Sobel(matOf(scene.source), gy, CV_32F, 0, 1, 3, 0.5, 0, cv::BORDER_REPLICATE);
        cv::magnitude(gx, gy, magnitude);
        magnitude.convertTo(to, CV_8U);
    };
#endif
    return row(
        "edge_detect_sobel8", "opencv", 2.0, ORV_BYTE, side,
        [](Filtering& scene) { prepareSobel(scene, "edge_detect_sobel8"); }, peer);
}

std::vector<unsigned> rectangle(unsigned size) { return std::vector<unsigned>(std::size_t{size} * size, 1); }
std::vector<unsigned> members(unsigned size, bool (*belongs)(int x, int y)) {
    std::vector<unsigned> element;
    const int half = static_cast<int>(size / 2);
    for (int y = -half; y <= half; ++y) {
        for (int x = -half; x <= half; ++x) element.push_back(belongs(x, y) ? 1 : 0);
    }
    return element;
}

void prepareDilation(Filtering& scene, const char* op, unsigned size, const std::vector<unsigned>& element) {
    scene.element = host::Sel::make(session(), size, size, size / 2, size / 2, element.data());
    scene.call = std::make_unique<Call>(op, std::vector<Picture*>{&scene.source}, scene.destination);
    scene.call->op().addObject(scene.element.get());
}

bool dilation(const std::string& shape, unsigned size, const std::vector<unsigned>& element) {
    Peer peer;
#ifdef ORV_PEER_OPENCV
    peer = [size, element](Filtering& scene) {
        const std::vector<unsigned char> bytes(element.begin(), element.end());
        const cv::Mat kernel(static_cast<int>(size), static_cast<int>(size), CV_8U,
                             const_cast<unsigned char*>(bytes.data()));
        cv::Mat to = matOf(scene.destination);
        cv::dilate(matOf(scene.source), to, kernel);
    };
#endif
    return row(
        "dilate8 " + shape, "opencv", 1.0, ORV_BYTE, side,
        [size, element](Filtering& scene) { prepareDilation(scene, "dilate8", size, element); }, peer);
}

bool bitDilation() {
    Peer peer;
#ifdef ORV_PEER_LEPTONICA
    struct Pictures {
        PIX* from = pixCreate(side, side, 1);
        PIX* to = pixCreate(side, side, 1);
        SEL* element = selCreateBrick(5, 5, 2, 2, SEL_HIT);
    };
    const auto pictures = std::make_shared<Pictures>();
    peer = [pictures](Filtering&) { pixDilate(pictures->to, pictures->from, pictures->element); };
#endif
    return row(
        "dilate1 5x5", "leptonica", 1.0, ORV_BIT, side,
        [](Filtering& scene) { prepareDilation(scene, "dilate1", 5, rectangle(5)); }, peer);
}

void preparePair(Filtering& scene) {
    scene.kernel = makeKernel(5, 1);
    scene.second = makeKernel(1, 5);
    scene.first = host::Op::make(session(), "convolve8");
    scene.first->setSource(1, &scene.source.image());
    scene.first->addObject(scene.kernel.get());
    scene.first->addLong(1);
    scene.call = std::make_unique<Call>("convolve8", std::vector<Picture*>{}, scene.destination);
    scene.call->op().setOp1(scene.first.get());
    scene.call->op().addObject(scene.second.get());
    scene.call->op().addLong(1);
}

bool pair() {
    Peer peer;
#ifdef ORV_PEER_OPENCV
    peer = [](Filtering& scene) {
        std::vector<float> taps = gaussian(5, 1);
        const cv::Mat kernel(5, 1, CV_32F, taps.data());
        cv::Mat to = matOf(scene.destination);
        cv::sepFilter2D(matOf(scene.source), to, -1, kernel, kernel);
    };
#endif
    return row("convolve8/convolve8 5+5", "opencv", 1.0, ORV_BYTE, side, preparePair, peer);
}

/// Members whose arithmetic no peer has.
bool withoutPeer() {
    const auto dilate = [](const char* op, OrvDataType type) {
        return row(std::string(op) + " 3x3", "", 0, type, side,
                   [op](Filtering& scene) { prepareDilation(scene, op, 3, rectangle(3)); }, {});
    };
    const auto detect = [](const char* op, OrvDataType type) {
        return row(op, "", 0, type, side, [op](Filtering& scene) { prepareSobel(scene, op); }, {});
    };
    const auto convolveBits = [](Filtering& scene) { prepareConvolution(scene, "convolve1", 3); };
    return row("convolve1 3x3", "", 0, ORV_BIT, side, convolveBits, {}) && detect("edge_detect_sobel1", ORV_BIT) &&
           detect("edge_detect_sobel16", ORV_SHORT) && dilate("dilate16", ORV_SHORT) && dilate("erode1", ORV_BIT) &&
           dilate("erode8", ORV_BYTE) && dilate("erode16", ORV_SHORT);
}

const bool registered =
    convolution("convolve8", ORV_BYTE, 3, 1.5) && convolution("convolve8", ORV_BYTE, 5, 1.5) &&
    convolution("convolve8", ORV_BYTE, 7, 1.2) && convolution("convolve16", ORV_SHORT, 3, 1.5) && pair() && sobel() &&
    dilation("3x3", 3, rectangle(3)) &&
    dilation("5x5 cross", 5, members(5, [](int x, int y) { return x == 0 || y == 0; })) &&
    dilation("7x7 disk", 7, members(7, [](int x, int y) { return x * x + y * y <= 9; })) && bitDilation() &&
    convolution("convolve8", ORV_BYTE, 7, 0, side / 4) && convolution("convolve8", ORV_BYTE, 7, 0, side / 2) &&
    convolution("convolve8", ORV_BYTE, 9, 0) && convolution("convolve8", ORV_BYTE, 11, 0) && withoutPeer();

} // namespace
