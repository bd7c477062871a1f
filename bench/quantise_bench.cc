// The quantisers: ordered dither, nearest colour, error diffusion and the choice of a colormap on a smooth picture.

#include <cmath>
#include <memory>
#include <vector>

#include "Peer.h"

#ifdef ORV_PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif

namespace {

using namespace orvbench;
namespace host = orv::host;

constexpr unsigned colors = 256;

/// Waves of several lengths with a little grain, as photographs have it.
void paint(Picture& picture, unsigned bands) {
    unsigned char* sample = picture.samples();
    unsigned grain = 1;
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            const double u = x / double{side};
            const double v = y / double{side};
            for (unsigned band = 0; band < bands; ++band) {
                grain = grain * 1664525U + 1013904223U;
                const double wave = 70 * std::sin(5 * u + 3 * v + band) + 20 * std::sin((30 + 4 * band) * u * v);
                *sample++ = static_cast<unsigned char>(128 + wave + static_cast<double>(grain >> 29) - 4);
            }
        }
    }
}

struct Scene {
    Picture source;
    Picture result;
    host::Owned<host::Lookup> map = {};
    host::Owned<host::Kernel> kernel = {};
    host::Owned<host::DitherMask> mask = {};
    std::unique_ptr<Call> call = {};
    OrvLookup* chosen = nullptr;

    Scene(unsigned bands, OrvDataType to) : source(ORV_BYTE, bands), result(to, 1) { paint(source, bands); }
    ~Scene() { orv_destroy(chosen); }

    host::Op& start(const char* op) {
        call = std::make_unique<Call>(op, std::vector<Picture*>{&source}, result);
        return call->op();
    }
    Measurement::Runs runs(const std::shared_ptr<Scene>& self) {
        return {[this] { (*call)(); }, {}, source.bytes() + result.bytes(), self};
    }
};

std::vector<unsigned char> evenColors() {
    std::vector<unsigned char> table;
    for (unsigned i = 0; i < colors; ++i) {
        table.push_back(static_cast<unsigned char>((i & 7) * 36));
        table.push_back(static_cast<unsigned char>((i >> 3 & 7) * 36));
        table.push_back(static_cast<unsigned char>((i >> 6) * 85));
    }
    return table;
}

host::Owned<host::Kernel> floydSteinberg() {
    const float weights[] = {0, 0, 0.4375F, 0.1875F, 0.3125F, 0.0625F};
    return host::Kernel::make(session(), 3, 2, 1, 0, weights, "floyd-steinberg");
}

Measurement::Runs orderedDither() {
    auto scene = std::make_shared<Scene>(3, ORV_BYTE);
    const auto table = evenColors();
    scene->map = host::Lookup::makeSingle(session(), ORV_BYTE, ORV_BYTE, 3, colors, 0, table.data());
    const int multipliers[] = {1, 6, 36};
    const unsigned levels[] = {6, 6, 6};
    scene->map->setCube(multipliers, levels, 0);
    float thresholds[64];
    for (unsigned i = 0; i < 64; ++i) thresholds[i] = (static_cast<float>(i * 37 % 64) + 0.5F) / 64;
    scene->mask = host::DitherMask::make(session(), 8, 8, 1, thresholds);
    host::Op& op = scene->start("ordereddither8_8");
    op.addObject(scene->map.get());
    op.addObject(scene->mask.get());
    return scene->runs(scene);
}

Measurement::Runs nearestColor() {
    auto scene = std::make_shared<Scene>(3, ORV_BYTE);
    const auto table = evenColors();
    scene->map = host::Lookup::makeSingle(session(), ORV_BYTE, ORV_BYTE, 3, colors, 0, table.data());
    scene->start("nearestcolor8_8").addObject(scene->map.get());
    return scene->runs(scene);
}

Measurement::Runs diffuseToColors() {
    auto scene = std::make_shared<Scene>(3, ORV_BYTE);
    const auto table = evenColors();
    scene->map = host::Lookup::makeSingle(session(), ORV_BYTE, ORV_BYTE, 3, colors, 0, table.data());
    scene->kernel = floydSteinberg();
    host::Op& op = scene->start("errordiffusion8_8");
    op.addObject(scene->map.get());
    op.addObject(scene->kernel.get());
    return scene->runs(scene);
}

Measurement::Runs diffuseToBits() {
    auto scene = std::make_shared<Scene>(1, ORV_BIT);
    const unsigned char levels[] = {0, 255};
    scene->map = host::Lookup::makeSingle(session(), ORV_BYTE, ORV_BYTE, 1, 2, 0, levels);
    scene->kernel = floydSteinberg();
    host::Op& op = scene->start("errordiffusion8_1");
    op.addObject(scene->map.get());
    op.addObject(scene->kernel.get());
    Measurement::Runs runs = scene->runs(scene);
#ifdef ORV_PEER_LEPTONICA
    std::shared_ptr<PIX> grey(pixCreate(side, side, 8), [](PIX* pix) { pixDestroy(&pix); });
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            pixSetPixel(grey.get(), static_cast<int>(x), static_cast<int>(y), scene->source.samples()[y * side + x]);
        }
    }
    runs.peer = [grey] {
        PIX* bits = pixDitherToBinary(grey.get());
        pixDestroy(&bits);
    };
#endif
    return runs;
}

Measurement::Runs chooseColormap() {
    auto scene = std::make_shared<Scene>(3, ORV_BYTE);
    host::Op& op = scene->start("chooseColormap8");
    op.addPointer(&scene->chosen);
    op.addLong(colors);
    Measurement::Runs runs = scene->runs(scene);
    runs.orv = [raw = scene.get()] {
        orv_destroy(raw->chosen);
        raw->chosen = nullptr;
        (*raw->call)();
    };
    return runs;
}

const bool registered[] = {
    measure({"ordereddither8_8 3 bands", "", 0, orderedDither}),
    measure({"nearestcolor8_8 3 bands 256", "", 0, nearestColor}),
    measure({"errordiffusion8_8 3 bands 256", "", 0, diffuseToColors}),
    measure({"errordiffusion8_1", "leptonica pixDitherToBinary", 1.0, diffuseToBits}),
    measure({"chooseColormap8 256", "", 0, chooseColormap}),
};

} // namespace
