// Arithmetic, logic, blend, conversion and band ops beside OpenCV and Leptonica.

#include "Scene.h"

namespace {

using namespace orvbench;

/// Of the bands of colours and of a constant, for each band of the result.
constexpr float weights[12] = {0.4F, 0.3F, 0.2F, 1.5F, 0.1F, 0.7F, 0.15F, -2.0F, 0.25F, 0.25F, 0.5F, 0.0F};

#ifdef ORV_PEER_OPENCV

using Pairwise = void (*)(const cv::Mat& a, const cv::Mat& b, cv::Mat& d);
using Single = void (*)(const cv::Mat& a, cv::Mat& d);

bool pairRow(const char* op, OrvDataType type, double goal, Pairwise peer) {
    return measure({.name = op, .peer = "opencv", .goal = goal, .prepare = [op, type, peer] {
                        const auto scene = makeScene(op, Picture(type, 1), Picture(type, 1), Picture(type, 1));
                        return runsOf(scene, [=, a = matOf(scene->source()), b = matOf(scene->source(2)),
                                              d = matOf(scene->destination())]() mutable { peer(a, b, d); });
                    }});
}

bool singleRow(const char* op, OrvDataType from, OrvDataType to, Single peer) {
    return measure({.name = op, .peer = "opencv", .goal = 0.95, .prepare = [op, from, to, peer] {
                        const auto scene = makeScene(op, Picture(from, 1), Picture(to, 1));
                        return runsOf(scene, [=, a = matOf(scene->source()),
                                              d = matOf(scene->destination())]() mutable { peer(a, d); });
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

const bool blend = measure(
    {.name = "blend8a8", .peer = "opencv", .goal = 1.5, .prepare = [] {
         const auto scene = makeScene("blend8a8", Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1), Picture(ORV_BYTE, 1),
                                      Picture(ORV_BYTE, 1));
         cv::Mat second;
         matOf(scene->source(3)).convertTo(second, CV_32F, 1.0 / 255);
         const cv::Mat first = 1.0F - second;
         return runsOf(scene, [=, a = matOf(scene->source()), b = matOf(scene->source(2)),
                               d = matOf(scene->destination())]() mutable { cv::blendLinear(a, b, first, second, d); });
     }});

const bool combine =
    measure({.name = "bandCombine8", .peer = "opencv", .goal = 1, .prepare = [] {
                 const auto scene = makeScene("bandCombine8", Picture(ORV_BYTE, 3), Picture(ORV_BYTE, 3));
                 auto& kernel = scene->keep(orv::host::Kernel::make(session(), 4, 3, 0, 0, weights));
                 scene->op().addObject(&kernel);
                 return runsOf(scene, [a = matOf(scene->source()), d = matOf(scene->destination()),
                                       m = cv::Mat(3, 4, CV_32F, const_cast<float*>(weights))]() mutable {
                     cv::transform(a, d, m);
                 });
             }});

#endif

#ifdef ORV_PEER_LEPTONICA

/// Bits that begin at `from` in the source and at `to` in the destination, in place for two sources, as a raster
/// operation works.
bool bitRow(const char* name, const char* op, unsigned sources, unsigned from, unsigned to, l_int32 rasterOp) {
    return measure({.name = name, .peer = "leptonica", .goal = 1, .prepare = [=] {
                        const auto picture = [](unsigned offset) { return Picture(ORV_BIT, 1, offset); };
                        const auto scene = makeScene(op, picture(from), picture(to));
                        if (sources == 2) scene->op().setSource(2, &scene->destination().image());
                        return runsOf(scene, [=, s = bitmap(), d = bitmap()] {
                            const auto shift = static_cast<l_int32>(to) - static_cast<l_int32>(from);
                            const auto length = static_cast<l_int32>(side);
                            pixRasterop(d.get(), shift, 0, length, length, rasterOp, s.get(), 0, 0);
                        });
                    }});
}

const bool rasterOps =
    bitRow("and1", "and1", 2, 0, 0, PIX_SRC& PIX_DST) && bitRow("or1", "or1", 2, 0, 0, PIX_SRC | PIX_DST) &&
    bitRow("xor1", "xor1", 2, 0, 0, PIX_SRC ^ PIX_DST) && bitRow("copy1", "copy1", 1, 0, 0, PIX_SRC) &&
    bitRow("not1", "not1", 1, 0, 0, PIX_NOT(PIX_SRC)) && bitRow("and1 3 to 5", "and1", 2, 3, 5, PIX_SRC& PIX_DST) &&
    bitRow("or1 3 to 5", "or1", 2, 3, 5, PIX_SRC | PIX_DST) &&
    bitRow("xor1 3 to 5", "xor1", 2, 3, 5, PIX_SRC ^ PIX_DST) && bitRow("copy1 3 to 5", "copy1", 1, 3, 5, PIX_SRC) &&
    bitRow("not1 3 to 5", "not1", 1, 3, 5, PIX_NOT(PIX_SRC));

const bool widen = measure({.name = "convert1_8", .peer = "leptonica", .goal = 2, .prepare = [] {
                                const auto scene = makeScene("convert1_8", Picture(ORV_BIT, 1), Picture(ORV_BYTE, 1));
                                const auto length = static_cast<l_int32>(side);
                                std::shared_ptr<PIX> d(pixCreate(length, length, 8), [](PIX* p) { pixDestroy(&p); });
                                return runsOf(scene, [d, s = bitmap()] { pixConvert1To8(d.get(), s.get(), 0, 1); });
                            }});

#endif

Subject combining(const char* op, const Kind& kind) {
    return {op, {kind}, kind, [](Scene& scene) {
                scene.op().addObject(&scene.keep(orv::host::Kernel::make(session(), 4, 3, 0, 0, weights)));
            }};
}

// Ops without a peer, beside the copy.

const bool constantLogic = [] {
    for (const char* const name : {"andconst", "orconst", "xorconst"}) {
        besideCopy(0.95, {std::string(name) + "8", {bytes}, bytes, wordArray({0x3c})});
        besideCopy(0.95, {std::string(name) + "16", {shorts}, shorts, wordArray({0x3c3c})});
        besideCopy(0.95, {std::string(name) + "1", {bits}, bits, wordArray({1})});
    }
    return besideCopy("andconst8 3", 0.95, {"andconst8", {colors}, colors, wordArray({0x3c, 0xff, 1})});
}();

const bool withoutPeer[] = {
    besideCopy(0.95, {"add1", {bits, bits}, bits}),
    besideCopy(0.95, {"subtract1", {bits, bits}, bits}),
    besideCopy(0.95, {"multiply1", {bits, bits}, bits}),
    besideCopy(0.95, {"divide1", {bits, bits}, bits}),
    besideCopy(0.95, {"convert1_16", {bits}, shorts}),
    besideCopy("bandCombine1 3", 0, combining("bandCombine1", {ORV_BIT, 3})),
    besideCopy("bandCombine16 3", 0, combining("bandCombine16", shortColors)),
    besideCopy(0.95, {"convert8_1", {bytes}, bits}),
    besideCopy(0.95, {"convert16_1", {shorts}, bits}),
    besideCopy("convert8_1 3", 0.95, {"convert8_1", {colors}, {ORV_BIT, 3}}),
    besideCopy(0.95, {"blackgeneration8", {{ORV_BYTE, 4}}, {ORV_BYTE, 4}, floatValues({0.8F, 0.6F})}),
    besideCopy(0.95, {"blackgeneration16", {{ORV_SHORT, 4}}, {ORV_SHORT, 4}, floatValues({0.8F, 0.6F})}),
    besideCopy(0.95, {"blend1a1", {bits, bits, bits}, bits}),
    besideCopy(0.95, {"blend1a8", {bits, bits, bytes}, bits}),
    besideCopy(0.95, {"blend1a16", {bits, bits, shorts}, bits}),
    besideCopy(0.95, {"blend8a1", {bytes, bytes, bits}, bytes}),
    besideCopy(0.95, {"blend8a16", {bytes, bytes, shorts}, bytes}),
    besideCopy("blend8a8 3", 0.95, {"blend8a8", {colors, colors, bytes}, colors}),
    besideCopy(0.95, {"blend16a1", {shorts, shorts, bits}, shorts}),
    besideCopy(0.95, {"blend16a8", {shorts, shorts, bytes}, shorts}),
    besideCopy(0.95, {"blend16a16", {shorts, shorts, shorts}, shorts}),
};

// Other layouts.

const bool layouts[] = {
    layoutRows("add8", {"add8", {bytes, bytes}, bytes}),
    layoutRows("divide8", {"divide8", {bytes, bytes}, bytes}),
    layoutRows("xor16 3", {"xor16", {shortColors, shortColors}, shortColors}),
    layoutRows("and1", {"and1", {bits, bits}, bits}),
    layoutRows("blend8a8", {"blend8a8", {bytes, bytes, bytes}, bytes}),
    layoutRows("blend8a8 3", {"blend8a8", {colors, colors, bytes}, colors}),
    layoutRows("convert8_16", {"convert8_16", {bytes}, shorts}),
    layoutRows("convert1_8", {"convert1_8", {bits}, bytes}),
};

} // namespace
