// Every pair of colour spaces at both depths, beside OpenCV where it has such a conversion.

#include <memory>
#include <string>
#include <string_view>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace orvbench;
namespace host = orv::host;

struct Space {
    const char* name;
    unsigned bands;
};
constexpr Space spaces[] = {{"rgblinear", 3}, {"rgb709", 3}, {"photoycc", 3}, {"ycc601", 3}, {"ycc709", 3},
                            {"cmy", 3},       {"cmyk", 4},   {"ylinear", 1},  {"y601", 1},   {"y709", 1}};

using Peer = void (*)(const void* from, void* to, bool bytes);

struct PeerRow {
    std::string_view from;
    std::string_view to;
    const char* name;
    double goal;
    Peer run;
};

#ifdef ORV_PEER_OPENCV

/// Rows are dense, and the peer's shorts unsigned.
cv::Mat matOf(const void* samples, bool bytes, int bands) {
    return {side, side, CV_MAKETYPE(bytes ? CV_8U : CV_16U, bands), const_cast<void*>(samples)};
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

/// The images of a row, and the call on them.
struct Scene {
    Picture source;
    Picture result;
    host::Owned<host::Colorspace> from;
    host::Owned<host::Colorspace> to;
    Call call;

    Scene(OrvDataType type, const Space& fromSpace, const Space& toSpace)
        : source(type, fromSpace.bands),
          result(type, toSpace.bands),
          from(host::Colorspace::make(session(), fromSpace.name)),
          to(host::Colorspace::make(session(), toSpace.name)),
          call("colorconvert", {&source}, result) {
        call.op().addObject(from.get());
        call.op().addObject(to.get());
    }
};

bool pairRow(OrvDataType type, const Space& from, const Space& to) {
    const bool bytes = type == ORV_BYTE;
    const PeerRow* peer = peerOf(from, to);
    return measure({.name = std::string(bytes ? "colour8 " : "colour16 ") + from.name + " to " + to.name,
                    .peer = peer == nullptr ? "" : peer->name,
                    .goal = peer == nullptr ? 0 : peer->goal,
                    .prepare = [=] {
                        const auto scene = std::make_shared<Scene>(type, from, to);
                        Measurement::Runs runs{.orv = [scene] { scene->call(); },
                                               .peer = {},
                                               .bytes = scene->source.bytes() + scene->result.bytes(),
                                               .holds = scene};
                        if (peer != nullptr) {
                            runs.peer = [=] { peer->run(scene->source.samples(), scene->result.samples(), bytes); };
                        }
                        return runs;
                    }});
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
const bool registered = everyPair();

} // namespace
