// Bytes as the choice of a call of any function and of changes to it: geometry, numbers, a failure. The call must not
// crash and write nowhere but to its samples, and without a failure it must do the same on every storage, and what the
// model of its function says where there is one that knows.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "models/Answers.h"
#include "replay/CaseText.h"
#include "replay/Runner.h"
#include "support/Calls.h"

namespace {

class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool left() const { return at_ < size_; }
    unsigned next() { return left() ? data_[at_++] : 0; }
    unsigned below(unsigned n) { return next() % n; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

/// Cuts or stretches an image that has no relatives; samples are made up.
void resize(orvcase::Case& c, orvcase::Image& image, Bytes& bytes) {
    const bool related = !image.parent.empty() || std::any_of(c.images.begin(), c.images.end(), [&](const auto& each) {
        return each.parent == image.name;
    });
    if (related) return;
    image.width = 1 + bytes.below(80);
    image.height = 1 + bytes.below(40);
    image.stride.reset();
    image.bandStride.reset();
    if (image.type == ORV_BIT) image.offset = bytes.below(8);
    const auto low = static_cast<long>(orvmodel::lowest(image.type));
    const auto span = static_cast<unsigned long>(orvmodel::highest(image.type) - orvmodel::lowest(image.type)) + 1;
    image.data.resize(image.sampleCount());
    unsigned long state = bytes.next() + 1;
    for (double& sample : image.data) {
        state = state * 6364136223846793005UL + 1442695040888963407UL;
        sample = static_cast<double>(low + static_cast<long>((state >> 33) % span));
    }
}

float oddNumber(Bytes& bytes) {
    constexpr std::array<float, 14> odd = {0.0F,   -0.0F, 1.0F,  0.5F,  -1.0F,    1e-8F,  1e30F,
                                           -1e30F, 2e9F,  -3e9F, 65536, 0.99999F, 255.5F, 1.0F / 3};
    const unsigned choice = bytes.below(odd.size() + 2);
    if (choice < odd.size()) return odd[choice];
    return choice == odd.size() ? std::numeric_limits<float>::quiet_NaN() : std::numeric_limits<float>::infinity();
}

void change(orvcase::Case& c, Bytes& bytes) {
    auto& call = std::get<orvcase::Call>(c.steps.front());
    orvcase::Image& image = c.images[bytes.below(static_cast<unsigned>(c.images.size()))];
    switch (bytes.below(6)) {
    case 0:
        return resize(c, image, bytes);
    case 1:
        image.originX = static_cast<float>(static_cast<int>(bytes.next()) - 128) / 4;
        image.originY = static_cast<float>(static_cast<int>(bytes.next()) - 128) / 4;
        return;
    case 2: {
        const long x = static_cast<long>(bytes.below(20)) - 3;
        const long y = static_cast<long>(bytes.below(20)) - 3;
        const long width = 1 + bytes.below(90);
        if (!image.roi) image.roi.emplace();
        image.roi->push_back({x, y, width, 1 + bytes.below(40)});
        return;
    }
    case 3:
        for (auto& param : call.params) {
            if (param.kind == orvcase::Param::Kind::real && bytes.below(2) != 0) param.real = oddNumber(bytes);
        }
        return;
    case 4:
        for (auto& array : c.floats) {
            const auto size = static_cast<unsigned>(array.data.size());
            if (size != 0) array.data[bytes.below(size)] = static_cast<double>(oddNumber(bytes));
        }
        return;
    default:
        for (auto& kernel : c.kernels) {
            const auto size = static_cast<unsigned>(kernel.data.size());
            if (size != 0) kernel.data[bytes.below(size)] = static_cast<double>(oddNumber(bytes));
        }
        return;
    }
}

void complain(const orvcase::Case& c, const std::string& what) {
    std::fprintf(stderr, "%s\n%s", what.c_str(), orvcase::writeCase(c).c_str());
    std::abort();
}

/// A failure of the host's or of memory: nothing but the mismatches that no call may have is looked at.
void fail(orvcase::Case c, Bytes& bytes) {
    auto& call = std::get<orvcase::Call>(c.steps.front());
    orvcase::Fault fault{.point = static_cast<orvcase::FaultPoint>(bytes.below(20)), .nth = 1 + bytes.below(12)};
    using enum orvcase::FaultPoint;
    if (fault.point == storage || fault.point == imageRoi || fault.point == roi || fault.point == systemState) {
        fault.image = c.images[bytes.below(static_cast<unsigned>(c.images.size()))].name;
    }
    call.faults = {fault};
    const orvcase::Outcome outcome = orvcase::runCase(c, {});
    for (const auto& mismatch : outcome.mismatches) {
        if (mismatch.text.find("no sample") != std::string::npos || mismatch.text.find("beside") != std::string::npos) {
            complain(c, mismatch.text);
        }
    }
}

void compareWithModel(orvcase::Case c) {
    if (!orvmodel::answerCase(c)) return;
    const orvcase::Outcome outcome = orvcase::runCase(c, {});
    if (!outcome.passed()) complain(c, "its model says otherwise: " + outcome.mismatches[0].text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 6) return -1;
    Bytes bytes(data, size);
    std::uint64_t seed = 0;
    for (int i = 0; i < 3; ++i) seed = seed << 8 | bytes.next();
    const unsigned failing = bytes.next();
    orvcase::Case c = orvmodel::randomCall(seed);
    while (bytes.left()) change(c, bytes);
    if (failing < 80) fail(c, bytes);
    compareWithModel(c);
    const orvcase::Outcome first = orvcase::runCase(c, {.keepOutcome = true});
    if (first.calls.empty()) return 0;
    const orvcase::Case again = orvcase::withOutcome(c, first);
    for (const orvcase::Storage storage : orvcase::allStorages()) {
        const orvcase::Outcome outcome = orvcase::runCase(again, {.storage = storage});
        if (!outcome.passed()) complain(c, outcome.mismatches[0].text);
    }
    return 0;
}
