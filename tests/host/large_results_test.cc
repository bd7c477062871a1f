// Results too large for the caches are written past them: they are those of strips, which are not.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "orv/host/host.h"

namespace {

using namespace orv::host;

constexpr unsigned width = 7001;
constexpr unsigned height = 7300;
constexpr unsigned strip = 100; // rows; divides the height

/// A picture of bytes of one band whose rows may lie apart, and which may begin anywhere in a line.
class Bytes {
public:
    Bytes(unsigned gap, unsigned before, std::uint32_t seed) : stride_(width + gap), before_(before) {
        for (std::uint8_t& sample : samples_) {
            seed = seed * 1664525U + 1013904223U;
            sample = static_cast<std::uint8_t>(seed >> 24);
        }
    }

    Owned<Image> rows(Session& session, unsigned first, unsigned count) {
        OrvMemoryStorage storage{};
        storage.byte = {samples_.data() + before_ + std::size_t{first} * stride_, stride_, 1};
        return Image::wrap(session, {.type = ORV_BYTE, .width = width, .height = count}, storage);
    }

    bool operator==(const Bytes& other) const { return samples_ == other.samples_; }

private:
    unsigned stride_;
    unsigned before_;
    std::vector<std::uint8_t> samples_ = std::vector<std::uint8_t>(std::size_t{stride_} * height + before_);
};

/// add8 on some rows.
void add(Session& session, Bytes& to, Bytes& first, Bytes& second, unsigned row, unsigned count) {
    const auto destination = to.rows(session, row, count);
    const auto source1 = first.rows(session, row, count);
    const auto source2 = second.rows(session, row, count);
    const Owned<Op> op = Op::make(session, "add8");
    op->setSource(1, source1.get());
    op->setSource(2, source2.get());
    op->setDestination(destination.get());
    ASSERT_EQ(session.run(*op).status, ORV_SUCCESS);
}

void compare(unsigned gap, unsigned before, bool inPlace) {
    const Owned<Session> session = Session::open();
    Bytes second(0, 1, 2);
    Bytes whole(gap, before, 3);
    Bytes strips = whole;
    Bytes other(gap, before, 4);
    add(*session, whole, inPlace ? whole : other, second, 0, height);
    for (unsigned row = 0; row < height; row += strip) {
        add(*session, strips, inPlace ? strips : other, second, row, strip);
    }
    EXPECT_TRUE(whole == strips) << "rows " << gap << " apart, " << before << " from a line"
                                 << (inPlace ? ", in place" : "");
}

/// dilate8 on the whole, or on a region of strips.
void dilate(Session& session, Bytes& to, Bytes& from, bool inStrips) {
    const auto destination = to.rows(session, 0, height);
    const auto source = from.rows(session, 0, height);
    std::vector<Rect> strips;
    for (unsigned row = 0; row < height; row += strip) strips.push_back({0, row, width, strip});
    if (inStrips) destination->setRegion(strips);
    constexpr unsigned members[] = {0, 1, 0, 1, 1, 1, 0, 1, 1};
    const auto element = Sel::make(session, 3, 3, 1, 1, members);
    const Owned<Op> op = Op::make(session, "dilate8");
    op->setSource(1, source.get());
    op->setDestination(destination.get());
    op->addObject(element.get());
    ASSERT_EQ(session.run(*op).status, ORV_SUCCESS);
}

TEST(LargeResults, OfNeighbourhoodsAreThoseOfStrips) {
    const Owned<Session> session = Session::open();
    Bytes from(3, 7, 1);
    for (const auto& [gap, before] : {std::pair{0U, 16U}, {9U, 1U}}) {
        Bytes whole(gap, before, 2);
        Bytes strips = whole;
        dilate(*session, whole, from, false);
        dilate(*session, strips, from, true);
        EXPECT_TRUE(whole == strips) << "rows " << gap << " apart, " << before << " from a line";
    }
}

TEST(LargeResults, AreThoseOfStrips) {
    compare(0, 0, false);
    compare(0, 13, false);
    compare(5, 64, false);
    compare(0, 7, true);
}

} // namespace
