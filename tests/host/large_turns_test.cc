// Large pictures turned: the same bytes as by strips, which do not go past the caches, and nothing beside them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "orv/host/host.h"

namespace {

using namespace orv::host;

constexpr std::size_t large = std::size_t{48} << 20;

std::mt19937& random() {
    static std::mt19937 numbers = [] {
        const unsigned seed = std::random_device{}();
        std::printf("seed %u\n", seed);
        return std::mt19937(seed);
    }();
    return numbers;
}

unsigned below(unsigned limit) { return static_cast<unsigned>(random()() % limit); }

struct Kind {
    OrvDataType type;
    unsigned bands;

    unsigned sampleBytes() const { return type == ORV_BYTE ? 1 : 2; }
    unsigned pixelBytes() const { return bands * sampleBytes(); }
};

struct Size {
    unsigned width;
    unsigned height;
};

/// A picture that begins anywhere in a line. Its rows begin all alike in their lines, or not.
class Picture {
public:
    Picture(Kind kind, Size size, bool alike) : kind_(kind), size_(size), first_(below(64)) {
        const unsigned samples = 64 / kind.sampleBytes();
        stride_ = size.width * kind.bands + below(9);
        if (alike) stride_ = (stride_ + samples - 1) / samples * samples;
        samples_.resize((first_ + std::size_t{size.height} * stride_) * kind.sampleBytes() / sizeof(std::uint32_t) + 1);
        auto value = static_cast<std::uint32_t>(random()());
        for (std::uint32_t& word : samples_) {
            value = value * 1664525U + 1013904223U;
            word = value ^ value >> 13;
        }
    }

    Owned<Image> wrap(Session& session) {
        OrvMemoryStorage storage{};
        const auto pixel = static_cast<std::uint16_t>(kind_.bands);
        if (kind_.type == ORV_BYTE) {
            storage.byte = {reinterpret_cast<std::uint8_t*>(samples_.data()) + first_, stride_, pixel};
        } else {
            storage.shorts = {reinterpret_cast<std::int16_t*>(samples_.data()) + first_, stride_, pixel};
        }
        return Image::wrap(
            session, {.type = kind_.type, .width = size_.width, .height = size_.height, .bands = kind_.bands}, storage);
    }

    bool operator==(const Picture& other) const { return samples_ == other.samples_; }
    Size size() const { return size_; }

private:
    Kind kind_;
    Size size_;
    unsigned first_;
    unsigned stride_;
    std::vector<std::uint32_t> samples_;
};

std::vector<Rect> strips(Size size) {
    std::vector<Rect> rects;
    for (unsigned y = 0; y < size.height;) {
        const unsigned rows = std::min(1 + below(999), size.height - y);
        rects.push_back({0, y, size.width, rows});
        y += rows;
    }
    return rects;
}

void turn(Session& session, const char* name, long flip, Picture& from, Picture& to, bool inStrips) {
    const auto source = from.wrap(session);
    const auto destination = to.wrap(session);
    if (inStrips) destination->setRegion(strips(to.size()));
    const Owned<Op> op = Op::make(session, name);
    op->setSource(1, source.get());
    op->setDestination(destination.get());
    op->addLong(flip);
    ASSERT_EQ(session.run(*op).status, ORV_SUCCESS);
}

TEST(LargeTurns, AreThoseOfStrips) {
    const Owned<Session> session = Session::open();
    constexpr long turns[] = {2, 3, 4, 6};
    for (const Kind kind : {Kind{ORV_BYTE, 1}, {ORV_BYTE, 2}, {ORV_BYTE, 3}, {ORV_BYTE, 4}, {ORV_SHORT, 1}}) {
        for (const long flip : turns) {
            const unsigned width = below(8) == 0 ? 1 + below(200) : 1000 + below(9000);
            const Size size{width, static_cast<unsigned>(large / (width * kind.pixelBytes())) + below(3)};
            Picture from(kind, {size.height, size.width}, below(2) == 0);
            Picture whole(kind, size, below(4) != 0);
            const Picture before = whole;
            Picture inStrips = whole;
            const char* const name = kind.type == ORV_BYTE ? "transpose8" : "transpose16";
            turn(*session, name, flip, from, whole, false);
            turn(*session, name, flip, from, inStrips, true);
            EXPECT_TRUE(whole == inStrips) << kind.pixelBytes() << " bytes, flip " << flip << ", " << width << " wide";
            EXPECT_FALSE(whole == before);
        }
    }
}

} // namespace
