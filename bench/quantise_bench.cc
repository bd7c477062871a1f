// The quantisers: ordered dither, nearest colour, error diffusion and the choice of a colormap. Bytes are a smooth
// picture, as caches and searches meet it.

#include <cmath>

#include "Scene.h"

namespace {

using namespace orvbench;
namespace host = orv::host;

/// Waves of several lengths with a little grain, as photographs have it: the same colours however the samples lie.
void paint(Picture& picture) {
    const host::Shape& shape = picture.image().shape();
    if (shape.type != ORV_BYTE) return;
    unsigned grain = 1;
    for (unsigned y = 0; y < shape.height; ++y) {
        for (unsigned x = 0; x < shape.width; ++x) {
            const double u = static_cast<double>(x) / shape.width;
            const double v = (static_cast<double>(y) + u) / shape.height;
            for (unsigned band = 0; band < shape.bands; ++band) {
                grain = grain * 1664525U + 1013904223U;
                const double wave = 70 * std::sin(5 * u + 3 * v + band) + 20 * std::sin((30 + 4 * band) * u * v);
                picture.at(x, y)[band] = static_cast<unsigned char>(128 + wave + static_cast<double>(grain >> 29) - 4);
            }
        }
    }
}

constexpr unsigned levels[] = {8, 8, 4};

/// The samples of a map of even steps through the range of a type: `entries` of `bands` each.
template <class T>
host::Owned<host::Lookup> evenMap(OrvDataType type, unsigned bands, unsigned entries, double low, double high) {
    std::vector<T> table;
    for (unsigned i = 0; i < entries; ++i) {
        unsigned rest = i;
        for (unsigned band = 0; band < bands; ++band) {
            const unsigned count = entries == 2 ? 2 : levels[band % std::size(levels)];
            table.push_back(static_cast<T>(low + (high - low) * (rest % count) / (count - 1)));
            rest /= count;
        }
    }
    return host::Lookup::makeSingle(session(), type, type, bands, entries, 0, table.data());
}

host::Owned<host::Lookup> mapFor(const Kind& source, unsigned entries) {
    if (source.type == ORV_SHORT) return evenMap<short>(ORV_SHORT, source.bands, entries, -32768, 32767);
    return evenMap<unsigned char>(source.type, source.bands, entries, 0, source.type == ORV_BIT ? 1 : 255);
}

enum class Quantiser { nearest, dither, diffusion };

host::Owned<host::DitherMask> evenMask() {
    float thresholds[64];
    for (unsigned i = 0; i < 64; ++i) thresholds[i] = (static_cast<float>(i * 37 % 64) + 0.5F) / 64;
    return host::DitherMask::make(session(), 8, 8, 1, thresholds);
}

void makeCube(host::Lookup& map) {
    const int multipliers[] = {1, 6, 36};
    const unsigned cube[] = {6, 6, 6};
    map.setCube(multipliers, cube, 0);
}

/// An object that scenes share while one of them lives: a cache that knows one map at a time would be made anew by
/// scenes that take turns.
template <class Object>
class Shared {
public:
    Object& addTo(Scene& scene, auto make) {
        std::shared_ptr<Object> object = object_.lock();
        if (!object) object_ = object = make();
        scene.op().addObject(object.get());
        return scene.keep(object);
    }

private:
    std::weak_ptr<Object> object_;
};

struct Tables {
    Shared<host::Lookup> map;
    Shared<host::DitherMask> mask;
};

void addFloydSteinberg(Scene& scene) {
    const float weights[] = {0, 0, 0.4375F, 0.1875F, 0.3125F, 0.0625F};
    scene.op().addObject(&scene.keep(host::Kernel::make(session(), 3, 2, 1, 0, weights, "floyd-steinberg")));
}

/// A member: its op, types and colours.
Subject member(const std::string& op, Quantiser quantiser, const Kind& from, const Kind& to, unsigned entries) {
    return {op, {from}, to, [=, tables = std::make_shared<Tables>()](Scene& scene) {
                paint(scene.source());
                host::Lookup& map = tables->map.addTo(scene, [&] { return mapFor(from, entries); });
                if (quantiser == Quantiser::dither) {
                    makeCube(map);
                    tables->mask.addTo(scene, evenMask);
                }
                if (quantiser == Quantiser::diffusion) addFloydSteinberg(scene);
            }};
}

struct Family {
    const char* op;
    Quantiser quantiser;
};
constexpr Family families[] = {{"ordereddither", Quantiser::dither},
                               {"nearestcolor", Quantiser::nearest},
                               {"errordiffusion", Quantiser::diffusion}};

bool everyMember() {
    for (const Family& family : families) {
        for (const OrvDataType from : {ORV_BIT, ORV_BYTE, ORV_SHORT}) {
            for (const OrvDataType to : {ORV_BIT, ORV_BYTE, ORV_SHORT}) {
                const std::string op = std::string(family.op) + digitsOf(from) + "_" + digitsOf(to);
                // A full search of each colour takes its time: the plain members get few of them.
                const unsigned entries = to == ORV_BIT ? 2 : from == ORV_BYTE && to == ORV_BYTE ? 256 : 16;
                besideCopy(op + " 3", 0, member(op, family.quantiser, {from, 3}, {to, 1}, entries));
            }
        }
        const std::string op = std::string(family.op) + "8_8";
        layoutRows(op + " 3", member(op, family.quantiser, colors, bytes, 256));
        besideCopy(op, 0, member(op, family.quantiser, bytes, bytes, 16));
    }
    return true;
}
const bool members = everyMember();

const bool toBits =
    measure({.name = "errordiffusion8_1", .peer = "leptonica pixDitherToBinary", .goal = 1, .prepare = [] {
                 const auto scene = member("errordiffusion8_1", Quantiser::diffusion, bytes, bits, 2).scene();
#ifdef ORV_PEER_LEPTONICA
                 std::shared_ptr<PIX> grey(pixCreate(static_cast<l_int32>(side), static_cast<l_int32>(side), 8),
                                           [](PIX* pix) { pixDestroy(&pix); });
                 for (unsigned y = 0; y < side; ++y) {
                     for (unsigned x = 0; x < side; ++x) {
                         const auto sample = scene->source().samples()[std::size_t{y} * side + x];
                         pixSetPixel(grey.get(), static_cast<l_int32>(x), static_cast<l_int32>(y), sample);
                     }
                 }
                 return runsOf(scene, [grey] {
                     PIX* dithered = pixDitherToBinary(grey.get());
                     pixDestroy(&dithered);
                 });
#else
         return runsOf(scene);
#endif
             }});

/// What the op leaves in its cell, and destroys before it is run again.
struct Chosen {
    OrvLookup* map = nullptr;
    Chosen() = default;
    Chosen(const Chosen&) = delete;
    Chosen& operator=(const Chosen&) = delete;
    ~Chosen() { orv_destroy(map); }
};

const bool choice = measure({.name = "chooseColormap8 256", .peer = {}, .goal = 0, .prepare = [] {
                                 const auto scene =
                                     makeScene("chooseColormap8", Picture(ORV_BYTE, 3), Picture(ORV_BYTE, 1));
                                 paint(scene->source());
                                 Chosen& chosen = scene->keep(std::make_shared<Chosen>());
                                 scene->op().addPointer(static_cast<void*>(&chosen.map));
                                 scene->op().addLong(256);
                                 Runs runs = runsOf(scene);
                                 runs.orv = [scene, &chosen] {
                                     orv_destroy(chosen.map);
                                     chosen.map = nullptr;
                                     scene->run();
                                 };
                                 return runs;
                             }});

} // namespace
