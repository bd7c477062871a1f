// Extrema, histograms, squeezed ranges, fills and paint.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Scene.h"
#include "orv/device/OrvLookup.h"

namespace {

using namespace orvbench;
namespace host = orv::host;

Subject extrema(const Kind& kind) {
    return {.op = opName("extrema", kind),
            .from = {kind},
            .to = kind,
            .parameters = floatArrays({std::vector<float>(kind.bands), std::vector<float>(kind.bands)}),
            .writesNothing = true};
}

Subject histogram(const Kind& kind, unsigned bins) {
    return {.op = opName("histogram", kind), .from = {kind}, .to = kind, .parameters = [kind, bins](Scene& scene) {
                const std::vector<unsigned> count(kind.bands, bins);
                const std::vector<float> low(kind.bands, kind.type == ORV_SHORT ? -32768.0F : 0.0F);
                const std::vector<float> high(kind.bands, kind.type == ORV_SHORT  ? 32767.0F
                                                          : kind.type == ORV_BYTE ? 255.0F
                                                                                  : 1.0F);
                scene.op().addObject(&scene.keep(host::Histogram::make(session(), count, low, high)));
                scene.op().addLong(1);
                scene.op().addLong(1);
            }};
}

/// The lookup that each call makes is given back before the next.
Subject squeezeRange(const Kind& kind) {
    struct Slot {
        OrvLookup* lookup = nullptr;
        ~Slot() { orv_destroy(lookup); }
    };
    return {.op = opName("squeezerange", kind), .from = {kind}, .to = kind, .parameters = [](Scene& scene) {
                scene.op().addPointer(static_cast<void*>(&scene.keep(std::make_shared<Slot>()).lookup));
            }};
}

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

std::vector<unsigned char> noWalls() { return std::vector<unsigned char>(std::size_t{side} * side); }

/// Makes a byte for each pixel, 0 where a flood may go; called when a row is prepared.
using Walls = std::vector<unsigned char> (*)();

/// From the corner; the boundary colour is the highest sample in every band.
void addFillParameters(Scene& scene, const Kind& kind) {
    const float highest = kind.type == ORV_BIT ? 1.0F : kind.type == ORV_BYTE ? 255.0F : 32767.0F;
    floatValues({0, 0})(scene);
    floatArrays({std::vector<float>(kind.bands, highest), std::vector<float>(kind.bands, 1)})(scene);
}

/// Over samples of no pattern, where few pixels are boundary (of bits, half of them).
Subject fill(const Kind& kind) {
    return {.op = opName("fill", kind), .from = {kind}, .to = kind, .parameters = [kind](Scene& scene) {
                addFillParameters(scene, kind);
            }};
}

/// On a dense picture of one band with these walls.
Subject fillBetween(const Kind& kind, Walls makeWalls) {
    return {.op = opName("fill", kind), .from = {kind}, .to = kind, .parameters = [kind, makeWalls](Scene& scene) {
                const std::vector<unsigned char> walls = makeWalls();
                Picture& picture = scene.source();
                std::fill_n(picture.samples(), picture.bytes(), static_cast<unsigned char>(0));
                for (std::size_t i = 0; i < walls.size(); ++i) {
                    if (walls[i] == 0) continue;
                    switch (kind.type) {
                    case ORV_BIT:
                        picture.samples()[i / 8] |= static_cast<unsigned char>(0x80 >> (i % 8));
                        break;
                    case ORV_BYTE:
                        picture.samples()[i] = 255;
                        break;
                    default:
                        picture.samples<short>()[i] = 32767;
                    }
                }
                addFillParameters(scene, kind);
            }};
}

Subject softFill(const Kind& kind) {
    return {.op = opName("softfill", kind), .from = {kind}, .to = kind, .parameters = [kind](Scene& scene) {
                const float foreground = kind.type == ORV_BIT ? 1.0F : 100.0F;
                std::vector<float> background(kind.bands, kind.type == ORV_SHORT ? -32768.0F : 0.0F);
                Picture& picture = scene.source();
                const std::size_t pixelBytes = kind.bands * (kind.type == ORV_SHORT ? 2 : 1);
                std::fill_n(picture.samples(), pixelBytes, static_cast<unsigned char>(0x80)); // the seed is inside
                if (kind.type == ORV_SHORT) std::fill_n(picture.samples<short>(), kind.bands, short{100});
                floatValues({0, 0})(scene);
                floatArray(std::vector<float>(kind.bands, foreground))(scene);
                scene.op().addLong(1);
                floatArrays({background, std::vector<float>(kind.bands, 0)})(scene);
            }};
}

/// Stamps of 64 x 64 side by side over the whole picture.
Subject paint(const Kind& kind) {
    return {.op = opName("paint", kind), .from = {kind}, .to = kind, .parameters = [kind](Scene& scene) {
                constexpr unsigned brush = 64;
                std::vector<float> weights;
                weights.reserve(std::size_t{brush} * brush);
                for (unsigned i = 0; i < brush * brush; ++i) weights.push_back(static_cast<float>(i % 97) / 97);
                std::vector<float> places;
                for (unsigned y = 0; y < side; y += brush) {
                    for (unsigned x = 0; x < side; x += brush) {
                        places.insert(places.end(), {static_cast<float>(x), static_cast<float>(y)});
                    }
                }
                const auto stamps = static_cast<long>(places.size() / 2);
                floatArray(std::vector<float>(kind.bands, kind.type == ORV_BIT ? 0.8F : 200.0F))(scene);
                scene.op().addObject(
                    &scene.keep(host::Kernel::make(session(), brush, brush, 0, 0, weights.data(), nullptr)));
                scene.op().addLong(stamps);
                floatArray(places)(scene);
            }};
}

Peer minMax() {
#ifdef ORV_PEER_OPENCV
    return [](Scene& scene) {
        double low = 0;
        double high = 0;
        cv::minMaxLoc(matOf(scene.source()), &low, &high);
    };
#else
    return {};
#endif
}

Peer calcHist([[maybe_unused]] const Kind& kind, [[maybe_unused]] int bins) {
#ifdef ORV_PEER_OPENCV
    return [kind, bins](Scene& scene) {
        const int channels[] = {0, 1, 2};
        const int sizes[] = {bins, bins, bins};
        const float span[] = {0, 256};
        const float* ranges[] = {span, span, span};
        const cv::Mat image = matOf(scene.source());
        cv::Mat counts;
        cv::calcHist(&image, 1, channels, cv::noArray(), counts, static_cast<int>(kind.bands), sizes, ranges);
    };
#else
    return {};
#endif
}

Peer floodFill() {
#ifdef ORV_PEER_OPENCV
    return [mask = cv::Mat()](Scene& scene) mutable {
        cv::Mat image = matOf(scene.source());
        mask.create(image.rows + 2, image.cols + 2, CV_8U);
        mask.setTo(0);
        cv::floodFill(image, mask, {0, 0}, 0, nullptr, 0, 0, 4 | cv::FLOODFILL_MASK_ONLY | 255 << 8);
    };
#else
    return {};
#endif
}

#ifdef ORV_PEER_LEPTONICA
/// Bits where a flood may go, and the corner where it begins.
struct Flood {
    std::shared_ptr<PIX> open = page();
    std::shared_ptr<PIX> seed = page();

    explicit Flood(const std::vector<unsigned char>& walls) {
        for (std::size_t i = 0; i < walls.size(); ++i) {
            if (walls[i] == 0) pixSetPixel(open.get(), static_cast<int>(i % side), static_cast<int>(i / side), 1);
        }
        pixSetPixel(seed.get(), 0, 0, 1);
    }
    static std::shared_ptr<PIX> page() {
        const auto length = static_cast<l_int32>(side);
        return {pixCreate(length, length, 1), [](PIX* pix) { pixDestroy(&pix); }};
    }
};
#endif

Peer seedFill([[maybe_unused]] Walls makeWalls) {
#ifdef ORV_PEER_LEPTONICA
    return [makeWalls, flood = std::optional<Flood>()](Scene&) mutable {
        if (!flood) flood.emplace(makeWalls());
        PIX* filled = pixSeedfillBinary(nullptr, flood->seed.get(), flood->open.get(), 4);
        pixDestroy(&filled);
    };
#else
    return {};
#endif
}

bool fills() {
    return row("fill1 empty", fillBetween(bits, noWalls), "leptonica", 0, seedFill(noWalls)) &&
           row("fill1 maze", fillBetween(bits, maze), "leptonica", 1, seedFill(maze)) &&
           row("fill8 empty", fillBetween(bytes, noWalls), "opencv", 1, floodFill()) &&
           row("fill8 maze", fillBetween(bytes, maze), "opencv", 1, floodFill()) &&
           row("fill16 empty", fillBetween(shorts, noWalls)) && row("fill16 maze", fillBetween(shorts, maze)) &&
           row("fill8 colors", fill(colors));
}

const bool registered =
    row("extrema1", extrema(bits)) && row("extrema8", extrema(bytes), "opencv", 0.9, minMax()) &&
    row("extrema8 colors", extrema(colors)) && row("extrema16", extrema(shorts), "opencv", 0, minMax()) &&
    row("histogram1", histogram(bits, 2)) &&
    row("histogram8", histogram(bytes, 256), "opencv", 1, calcHist(bytes, 256)) &&
    row("histogram8 colors", histogram(colors, 16), "opencv", 0, calcHist(colors, 16)) &&
    row("histogram16", histogram(shorts, 256)) && row("squeezerange1", squeezeRange(bits)) &&
    row("squeezerange8", squeezeRange(bytes)) && row("squeezerange16", squeezeRange(shorts)) && fills() &&
    row("softfill1", softFill(bits)) && row("softfill8", softFill(bytes)) &&
    row("softfill8 colors", softFill(colors)) && row("softfill16", softFill(shorts)) && row("paint1", paint(bits)) &&
    row("paint8", paint(bytes)) && row("paint8 colors", paint(colors)) && row("paint16", paint(shorts));

const bool layouts = layoutRows("extrema8 colors", extrema(colors)) &&
                     layoutRows("histogram8", histogram(bytes, 256)) &&
                     layoutRows("histogram8 colors", histogram(colors, 16)) &&
                     layoutRows("squeezerange16", squeezeRange(shorts)) && layoutRows("fill8", fill(bytes)) &&
                     layoutRows("fill1", fill(bits)) && layoutRows("softfill8 colors", softFill(colors)) &&
                     layoutRows("paint8 colors", paint(colors)) && layoutRows("paint1", paint(bits));

} // namespace
