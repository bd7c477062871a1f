// Copies, set values, lookups, rescales, thresholds, constants and the fused product and sum, beside OpenCV, memcpy and
// memset.

#include <cstdint>
#include <cstring>
#include <string>

#include "Scene.h"

namespace {

using namespace orvbench;
namespace host = orv::host;

// Lookups.

template <class T>
std::vector<T> curve(unsigned entries, unsigned bands) {
    std::vector<T> table(std::size_t{entries} * bands);
    unsigned value = 1;
    for (T& entry : table) {
        value = value * 1664525U + 1013904223U;
        entry = static_cast<T>(value >> 16);
    }
    return table;
}

short firstOf(OrvDataType type) { return type == ORV_SHORT ? -32768 : 0; }
unsigned entriesOf(OrvDataType type) { return type == ORV_SHORT ? 65536 : type == ORV_BYTE ? 256 : 2; }

/// A lookup of all values of its input but the last `missing`.
template <class T>
auto single(OrvDataType in, OrvDataType out, unsigned bands = 1, unsigned missing = 0) {
    return [=](Scene& scene) {
        const unsigned entries = entriesOf(in) - missing;
        const auto table = curve<T>(entries, bands);
        scene.op().addObject(
            &scene.keep(host::Lookup::makeSingle(session(), in, out, bands, entries, firstOf(in), table.data())));
    };
}
template <class T>
auto combined(OrvDataType in, OrvDataType out, unsigned bands) {
    return [=](Scene& scene) {
        const unsigned entries = entriesOf(in);
        const auto samples = curve<T>(entries, bands);
        std::vector<host::LookupTable> tables;
        tables.reserve(bands);
        for (unsigned band = 0; band < bands; ++band) {
            tables.push_back({samples.data() + std::size_t{band} * entries, entries, firstOf(in)});
        }
        scene.op().addObject(&scene.keep(host::Lookup::makeCombined(session(), in, out, tables)));
    };
}

using Byte = std::uint8_t;
using Short = std::int16_t;

const bool lookups[] = {
    besideCopy("lookup1_1", 0.9, {"lookup1_1", {bits}, bits, single<Byte>(ORV_BIT, ORV_BIT)}),
    besideCopy("lookup1_8", 0.9, {"lookup1_8", {bits}, bytes, single<Byte>(ORV_BIT, ORV_BYTE)}),
    besideCopy("lookup1_16", 0.9, {"lookup1_16", {bits}, shorts, single<Short>(ORV_BIT, ORV_SHORT)}),
    besideCopy("lookup8_1", 0.9, {"lookup8_1", {bytes}, bits, single<Byte>(ORV_BYTE, ORV_BIT)}),
    besideCopy("lookup16_1", 0, {"lookup16_1", {shorts}, bits, single<Byte>(ORV_SHORT, ORV_BIT)}),
    besideCopy("lookup8_8 1 to 3", 0, {"lookup8_8", {bytes}, colors, single<Byte>(ORV_BYTE, ORV_BYTE, 3)}),
    besideCopy("lookup8_8 combined 4", 0,
               {"lookup8_8", {{ORV_BYTE, 4}}, {ORV_BYTE, 4}, combined<Byte>(ORV_BYTE, ORV_BYTE, 4)}),
    besideCopy("lookup8_16 combined 3", 0,
               {"lookup8_16", {colors}, shortColors, combined<Short>(ORV_BYTE, ORV_SHORT, 3)}),
    besideCopy("lookup16_8", 0, {"lookup16_8", {shorts}, bytes, single<Byte>(ORV_SHORT, ORV_BYTE, 1, 1)}),
    besideCopy("lookup16_8 whole", 0, {"lookup16_8", {shorts}, bytes, single<Byte>(ORV_SHORT, ORV_BYTE)}),
    besideCopy("lookup16_8 3", 0, {"lookup16_8", {shortColors}, colors, single<Byte>(ORV_SHORT, ORV_BYTE)}),
    besideCopy("lookup16_8 combined 3", 0,
               {"lookup16_8", {shortColors}, colors, combined<Byte>(ORV_SHORT, ORV_BYTE, 3)}),
    besideCopy("lookup16_16", 0, {"lookup16_16", {shorts}, shorts, single<Short>(ORV_SHORT, ORV_SHORT)}),
    besideCopy("lookup16_16 combined 3", 0,
               {"lookup16_16", {shortColors}, shortColors, combined<Short>(ORV_SHORT, ORV_SHORT, 3)}),
};

// Tables of bytes, looked up or made of constants.

struct ByteTables {
    const char* name;
    unsigned tables; ///< one for all bands, or one a band
    Subject subject;
};
const ByteTables byteTables[] = {
    {"lookup8_8", 1, {"lookup8_8", {bytes}, bytes, single<Byte>(ORV_BYTE, ORV_BYTE)}},
    {"lookup8_8 3", 1, {"lookup8_8", {colors}, colors, single<Byte>(ORV_BYTE, ORV_BYTE)}},
    {"lookup8_8 combined 3", 3, {"lookup8_8", {colors}, colors, combined<Byte>(ORV_BYTE, ORV_BYTE, 3)}},
    {"rescale8", 1, {"rescale8", {bytes}, bytes, floatArrays({{1.3F}, {-20}})}},
    {"rescale8 3", 3, {"rescale8", {colors}, colors, floatArrays({{1.3F, 0.7F, -1}, {-20, 3, 255}})}},
    {"addconst8", 1, {"addconst8", {bytes}, bytes, floatArray({17})}},
    {"addconst8 3", 3, {"addconst8", {colors}, colors, floatArray({17, -5, 30})}},
    {"multiplyconst8", 1, {"multiplyconst8", {bytes}, bytes, floatArray({1.7F})}},
    {"multiplyconst8 3", 3, {"multiplyconst8", {colors}, colors, floatArray({1.7F, 0.5F, 0.9F})}},
};

/// Beside a lookup that reads tables like these.
bool besideLut(const ByteTables& row) {
#ifdef ORV_PEER_OPENCV
    return measure({.name = row.name,
                    .peer = "cv::LUT",
                    .goal = 3,
                    .prepare =
                        [row] {
                            const auto scene = row.subject.scene();
                            const auto table = curve<Byte>(256, row.tables);
                            const cv::Mat map(1, 256, CV_8UC(static_cast<int>(row.tables)));
                            std::memcpy(map.data, table.data(), table.size());
                            return runsOf(scene, [=] {
                                cv::Mat to = matOf(scene->destination());
                                cv::LUT(matOf(scene->source()), map, to);
                            });
                        },
                    .copyGoal = 0.9});
#else
    return besideCopy(row.name, 0.9, row.subject);
#endif
}

const bool tables = [] {
    for (const ByteTables& row : byteTables) besideLut(row);
    return true;
}();

const bool wideTable =
    besideCopy("lookup8_16", 0.9, {"lookup8_16", {bytes}, shorts, single<Short>(ORV_BYTE, ORV_SHORT)});

// Constants, rescale and threshold.

const bool constants[] = {
    besideCopy(0.95, {"subtractfromconst8", {bytes}, bytes, floatArray({200})}),
    besideCopy(0.95, {"divideintoconst8", {bytes}, bytes, floatArray({200})}),
    besideCopy(0.95, {"addconst16", {shorts}, shorts, floatArray({17})}),
    besideCopy(0.95, {"subtractfromconst16", {shorts}, shorts, floatArray({17})}),
    besideCopy(0.95, {"multiplyconst16", {shorts}, shorts, floatArray({1.7F})}),
    besideCopy(0.95, {"divideintoconst16", {shorts}, shorts, floatArray({3000})}),
    besideCopy(0.95, {"rescale16", {shorts}, shorts, floatArrays({{1.3F}, {-20}})}),
    besideCopy("rescale16 3", 0.95,
               {"rescale16", {shortColors}, shortColors, floatArrays({{1.3F, 0.7F, -1}, {-20, 3, 255}})}),
    besideCopy(0.95, {"threshold8", {bytes}, bytes, floatArrays({{40}, {200}, {7}})}),
    besideCopy("threshold8 3", 0.95,
               {"threshold8", {colors}, colors, floatArrays({{40, 3, 0}, {90, 200, 9}, {7, 8, 9}})}),
    besideCopy(0.95, {"threshold16", {shorts}, shorts, floatArrays({{-4000}, {2000}, {7}})}),
    besideCopy(0.95, {"addconst1", {bits}, bits, floatArray({0})}),
    besideCopy(0.95, {"subtractfromconst1", {bits}, bits, floatArray({1})}),
    besideCopy(0.95, {"multiplyconst1", {bits}, bits, floatArray({1})}),
    besideCopy(0.95, {"divideintoconst1", {bits}, bits, floatArray({1})}),
    besideCopy(0.95, {"rescale1", {bits}, bits, floatArrays({{-1}, {1}})}),
    besideCopy(0.95, {"threshold1", {bits}, bits, floatArrays({{0}, {0}, {1}})}),
};

// Copies.

const bool copies[] = {
    besideCopy(0.95, {"copy8", {bytes}, bytes}),
    besideCopy("copy8 3", 0.95, {"copy8", {colors}, colors}),
    besideCopy(0.95, {"copy16", {shorts}, shorts}),
    besideCopy(0.95, {"copy_with_planemask8", {bytes}, bytes, wordArray({0x3c}), true}),
    besideCopy(0.95, {"copy_with_planemask16", {shorts}, shorts, wordArray({0x3c3c}), true}),
    besideCopy(0.95, {"copy_with_planemask1", {bits}, bits, wordArray({1}), true}),
};

/// Two windows of one image: `from` is that of the source, `to` that of the destination.
struct Windows {
    unsigned fromX, fromY, toX, toY;
};

/// A copy within one image, beside a memmove of its rows.
bool within(const char* name, const char* op, Kind kind, const Windows& at, bool region = false) {
    return measure(
        {.name = name, .peer = "memmove", .goal = 0.95, .prepare = [=] {
             constexpr unsigned margin = 16;
             struct Children {
                 Picture parent;
                 host::Owned<host::Image> from;
                 host::Owned<host::Image> to;
                 host::Owned<host::Op> call;
             };
             auto scene = std::make_shared<Children>(Children{
                 Picture(kind.type, kind.bands, {.width = side + margin, .height = side + margin}), {}, {}, {}});
             scene->from = host::Image::child(scene->parent.image(), at.fromX, at.fromY, 0, side, side, kind.bands);
             scene->to = host::Image::child(scene->parent.image(), at.toX, at.toY, 0, side, side, kind.bands);
             const host::Rect all[] = {{0, 0, side, side}};
             if (region) scene->to->setRegion(all);
             scene->call = host::Op::make(session(), op);
             scene->call->setSource(1, scene->from.get());
             scene->call->setDestination(scene->to.get());
             // The peer moves the same rows, those of bits by whole bytes.
             const std::size_t bits = (kind.type == ORV_SHORT ? 16 : kind.type == ORV_BIT ? 1 : 8) * kind.bands;
             const std::size_t row = side * bits / 8;
             const std::size_t stride = (side + margin) * bits / 8;
             const std::size_t size = row * side;
             unsigned char* const from = scene->parent.samples() + at.fromY * stride + at.fromX * bits / 8;
             unsigned char* const to = scene->parent.samples() + at.toY * stride + at.toX * bits / 8;
             const bool bottomUp = at.toY > at.fromY;
             return Runs{.orv = [scene] { session().run(*scene->call); },
                         .peer =
                             [=] {
                                 for (std::size_t i = 0; i < side; ++i) {
                                     const std::size_t y = bottomUp ? side - 1 - i : i;
                                     std::memmove(to + y * stride, from + y * stride, row);
                                 }
                             },
                         .bytes = 2 * size,
                         .holds = scene};
         }});
}

const bool overlaps[] = {
    within("copy8 up", "copy8", bytes, {0, 5, 0, 0}),
    within("copy8 down", "copy8", bytes, {0, 0, 0, 5}),
    within("copy8 right", "copy8", bytes, {0, 0, 5, 0}),
    within("copy8 left", "copy8", bytes, {5, 0, 0, 0}),
    within("copy8 through a temporary", "copy8", bytes, {0, 0, 0, 5}, true),
    within("copy16 down", "copy16", shorts, {0, 0, 0, 5}),
    within("copy1 down", "copy1", bits, {0, 0, 0, 5}),
    within("copy1 right", "copy1", bits, {0, 0, 5, 0}),
};

bool tiled(const char* op, Kind kind, unsigned tile) {
    return measure({.name = op + std::string(" ") + std::to_string(tile), .peer = {}, .goal = 0, .prepare = [=] {
                        const auto scene =
                            makeScene(op, Picture(kind.type, kind.bands, {.width = tile, .height = tile}),
                                      Picture(kind.type, kind.bands));
                        Runs runs = runsOf(scene);
                        runs.bytes = 2 * scene->destination().bytes();
                        return runs;
                    }});
}

const bool tilings[] = {
    tiled("copypattern8", bytes, 64),   tiled("copypattern8", bytes, 4), tiled("copypattern8", colors, 64),
    tiled("copypattern16", shorts, 64), tiled("copypattern1", bits, 64), tiled("copypattern1", bits, 37),
};

/// A value for each band, beside memset of as many bytes.
bool set(const char* name, const char* op, Kind kind, std::initializer_list<float> value) {
    return measure({.name = name, .peer = "memset", .goal = 0.95, .prepare = [=, parameter = floatArray(value)] {
                        const auto scene = makeScene(op, Picture(kind.type, kind.bands));
                        parameter(*scene);
                        return runsOf(scene, [scene] {
                            std::memset(scene->destination().samples(), 7, scene->destination().bytes());
                        });
                    }});
}

const bool values8[] = {
    set("setvalue8", "setvalue8", bytes, {7}),
    set("setvalue8 3", "setvalue8", colors, {7, 8, 9}),
    set("setvalue16", "setvalue16", shorts, {700}),
    set("setvalue1", "setvalue1", bits, {1}),
};

// Product and sum in one pass, beside the two one after the other.
const bool fused =
    measure({.name = "add8/multiply8", .peer = "singly", .goal = 1.3, .prepare = [] {
                 const auto scene = makeScene("add8", Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1),
                                              Picture(ORV_BYTE, 1));
                 struct Ops {
                     Picture product;
                     host::Owned<host::Op> multiply;
                     host::Owned<host::Op> add;
                 };
                 auto& ops = scene->keep(std::make_shared<Ops>(Ops{Picture(ORV_BYTE, 1), {}, {}}));
                 const auto make = [&](const char* op, host::Image* a, host::Image* b, Picture& to) {
                     auto made = host::Op::make(session(), op);
                     made->setSource(1, a);
                     made->setSource(2, b);
                     made->setDestination(&to.image());
                     return made;
                 };
                 ops.multiply = make("multiply8", &scene->source(1).image(), &scene->source(2).image(), ops.product);
                 ops.add = make("add8", &ops.product.image(), &scene->source(3).image(), scene->destination());
                 scene->op().setSource(1, nullptr);
                 scene->op().setSource(2, &scene->source(3).image());
                 scene->op().setSource(3, nullptr);
                 scene->op().setOp1(ops.multiply.get());
                 return runsOf(scene, [&ops] {
                     session().run(*ops.multiply);
                     session().run(*ops.add);
                 });
             }});

/// One threshold fed by another, in one pass.
Subject thresholdPair(const char* op, const Kind& kind) {
    return {op, {kind}, kind, [op](Scene& scene) {
                host::Op& earlier = scene.keep(host::Op::make(session(), op));
                earlier.setSource(1, &scene.source().image());
                for (const float value : {40.0F, 90.0F, 7.0F}) {
                    earlier.addPointer(scene.keep(std::make_shared<std::vector<float>>(1, value)).data());
                }
                scene.op().setSource(1, nullptr);
                scene.op().setOp1(&earlier);
                floatArrays({{100}, {200}, {9}})(scene);
            }};
}

const bool pairs = besideCopy("threshold8/threshold8", 0, thresholdPair("threshold8", bytes)) &&
                   besideCopy("threshold16/threshold16", 0, thresholdPair("threshold16", shorts));

// Other layouts.

const bool layouts[] = {
    layoutRows("copy8 3", {"copy8", {colors}, colors}),
    layoutRows("lookup8_8 3", byteTables[1].subject),
    layoutRows("rescale16", {"rescale16", {shorts}, shorts, floatArrays({{1.3F}, {-20}})}),
    layoutRows("threshold8", {"threshold8", {bytes}, bytes, floatArrays({{40}, {200}, {7}})}),
    layoutRows("addconst16", {"addconst16", {shorts}, shorts, floatArray({17})}),
    layoutRows("setvalue8 3",
               [](const Layout& layout) {
                   auto scene = makeScene("setvalue8", Picture(ORV_BYTE, 3, layout));
                   floatArray({7, 8, 9})(*scene);
                   return scene;
               }),
};

} // namespace
