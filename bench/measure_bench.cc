// Extrema, histogram, fills and paint.

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef ORV_PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif

namespace {

using namespace orvbench;
namespace host = orv::host;

struct Scene {
    Picture source;
    Picture result;
    float colour[3] = {200, 100, 50};
    float boundary[3] = {255, 255, 255};
    std::vector<float> values = {};
    host::Owned<host::Histogram> histogram = {};
    host::Owned<host::Kernel> brush = {};
    std::unique_ptr<Call> call = {};

    Scene(OrvDataType type, unsigned bands) : source(type, bands), result(type, bands) {}

    host::Op& start(const char* op) {
        call = std::make_unique<Call>(op, std::vector<Picture*>{&source}, result);
        return call->op();
    }
    Measurement::Runs runs(const std::shared_ptr<Scene>& self, std::size_t bytes) {
        return {[this] { (*call)(); }, {}, bytes, self};
    }
};

/// Corridors three pixels wide between walls of one: each cell is open to its right or to the cell below.
std::vector<unsigned char> maze() {
    constexpr unsigned cell = 4;
    std::vector<unsigned char> wall(std::size_t{side} * side);
    unsigned grain = 1;
    for (unsigned y = 0; y < side; y += cell) {
        for (unsigned x = 0; x < side; x += cell) {
            grain = grain * 1664525U + 1013904223U;
            const bool right = y + cell >= side || (x + cell < side && (grain >> 31) != 0);
            wall[(y + cell - 1) * side + x + cell - 1] = 1;
            for (unsigned i = 0; i + 1 < cell; ++i) {
                if (right) {
                    wall[(y + cell - 1) * side + x + i] = 1;
                } else {
                    wall[(y + i) * side + x + cell - 1] = 1;
                }
            }
        }
    }
    return wall;
}

#ifdef ORV_PEER_OPENCV
cv::Mat matrixOf(Picture& picture) { return {side, side, CV_8U, picture.samples()}; }
#endif

Measurement::Runs extrema() {
    auto scene = std::make_shared<Scene>(ORV_BYTE, 1);
    host::Op& op = scene->start("extrema8");
    op.addPointer(scene->colour);
    op.addPointer(scene->boundary);
    Measurement::Runs runs = scene->runs(scene, scene->source.bytes());
#ifdef ORV_PEER_OPENCV
    runs.peer = [image = matrixOf(scene->source)] {
        double low = 0;
        double high = 0;
        cv::minMaxLoc(image, &low, &high);
    };
#endif
    return runs;
}

Measurement::Runs histogram() {
    auto scene = std::make_shared<Scene>(ORV_BYTE, 1);
    const unsigned bins[] = {256};
    const float low[] = {0};
    const float high[] = {255};
    scene->histogram = host::Histogram::make(session(), bins, low, high);
    host::Op& op = scene->start("histogram8");
    op.addObject(scene->histogram.get());
    op.addLong(1);
    op.addLong(1);
    Measurement::Runs runs = scene->runs(scene, scene->source.bytes());
#ifdef ORV_PEER_OPENCV
    runs.peer = [image = matrixOf(scene->source)] {
        const int channel = 0;
        const int size = 256;
        const float span[] = {0, 256};
        const float* ranges = span;
        cv::Mat counts;
        cv::calcHist(&image, 1, &channel, cv::noArray(), counts, 1, &size, &ranges);
    };
#endif
    return runs;
}

Measurement::Runs fillBytes(const std::vector<unsigned char>& walls) {
    auto scene = std::make_shared<Scene>(ORV_BYTE, 1);
    std::transform(walls.begin(), walls.end(), scene->source.samples(),
                   [](unsigned char wall) { return static_cast<unsigned char>(wall * 255); });
    host::Op& op = scene->start("fill8");
    op.addFloat(0);
    op.addFloat(0);
    op.addPointer(scene->boundary);
    op.addPointer(scene->colour);
    Measurement::Runs runs = scene->runs(scene, scene->source.bytes() * 2);
#ifdef ORV_PEER_OPENCV
    runs.peer = [image = matrixOf(scene->source), mask = cv::Mat(side + 2, side + 2, CV_8U)]() mutable {
        mask.setTo(0);
        cv::floodFill(image, mask, {0, 0}, 0, nullptr, 0, 0, 4 | cv::FLOODFILL_MASK_ONLY | 255 << 8);
    };
#endif
    return runs;
}

Measurement::Runs fillEmpty() { return fillBytes(std::vector<unsigned char>(std::size_t{side} * side)); }
Measurement::Runs fillMaze() { return fillBytes(maze()); }

Measurement::Runs fillBits() {
    auto scene = std::make_shared<Scene>(ORV_BIT, 1);
    const std::vector<unsigned char> walls = maze();
    std::memset(scene->source.samples(), 0, scene->source.bytes());
    for (std::size_t i = 0; i < walls.size(); ++i) {
        if (walls[i] != 0) scene->source.samples()[i / 8] |= static_cast<unsigned char>(0x80 >> (i % 8));
    }
    host::Op& op = scene->start("fill1");
    op.addFloat(0);
    op.addFloat(0);
    op.addPointer(scene->boundary);
    op.addPointer(scene->colour);
    Measurement::Runs runs = scene->runs(scene, scene->source.bytes() * 2);
#ifdef ORV_PEER_LEPTONICA
    const auto free = [](PIX* pix) { pixDestroy(&pix); };
    std::shared_ptr<PIX> open(pixCreate(side, side, 1), free);
    std::shared_ptr<PIX> seed(pixCreate(side, side, 1), free);
    for (std::size_t i = 0; i < walls.size(); ++i) {
        const auto x = static_cast<int>(i % side);
        const auto y = static_cast<int>(i / side);
        if (walls[i] == 0) pixSetPixel(open.get(), x, y, 1);
    }
    pixSetPixel(seed.get(), 0, 0, 1);
    runs.peer = [open, seed] {
        PIX* filled = pixSeedfillBinary(nullptr, seed.get(), open.get(), 4);
        pixDestroy(&filled);
    };
#endif
    return runs;
}

Measurement::Runs paintStamps() {
    constexpr unsigned brushSide = 64;
    constexpr unsigned stamps = (side / brushSide) * (side / brushSide);
    auto scene = std::make_shared<Scene>(ORV_BYTE, 3);
    std::vector<float> weights;
    for (unsigned i = 0; i < brushSide * brushSide; ++i) weights.push_back(static_cast<float>(i % 97) / 97);
    scene->brush = host::Kernel::make(session(), brushSide, brushSide, 0, 0, weights.data(), nullptr);
    for (unsigned i = 0; i < stamps; ++i) {
        scene->values.push_back(static_cast<float>(i % (side / brushSide) * brushSide));
        scene->values.push_back(static_cast<float>(i / (side / brushSide) * brushSide));
    }
    host::Op& op = scene->start("paint8");
    op.addPointer(scene->colour);
    op.addObject(scene->brush.get());
    op.addLong(stamps);
    op.addPointer(scene->values.data());
    return scene->runs(scene, scene->source.bytes() * 2);
}

const bool registered[] = {
    measure({"extrema8", "opencv minMaxLoc", 0.9, extrema}),
    measure({"histogram8 1 band", "opencv calcHist", 1.0, histogram}),
    measure({"fill8 empty", "opencv floodFill", 1.0, fillEmpty}),
    measure({"fill8 maze", "opencv floodFill", 1.0, fillMaze}),
    measure({"fill1 maze", "leptonica pixSeedfillBinary", 0.5, fillBits}),
    measure({"paint8 3 bands, 64 x 64", "", 0, paintStamps}),
};

} // namespace
