// Every pair of colour spaces at both depths, beside OpenCV where it has such a conversion.

#include <string_view>

#include "Scene.h"

namespace {

using namespace orvbench;
namespace host = orv::host;

struct Space {
    const char* name;
    unsigned bands;
};
constexpr Space spaces[] = {{"rgblinear", 3}, {"rgb709", 3}, {"photoycc", 3}, {"ycc601", 3}, {"ycc709", 3},
                            {"cmy", 3},       {"cmyk", 4},   {"ylinear", 1},  {"y601", 1},   {"y709", 1}};

using Converter = void (*)(const void* from, void* to, bool bytes);

struct PeerRow {
    std::string_view from;
    std::string_view to;
    const char* name;
    double goal;
    Converter run;
};

#ifdef ORV_PEER_OPENCV

/// Rows are dense, and the peer's shorts unsigned.
cv::Mat matOf(const void* samples, bool bytes, int bands) {
    return {static_cast<int>(side), static_cast<int>(side), CV_MAKETYPE(bytes ? CV_8U : CV_16U, bands),
            const_cast<void*>(samples)};
}

template <int Code, int FromBands, int ToBands>
void converted(const void* from, void* to, bool bytes) {
    cv::Mat result = matOf(to, bytes, ToBands);
    cv::cvtColor(matOf(from, bytes, FromBands), result, Code);
}

void inverted(const void* from, void* to, bool bytes) {
    cv::Mat result = matOf(to, bytes, 3);
    cv::bitwise_not(matOf(from, bytes, 3), result);
}

constexpr PeerRow peers[] = {
    {"rgb709", "ycc601", "BGR2YCrCb", 1, converted<cv::COLOR_BGR2YCrCb, 3, 3>},
    {"ycc601", "rgb709", "YCrCb2BGR", 1, converted<cv::COLOR_YCrCb2BGR, 3, 3>},
    {"photoycc", "rgb709", "YCrCb2BGR", 1, converted<cv::COLOR_YCrCb2BGR, 3, 3>},
    {"rgb709", "y601", "BGR2GRAY", 1, converted<cv::COLOR_BGR2GRAY, 3, 1>},
    {"rgb709", "y709", "BGR2GRAY", 1, converted<cv::COLOR_BGR2GRAY, 3, 1>},
    {"rgblinear", "ylinear", "BGR2GRAY", 1, converted<cv::COLOR_BGR2GRAY, 3, 1>},
    {"ylinear", "rgblinear", "GRAY2BGR", 1, converted<cv::COLOR_GRAY2BGR, 1, 3>},
    {"rgblinear", "cmy", "bitwise_not", 0.9, inverted},
    {"cmy", "rgblinear", "bitwise_not", 0.9, inverted},
};

#else

constexpr PeerRow peers[] = {{}};

#endif

const PeerRow* peerOf(const Space& from, const Space& to) {
    for (const PeerRow& peer : peers) {
        if (peer.from == from.name && peer.to == to.name) return &peer;
    }
    return nullptr;
}

Subject conversion(OrvDataType type, const Space& from, const Space& to) {
    return {"colorconvert", {{type, from.bands}}, {type, to.bands}, [&from, &to](Scene& scene) {
                scene.op().addObject(&scene.keep(host::Colorspace::make(session(), from.name)));
                scene.op().addObject(&scene.keep(host::Colorspace::make(session(), to.name)));
            }};
}

std::string nameOf(OrvDataType type, const Space& from, const Space& to) {
    return std::string(type == ORV_BYTE ? "colorconvert 8 " : "colorconvert 16 ") + from.name + " to " + to.name;
}

bool pairRow(OrvDataType type, const Space& from, const Space& to) {
    const Subject subject = conversion(type, from, to);
    const PeerRow* peer = peerOf(from, to);
    if (peer == nullptr) return besideCopy(nameOf(type, from, to), 0, subject);
    return row(nameOf(type, from, to), subject, peer->name, peer->goal, [=](Scene& scene) {
        peer->run(scene.source().samples(), scene.destination().samples(), type == ORV_BYTE);
    });
}

bool everyPair() {
    for (const OrvDataType type : {ORV_BYTE, ORV_SHORT}) {
        for (const Space& from : spaces) {
            for (const Space& to : spaces) {
                if (&from != &to) pairRow(type, from, to);
            }
        }
    }
    return true;
}
const bool pairs = everyPair();

// One of each way in which pixels become others: samples by a table, bands mixed, bands as they are, one band to three.
bool layoutsOf(OrvDataType type) {
    const Space &linear = spaces[0], &rgb = spaces[1], &ycc = spaces[3], &inks = spaces[5], &grey = spaces[7];
    layoutRows(nameOf(type, linear, rgb), conversion(type, linear, rgb));
    layoutRows(nameOf(type, rgb, ycc), conversion(type, rgb, ycc));
    layoutRows(nameOf(type, linear, inks), conversion(type, linear, inks));
    return layoutRows(nameOf(type, grey, linear), conversion(type, grey, linear));
}
const bool layouts[] = {layoutsOf(ORV_BYTE), layoutsOf(ORV_SHORT)};

} // namespace
