// Every build of the device gives the same for every colour of bytes: where a build has vectors, or whole numbers in
// place of a chain of roundings, each of the pixels there are is held against the plain loops of the baseline. Of
// shorts, a million at random: enough for some ten thousand to lie next to a rounding edge.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "orv/host/host.h"

namespace {

namespace host = orv::host;
using Bytes = std::vector<std::uint8_t>;
using Shorts = std::vector<std::int16_t>;

constexpr unsigned side = 4096;
constexpr std::size_t colours = std::size_t{side} * side;

/// All pixels of three bytes.
Bytes everyColour() {
    Bytes samples(3 * colours);
    for (std::size_t i = 0; i < colours; ++i) {
        for (unsigned band = 0; band < 3; ++band) samples[3 * i + band] = static_cast<std::uint8_t>(i >> 8 * band);
    }
    return samples;
}

/// All inks with all blacks, as each ink is folded by itself; and a million at random, as sums take all of a pixel.
Bytes everyInk() {
    Bytes samples(4 * 65536);
    for (std::size_t i = 0; i < 65536; ++i) {
        for (unsigned band = 0; band < 3; ++band) samples[4 * i + band] = static_cast<std::uint8_t>(i + 77 * band);
        samples[4 * i + 3] = static_cast<std::uint8_t>(i >> 8);
    }
    std::mt19937 random(6);
    for (std::size_t i = 0; i < std::size_t{1} << 20; ++i) {
        const auto inks = random();
        for (unsigned band = 0; band < 3; ++band) samples.push_back(static_cast<std::uint8_t>(inks >> 8 * band));
        samples.push_back(static_cast<std::uint8_t>(inks >> 24 & random() & random())); // light often enough
    }
    return samples;
}

/// Pixels of any number of bands at random, and some at the ends of the range.
Shorts someShorts() {
    std::mt19937 random(5);
    Shorts samples(3 * std::size_t{4} * side * 64);
    for (std::int16_t& sample : samples) sample = static_cast<std::int16_t>(random());
    for (std::size_t i = 0; i < 3 * std::size_t{4} * side; ++i) {
        const int near = static_cast<int>(random() % 3);
        samples[i] = static_cast<std::int16_t>(random() % 2 == 0 ? -32768 + near : 32767 - near);
    }
    return samples;
}

struct Space {
    const char* name;
    unsigned bands;
};
constexpr Space spaces[] = {{"rgblinear", 3}, {"rgb709", 3}, {"photoycc", 3}, {"ycc601", 3}, {"ycc709", 3},
                            {"cmy", 3},       {"cmyk", 4},   {"ylinear", 1},  {"y601", 1},   {"y709", 1}};

/// A build of the device, and conversions by it.
class Converter {
public:
    explicit Converter(const std::string& build) : session_(host::Session::open({.build = build})) {}

    template <class Samples>
    Samples convert(Samples& samples, const Space& from, const Space& to) {
        const auto pixels = static_cast<unsigned>(samples.size() / from.bands);
        const unsigned width = pixels % side == 0 ? side : pixels;
        Samples result(std::size_t{pixels} * to.bands);
        const auto source = wrap(samples, width, pixels / width, from.bands);
        const auto destination = wrap(result, width, pixels / width, to.bands);
        const auto fromSpace = host::Colorspace::make(*session_, from.name);
        const auto toSpace = host::Colorspace::make(*session_, to.name);
        const auto op = host::Op::make(*session_, "colorconvert");
        op->setSource(1, source.get());
        op->setDestination(destination.get());
        op->addObject(fromSpace.get());
        op->addObject(toSpace.get());
        EXPECT_EQ(session_->run(*op).status, ORV_SUCCESS);
        return result;
    }

private:
    host::Owned<host::Image> wrap(Bytes& samples, unsigned width, unsigned height, unsigned bands) {
        OrvMemoryStorage storage{};
        storage.byte = {samples.data(), width * bands, static_cast<std::uint16_t>(bands)};
        return host::Image::wrap(*session_, {.type = ORV_BYTE, .width = width, .height = height, .bands = bands},
                                 storage);
    }
    host::Owned<host::Image> wrap(Shorts& samples, unsigned width, unsigned height, unsigned bands) {
        OrvMemoryStorage storage{};
        storage.shorts = {samples.data(), width * bands, static_cast<std::uint16_t>(bands)};
        return host::Image::wrap(*session_, {.type = ORV_SHORT, .width = width, .height = height, .bands = bands},
                                 storage);
    }

    host::Owned<host::Session> session_;
};

class ColourBuilds : public testing::Test {
protected:
    void SetUp() override {
        for (const char* build : {"x86-64-v3", "x86-64-v4"}) {
            try {
                others_.emplace_back(build);
                builds_.emplace_back(build);
            } catch (const std::exception& reason) {
                std::cout << build << " is left out: " << reason.what() << '\n';
            }
        }
        if (builds_.empty()) GTEST_SKIP() << "there is only one build";
    }

    template <class Samples>
    void compare(Samples& source, const Space& from, const Space& to) {
        const Samples expected = baseline_.convert(source, from, to);
        for (std::size_t i = 0; i < others_.size(); ++i) {
            const Samples result = others_[i].convert(source, from, to);
            const auto [at, different] = std::mismatch(expected.begin(), expected.end(), result.begin());
            if (at == expected.end()) continue;
            ADD_FAILURE() << builds_[i] << ", " << from.name << " to " << to.name << ": sample "
                          << at - expected.begin() << " is " << int{*different} << ", not " << int{*at};
        }
    }

private:
    std::vector<std::string> builds_;
    std::vector<Converter> others_;
    Converter baseline_{"baseline"};
};

TEST_F(ColourBuilds, GiveTheSameForEveryPixelOfBytes) {
    Bytes three = everyColour(), four = everyInk();
    for (const Space& from : spaces) {
        if (from.bands == 1) continue;
        for (const Space& to : spaces) {
            if (&from != &to) compare(from.bands == 3 ? three : four, from, to);
        }
    }
}

TEST_F(ColourBuilds, GiveTheSameForManyPixelsOfShorts) {
    Shorts samples = someShorts();
    for (const Space& from : spaces) {
        for (const Space& to : spaces) {
            if (&from != &to) compare(samples, from, to);
        }
    }
}

} // namespace
