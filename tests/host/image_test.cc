// Images: storage, children, origins, regions, versions.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "orv/host/host.h"

namespace {

using orv::host::Image;
using orv::host::Owned;
using orv::host::Rect;
using orv::host::rectsOf;
using orv::host::Session;
using orv::host::Shape;

std::uint64_t address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

// The address of a sample and its bit, by the rule that devices are told.
struct Place {
    const void* byte;
    unsigned bit = 0;
    bool operator==(const Place&) const = default;
};

template <class Record>
Place placeIn(const Record& record, unsigned c, unsigned r, unsigned b) {
    return {record.data + std::size_t{r} * record.scanline_stride + std::size_t{c} * record.pixel_stride + b};
}

Place placeOf(OrvImage& image, unsigned c, unsigned r, unsigned b) {
    const OrvMemoryStorage& s = *image.getMemoryStorage();
    switch (image.getDataType()) {
    case ORV_BIT: {
        const unsigned at = c + s.bit.offset;
        return {s.bit.data + std::size_t{b} * s.bit.band_stride + std::size_t{r} * s.bit.scanline_stride + at / 8,
                at % 8};
    }
    case ORV_BYTE:
        return placeIn(s.byte, c, r, b);
    case ORV_SHORT:
        return placeIn(s.shorts, c, r, b);
    default:
        return placeIn(s.floats, c, r, b);
    }
}

class ImageTest : public testing::TestWithParam<OrvDataType> {
protected:
    Owned<Session> session_ = Session::openWithoutDevice();
};

TEST_P(ImageTest, OwnRowsBeginAtCacheLinesAndAreCleared) {
    const auto image = Image::make(*session_, {.type = GetParam(), .width = 13, .height = 5, .bands = 3});
    ASSERT_NE(image, nullptr);
    for (unsigned row = 0; row < 5; ++row) {
        const Place place = placeOf(*image, 0, row, 0);
        EXPECT_EQ(address(place.byte) % 64, 0U);
        EXPECT_EQ(place.bit, 0U);
        EXPECT_EQ(*static_cast<const unsigned char*>(place.byte), 0U);
    }
}

TEST_P(ImageTest, TemporariesAreDense) {
    const Owned<OrvImage> image(session_->createImage(13, 5, 2, GetParam()));
    ASSERT_NE(image, nullptr);
    const OrvMemoryStorage& s = *image->getMemoryStorage();
    if (GetParam() == ORV_BIT) {
        EXPECT_EQ(s.bit.scanline_stride, 2U);
        EXPECT_EQ(s.bit.band_stride, 10U);
        EXPECT_EQ(s.bit.offset, 0U);
    } else {
        EXPECT_EQ(s.byte.scanline_stride, 26U);
        EXPECT_EQ(s.byte.pixel_stride, 2U);
    }
    EXPECT_EQ(image->getSystemState(), session_.get());
}

TEST_P(ImageTest, ChildrenShareTheirParentsSamples) {
    std::mt19937 random(7);
    const auto pick = [&](unsigned low, unsigned high) {
        return std::uniform_int_distribution<unsigned>(low, high)(random);
    };
    for (int round = 0; round < 200; ++round) {
        const Shape shape{.type = GetParam(), .width = pick(1, 40), .height = pick(1, 9), .bands = pick(1, 4)};
        const auto parent = Image::make(*session_, shape);
        const unsigned x = pick(0, shape.width - 1);
        const unsigned y = pick(0, shape.height - 1);
        const unsigned b = pick(0, shape.bands - 1);
        const unsigned w = pick(1, shape.width - x);
        const unsigned h = pick(1, shape.height - y);
        const unsigned n = pick(1, shape.bands - b);
        parent->place(3, 4);
        auto child = Image::child(*parent, x, y, b, w, h, n);
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(placeOf(*child, w - 1, h - 1, n - 1), placeOf(*parent, x + w - 1, y + h - 1, b + n - 1));
        const auto grandchild = Image::child(*child, w - 1, h - 1, n - 1, 1, 1, 1);
        EXPECT_EQ(placeOf(*grandchild, 0, 0, 0), placeOf(*parent, x + w - 1, y + h - 1, b + n - 1));
        EXPECT_EQ(child->getParent(), parent.get());
        unsigned cx = 0;
        unsigned cy = 0;
        unsigned cb = 0;
        child->getChildOffsets(&cx, &cy, &cb);
        EXPECT_EQ((std::vector{cx, cy, cb}), (std::vector{x, y, b}));
        EXPECT_EQ(child->originX(), 0);
        EXPECT_EQ(child->region(), nullptr);
        EXPECT_EQ(Image::child(*parent, x, y, b, shape.width - x + 1, 1, 1), nullptr);
        EXPECT_EQ(Image::child(*parent, x, y, b, 1, 0, 1), nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, ImageTest, testing::Values(ORV_BIT, ORV_BYTE, ORV_SHORT, ORV_FLOAT));

TEST_F(ImageTest, ChildrenOutliveTheirParentsOwner) {
    auto parent = Image::make(*session_, {.width = 8, .height = 8, .bands = 1});
    const auto child = Image::child(*parent, 2, 2, 0, 4, 4, 1);
    parent.reset();
    std::uint8_t* const data = child->getMemoryStorage()->byte.data;
    data[0] = 5;
    EXPECT_EQ(data[0], 5);
}

TEST_F(ImageTest, CallersMemoryKeepsItsStrides) {
    std::int16_t samples[60] = {};
    OrvMemoryStorage record{};
    record.shorts = {samples, 20, 4};
    const auto image = Image::wrap(*session_, {.type = ORV_SHORT, .width = 5, .height = 3, .bands = 2}, record);
    EXPECT_EQ(placeOf(*image, 4, 2, 1).byte, samples + 57);
}

TEST_F(ImageTest, WhatTheStorageRecordCannotHoldIsRefused) {
    EXPECT_EQ(Image::make(*session_, {.type = ORV_BIT, .width = 65536 * 8, .height = 1, .bands = 1}), nullptr);
    EXPECT_NE(Image::make(*session_, {.type = ORV_BIT, .width = 65535 * 8, .height = 1, .bands = 1}), nullptr);
    EXPECT_EQ(Image::make(*session_, {.type = ORV_BYTE, .width = 1, .height = 1, .bands = 65536}), nullptr);
    EXPECT_EQ(Image::make(*session_, {.type = ORV_BYTE, .width = 0, .height = 1, .bands = 1}), nullptr);
    EXPECT_EQ(Image::make(*session_, {.type = ORV_FLOAT, .width = 4000000000U, .height = 4000000000U, .bands = 9}),
              nullptr);
    EXPECT_EQ(session_->createImage(4000000000U, 4000000000U, 1, ORV_SHORT), nullptr);
}

TEST_F(ImageTest, RegionsAreMovedByTheTruncatedOrigin) {
    const auto image = Image::make(*session_, {.width = 10, .height = 6, .bands = 1});
    EXPECT_EQ(image->getRoi(), nullptr);
    EXPECT_EQ(rectsOf(image->getImageSpaceRoi()), (std::vector<Rect>{{0, 0, 10, 6}}));
    image->setOrigin(-2.75F, 1.75F);
    EXPECT_EQ(rectsOf(image->getImageSpaceRoi()), (std::vector<Rect>{{2, -1, 10, 6}}));
    long x = 0;
    long y = 0;
    image->getOrigin(&x, &y);
    EXPECT_EQ(x, -2);
    EXPECT_EQ(y, 1);
    float fx = 0;
    float fy = 0;
    image->getOrigin(&fx, &fy);
    EXPECT_EQ(fx, -2.75F);
    EXPECT_EQ(fy, 1.75F);

    image->setRegion(std::vector<Rect>{{8, 4, 9, 9}, {-3, 0, 4, 1}});
    EXPECT_EQ(rectsOf(image->getImageSpaceRoi()), (std::vector<Rect>{{2, -1, 1, 1}, {10, 3, 2, 2}}));
    const Owned<OrvRoi> set(image->getRoi());
    EXPECT_EQ(rectsOf(set.get()), (std::vector<Rect>{{-3, 0, 4, 1}, {8, 4, 9, 9}}));
    image->setRoi(nullptr);
    EXPECT_EQ(rectsOf(image->getImageSpaceRoi()), (std::vector<Rect>{{2, -1, 10, 6}}));
    image->setRegion(std::vector<Rect>{});
    EXPECT_TRUE(rectsOf(image->getImageSpaceRoi()).empty());
    EXPECT_NE(Owned<OrvRoi>(image->getRoi()), nullptr);
    image->setOrigin(std::nanf(""), 1e30F);
    ASSERT_NE(image->getImageSpaceRoi(), nullptr);
}

TEST_F(ImageTest, TheImageSpaceRegionIsTheImagesOwn) {
    const auto image = Image::make(*session_, {.width = 10, .height = 6, .bands = 1});
    OrvRoi* const first = image->getImageSpaceRoi();
    EXPECT_EQ(image->getImageSpaceRoi(), first);
    first->destroy();
    EXPECT_EQ(rectsOf(image->getImageSpaceRoi()), (std::vector<Rect>{{0, 0, 10, 6}}));
}

TEST_F(ImageTest, TouchedRegionsAreKeptUntilTheNext) {
    const auto image = Image::make(*session_, {.width = 10, .height = 6, .bands = 1});
    EXPECT_EQ(image->touched(), nullptr);
    image->setPixelsTouchedRoi(orv::host::makeRoi(*session_, std::vector<Rect>{{1, 1, 2, 2}}).release());
    image->setPixelsTouchedRoi_flag(1);
    image->setPixelsTouchedRoi(orv::host::makeRoi(*session_, std::vector<Rect>{{3, 3, 1, 1}}).release());
    EXPECT_EQ(rectsOf(image->touched()), (std::vector<Rect>{{3, 3, 1, 1}}));
    EXPECT_EQ(image->touchedCount(), 2U);
    EXPECT_EQ(image->touchedFlag(), 1);
    image->setPixelsTouchedRoi(image->getImageSpaceRoi());
    EXPECT_EQ(rectsOf(image->touched()), (std::vector<Rect>{{0, 0, 10, 6}}));
    image->forgetTouched();
    EXPECT_EQ(image->touched(), nullptr);
    EXPECT_EQ(image->touchedCount(), 0U);
    // A device that releases what it gave away takes it back.
    OrvRoi* const mine = session_->createRoi();
    image->setPixelsTouchedRoi(mine);
    mine->destroy();
    EXPECT_EQ(image->touched(), nullptr);
}

OrvVersionNumber versionOf(OrvObject& object) {
    OrvVersionNumber version;
    object.getVersion(&version);
    return version;
}

TEST_F(ImageTest, VersionsDifferBetweenObjectsAndAfterChanges) {
    const auto parent = Image::make(*session_, {.width = 4, .height = 4, .bands = 1});
    const auto child = Image::child(*parent, 0, 0, 0, 2, 2, 1);
    const auto other = Image::child(*parent, 2, 2, 0, 2, 2, 1);
    const OrvVersionNumber before = versionOf(*parent);
    const OrvVersionNumber otherBefore = versionOf(*other);
    EXPECT_FALSE(before != versionOf(*parent));
    EXPECT_TRUE(before != versionOf(*child));
    EXPECT_TRUE(before != OrvVersionNumber());
    child->samplesChanged();
    EXPECT_TRUE(before != versionOf(*parent));
    EXPECT_TRUE(otherBefore != versionOf(*other));
}

TEST_F(ImageTest, AnInputOutputDeviceIsToldOf) {
    const auto image = Image::make(*session_, {.width = 4, .height = 4, .bands = 1});
    EXPECT_EQ(image->getDeviceInputOutput(), nullptr);
    image->setInputOutput(true);
    EXPECT_NE(image->getDeviceInputOutput(), nullptr);
}

// The copy that the host runs for a device.
TEST_P(ImageTest, CachedCopiesGoFromPlaceToPlace) {
    std::mt19937 random(11);
    const auto pick = [&](unsigned low, unsigned high) {
        return std::uniform_int_distribution<unsigned>(low, high)(random);
    };
    const auto get = [](OrvImage& image, unsigned c, unsigned r, unsigned b) -> double {
        const Place p = placeOf(image, c, r, b);
        switch (image.getDataType()) {
        case ORV_BIT:
            return *static_cast<const unsigned char*>(p.byte) >> (7 - p.bit) & 1;
        case ORV_BYTE:
            return *static_cast<const unsigned char*>(p.byte);
        case ORV_SHORT:
            return *static_cast<const short*>(p.byte);
        default:
            return *static_cast<const float*>(p.byte);
        }
    };
    for (int round = 0; round < 100; ++round) {
        Owned<Image> whole[2];
        Owned<Image> part[2];
        for (int i = 0; i < 2; ++i) {
            whole[i] = Image::make(*session_, {.type = GetParam(), .width = 60, .height = 9, .bands = 4});
            const OrvMemoryStorage& s = *whole[i]->storage();
            const std::size_t bytes =
                GetParam() == ORV_BIT ? std::size_t{s.bit.band_stride} * 4 : std::size_t{s.byte.scanline_stride} * 9;
            // Small values, so that every bit pattern is a proper float, too.
            if (GetParam() == ORV_FLOAT) {
                std::generate_n(s.floats.data, bytes, [&] { return static_cast<float>(pick(0, 255)); });
            } else {
                std::generate_n(s.byte.data, bytes, [&] { return static_cast<std::uint8_t>(pick(0, 255)); });
            }
            const unsigned bands = pick(1, 4);
            part[i] = Image::child(*whole[i], pick(0, 20), pick(0, 3), 0, pick(1, 40), pick(1, 6), bands);
            part[i]->place(static_cast<float>(pick(0, 9)), 2);
        }
        part[0]->setRegion(std::vector<Rect>{{0, 0, 1, 1}});
        Image& dst = *part[0];
        Image& src = *part[1];
        const unsigned w = std::min(dst.shape().width, src.shape().width);
        const unsigned h = std::min(dst.shape().height, src.shape().height);
        const unsigned n = std::min(dst.shape().bands, src.shape().bands);
        const auto each = [&](auto&& f) {
            for (unsigned r = 0; r < 9; ++r) {
                for (unsigned c = 0; c < 60; ++c) {
                    for (unsigned b = 0; b < 4; ++b) f(c, r, b);
                }
            }
        };
        std::vector<double> expected;
        unsigned x = 0;
        unsigned y = 0;
        unsigned b0 = 0;
        dst.getChildOffsets(&x, &y, &b0);
        each([&](unsigned c, unsigned r, unsigned b) {
            const bool inside = c >= x && c < x + w && r >= y && r < y + h && b < n;
            expected.push_back(inside ? get(src, c - x, r - y, b) : get(*whole[0], c, r, b));
        });
        int values[4] = {-1, -1, -1, -1};
        OrvOp* const op = OrvCreateCachedOp("copy", values, &dst, &src);
        ASSERT_NE(op, nullptr);
        op->flush();
        delete op;
        std::size_t i = 0;
        each([&](unsigned c, unsigned r, unsigned b) {
            ASSERT_EQ(get(*whole[0], c, r, b), expected[i++]) << c << "," << r << "," << b << " round " << round;
        });
    }
    const auto image = Image::make(*session_, {.width = 1, .height = 1, .bands = 1});
    EXPECT_EQ(OrvCreateCachedOp("move", nullptr, image.get(), image.get()), nullptr);
    EXPECT_EQ(OrvCreateCachedOp("copy", nullptr, image.get(), nullptr), nullptr);
}

} // namespace
