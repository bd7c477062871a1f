// orvbench [--build NAME] [--times N] [TEXT]: measures every op whose name holds TEXT and prints a table of ratios, the
// speed of the op over that of its peer and over that of memcpy.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "Peer.h"

#ifdef ORV_PEER_OPENCV
#include <opencv2/core.hpp>
#endif

namespace orvbench {

namespace {

std::string build;

std::vector<Measurement>& measurements() {
    static std::vector<Measurement> all;
    return all;
}

double milliseconds(const std::function<void()>& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void report(const Measurement& measurement, int times) {
    const Measurement::Runs runs = measurement.prepare();
    // A copy reads and writes: half of the op's bytes go each way.
    std::vector<unsigned char> from(runs.bytes / 2, 1);
    std::vector<unsigned char> to(runs.bytes / 2);
    double orv = 1e30;
    double peer = 1e30;
    double copy = 1e30;
    for (int i = 0; i < times; ++i) {
        orv = std::min(orv, milliseconds(runs.orv));
        if (runs.peer) peer = std::min(peer, milliseconds(runs.peer));
        copy = std::min(copy, milliseconds([&] { std::memcpy(to.data(), from.data(), from.size()); }));
    }
    std::printf("%-22s %8.3f ms  memcpy %8.3f ms %6.2f", measurement.name.c_str(), orv, copy, copy / orv);
    if (measurement.copyGoal != 0) std::printf(" (goal %.2f)", measurement.copyGoal);
    if (runs.peer) {
        std::printf("   %-10s %8.3f ms %6.2f (goal %.2f)", measurement.peer.c_str(), peer, peer / orv,
                    measurement.goal);
    }
    std::printf("\n");
}

void cutUp(orv::host::Image& image, const Layout& layout) {
    constexpr unsigned count = 4;
    constexpr unsigned gap = 3;
    const unsigned width = layout.width / count;
    const unsigned height = layout.height / count;
    std::vector<orv::host::Rect> rects;
    for (unsigned i = 0; i < count * count; ++i) {
        rects.push_back({i % count * width, i / count * height, width - gap, height - gap});
    }
    image.setRegion(rects);
}

} // namespace

orv::host::Session& session() {
    static const orv::host::Owned<orv::host::Session> session = [] {
        auto opened = orv::host::Session::open({.build = build});
        opened->setErrorHandler([](const orv::host::Report&) {});
        return opened;
    }();
    return *session;
}

Picture::Picture(OrvDataType type, unsigned bands, const Layout& layout) {
    const unsigned pixel = bands + layout.pixelGap;
    const unsigned sampleBytes = type == ORV_FLOAT ? 4 : type == ORV_SHORT ? 2 : 1;
    const unsigned stride =
        layout.rowGap + (type == ORV_BIT ? (layout.width + layout.offset + 7) / 8 : layout.width * pixel);
    const std::size_t planes = type == ORV_BIT ? bands : 1;
    bytes_.resize(std::size_t{stride} * layout.height * planes * sampleBytes);
    std::mt19937 random(7);
    for (unsigned char& byte : bytes_) byte = static_cast<unsigned char>(random());
    OrvMemoryStorage storage{};
    const auto pixelStride = static_cast<std::uint16_t>(pixel);
    switch (type) {
    case ORV_BIT:
        storage.bit = {bytes_.data(), static_cast<std::uint16_t>(stride), stride * layout.height,
                       static_cast<std::uint8_t>(layout.offset)};
        break;
    case ORV_BYTE:
        storage.byte = {bytes_.data(), stride, pixelStride};
        break;
    case ORV_SHORT:
        storage.shorts = {samples<short>(), stride, pixelStride};
        break;
    case ORV_FLOAT:
        storage.floats = {samples<float>(), stride, pixelStride};
        break;
    }
    image_ = orv::host::Image::wrap(
        session(), {.type = type, .width = layout.width, .height = layout.height, .bands = bands}, storage);
    if (layout.rectangles) cutUp(*image_, layout);
}

Call::Call(const char* op, std::vector<Picture*> sources, Picture& destination)
    : op_(orv::host::Op::make(session(), op)) {
    int number = 0;
    for (Picture* source : sources) op_->setSource(++number, &source->image());
    op_->setDestination(&destination.image());
}

void Call::operator()() {
    if (session().run(*op_).status != ORV_SUCCESS) {
        std::fprintf(stderr, "%s failed\n", op_->name().c_str());
        std::exit(1);
    }
}

bool measure(Measurement measurement) {
    measurements().push_back(std::move(measurement));
    return true;
}

} // namespace orvbench

int main(int count, char** values) {
    int times = 30;
    std::string text;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(values[i], "--build") == 0 && i + 1 < count) {
            orvbench::build = values[++i];
        } else if (std::strcmp(values[i], "--times") == 0 && i + 1 < count) {
            times = std::atoi(values[++i]);
        } else {
            text = values[i];
        }
    }
#ifdef ORV_PEER_OPENCV
    cv::setNumThreads(1);
#endif
    for (const orvbench::Measurement& measurement : orvbench::measurements()) {
        if (measurement.name.find(text) != std::string::npos) orvbench::report(measurement, times);
    }
    return 0;
}
