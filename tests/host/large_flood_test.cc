// Floods of pictures of 100 megapixels: a flood's stack is on the heap, and small beside the picture. ORV_LARGE_SIDE
// makes the pictures of another size.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "orv/host/host.h"

namespace {

using namespace orv::host;

constexpr std::uint8_t wall = 255;
constexpr std::uint8_t paint = 100;

long peakBytes() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss * 1024L;
}

/// A square picture of bytes of one band.
class Large {
public:
    template <class Sample>
    void draw(Sample sample) {
        for (unsigned y = 0; y < side_; ++y) {
            for (unsigned x = 0; x < side_; ++x) samples_[std::size_t{y} * side_ + x] = sample(x, y);
        }
        samples_[0] = 0;
    }

    /// Floods from the corner in place. Answers the pixels painted.
    std::size_t flood() {
        OrvMemoryStorage storage{};
        storage.byte = {samples_.data(), side_, 1};
        const auto image = Image::wrap(*session_, {.type = ORV_BYTE, .width = side_, .height = side_}, storage);
        float boundary = wall;
        float colour = paint;
        const Owned<Op> op = Op::make(*session_, "fill8");
        op->setSource(1, image.get());
        op->setDestination(image.get());
        op->addFloat(0);
        op->addFloat(0);
        op->addPointer(&boundary);
        op->addPointer(&colour);
        EXPECT_EQ(session_->run(*op).status, ORV_SUCCESS);
        return static_cast<std::size_t>(std::count(samples_.begin(), samples_.end(), paint));
    }

    unsigned side() const { return side_; }
    std::size_t pixels() const { return samples_.size(); }

private:
    static unsigned sideWanted() {
        const char* const text = std::getenv("ORV_LARGE_SIDE");
        return text != nullptr ? static_cast<unsigned>(std::atoi(text)) : 10000;
    }

    unsigned side_ = sideWanted();
    std::vector<std::uint8_t> samples_ = std::vector<std::uint8_t>(std::size_t{side_} * side_, 1);
    Owned<Session> session_ = Session::open();
};

/// Numbers without a pattern.
class Noise {
public:
    unsigned operator()() { return (state_ = state_ * 1664525U + 1013904223U) >> 8; }

private:
    std::uint32_t state_ = 1;
};

constexpr long mebibyte = 1L << 20;

TEST(LargeFlood, TakesLittleMemory) {
    Large picture;
    const long before = peakBytes();
    const auto taken = [before] { return peakBytes() - before; };

    picture.draw([](unsigned, unsigned) { return std::uint8_t{0}; });
    EXPECT_EQ(picture.flood(), picture.pixels());
    EXPECT_LT(taken(), 64 * mebibyte) << "empty";

    // Each cell is open to its right or to the cell below, and all of them hang together.
    Noise noise;
    std::vector<bool> opensRight(picture.side() / 4 + 1);
    picture.draw([&](unsigned x, unsigned y) -> std::uint8_t {
        if (y % 4 == 0 && x % 4 == 0) opensRight[x / 4] = y + 4 >= picture.side() || (noise() & 1) != 0;
        const bool right = opensRight[x / 4] && x + 4 < picture.side();
        if (x % 4 == 3 && y % 4 == 3) return wall;
        return (x % 4 == 3 && !right) || (y % 4 == 3 && right) ? wall : 0;
    });
    EXPECT_GT(picture.flood(), picture.pixels() / 2);
    EXPECT_LT(taken(), 64 * mebibyte) << "maze";

    // Soft shapes with grain, as in a photograph: the flood winds around what is light.
    std::vector<float> wave(picture.side());
    for (unsigned i = 0; i < picture.side(); ++i) wave[i] = std::sin(static_cast<float>(i) / 71.0F);
    picture.draw([&](unsigned x, unsigned y) -> std::uint8_t {
        const float light = wave[x] * wave[(y * 3) % picture.side()] + wave[(x + y) % picture.side()];
        return light > 1.1F || noise() % 64 == 0 ? wall : 0;
    });
    EXPECT_GT(picture.flood(), picture.pixels() / 4);
    EXPECT_LT(taken(), 64 * mebibyte) << "photograph";

    // On noise the stack is what it is.
    picture.draw([&](unsigned, unsigned y) -> std::uint8_t { return y != 0 && noise() % 100 < 35 ? wall : 0; });
    const std::size_t painted = picture.flood();
    std::printf("noise: %zu pixels flooded, %ld MiB beside the picture\n", painted, taken() / mebibyte);
}

} // namespace
