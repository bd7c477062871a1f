// Regions against a set of pixels.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <set>

#include "orv/host/host.h"

namespace {

using orv::host::makeRoi;
using orv::host::Owned;
using orv::host::Rect;
using orv::host::rectsOf;
using orv::host::Session;

using Pixel = std::pair<long, long>; ///< row, column: sets of them run in reading order
using Pixels = std::set<Pixel>;

Pixels pixelsOf(const std::vector<Rect>& rects) {
    Pixels pixels;
    for (const Rect& r : rects) {
        for (long y = r.y; y < r.y + long{r.height}; ++y) {
            for (long x = r.x; x < r.x + long{r.width}; ++x) pixels.insert({y, x});
        }
    }
    return pixels;
}

using Intervals = std::vector<std::pair<long, long>>;

// The order that devices are promised, made from pixels alone: the intervals of each row, then like rows joined.
std::vector<Rect> canonical(const Pixels& pixels) {
    std::map<long, Intervals> rows;
    for (const auto& [y, x] : pixels) {
        Intervals& row = rows[y];
        if (!row.empty() && row.back().second == x) {
            ++row.back().second;
        } else {
            row.push_back({x, x + 1});
        }
    }
    std::vector<Rect> rects;
    for (auto row = rows.begin(); row != rows.end();) {
        auto next = std::next(row);
        unsigned height = 1;
        for (; next != rows.end() && next->first == row->first + long{height} && next->second == row->second; ++next) {
            ++height;
        }
        for (const auto& [begin, end] : row->second) {
            rects.push_back({begin, row->first, static_cast<unsigned>(end - begin), height});
        }
        row = next;
    }
    return rects;
}

std::vector<Rect> walked(OrvRoiList* list) {
    std::vector<Rect> rects;
    Rect r;
    while (list->nextRect(&r.x, &r.y, &r.width, &r.height)) rects.push_back(r);
    return rects;
}

class RegionTest : public testing::Test {
protected:
    std::vector<Rect> randomRects(int most) {
        std::vector<Rect> rects(std::uniform_int_distribution<std::size_t>(0, static_cast<std::size_t>(most))(random_));
        for (Rect& r : rects) r = {pick(-12, 12), pick(-12, 12), size(), size()};
        return rects;
    }
    long pick(long low, long high) { return std::uniform_int_distribution<long>(low, high)(random_); }
    unsigned size() { return static_cast<unsigned>(pick(0, 9)); }

    void SetUp() override {
        RecordProperty("seed", seed_);
        std::printf("seed %d\n", seed_);
    }

    int seed_ = 20240607;
    std::mt19937 random_{static_cast<unsigned>(seed_)};
    Owned<Session> session_ = Session::openWithoutDevice();
};

TEST_F(RegionTest, UnionsAreCanonicalHoweverTheyAreMade) {
    for (int round = 0; round < 400; ++round) {
        const std::vector<Rect> rects = randomRects(8);
        const std::vector<Rect> expected = canonical(pixelsOf(rects));
        const Owned<OrvRoi> made = makeRoi(*session_, rects);
        EXPECT_EQ(rectsOf(made.get()), expected);

        const Owned<OrvRoi> added(session_->createRoi());
        const Owned<OrvRoi> spanned(session_->createRoi());
        for (const Rect& r : rects) {
            EXPECT_EQ(added->addRect(r.x, r.y, r.width, r.height), ORV_SUCCESS);
            // Reading between the additions must not matter.
            if (round % 2) added->getRectCount();
            spanned->addSpan(r.x, r.x + long{r.width} - 1, r.y, r.y + long{r.height} - 1);
        }
        EXPECT_EQ(rectsOf(added.get()), expected);
        EXPECT_EQ(rectsOf(spanned.get()), expected);
        EXPECT_EQ(added->getRectCount(), expected.size());
        const Owned<OrvRoiList> list(added->getRectList());
        EXPECT_EQ(walked(list.get()), expected);
        EXPECT_EQ(walked(added.get()), expected);
    }
}

TEST_F(RegionTest, IntersectionTranslationAndCloneAreThoseOfPixels) {
    for (int round = 0; round < 400; ++round) {
        const std::vector<Rect> first = randomRects(6);
        const std::vector<Rect> second = randomRects(6);
        const Owned<OrvRoi> a = makeRoi(*session_, first);
        const Owned<OrvRoi> b = makeRoi(*session_, second);
        const Pixels pixelsA = pixelsOf(first);
        const Pixels pixelsB = pixelsOf(second);

        Pixels common;
        std::ranges::set_intersection(pixelsA, pixelsB, std::inserter(common, common.end()));
        const Owned<OrvRoi> both(a->intersect(b.get()));
        EXPECT_EQ(rectsOf(both.get()), canonical(common));

        const long dx = pick(-40, 40);
        const long dy = pick(-40, 40);
        Pixels moved;
        for (const auto& [y, x] : pixelsA) moved.insert({y + dy, x + dx});
        const Owned<OrvRoi> there(a->translate(dx, dy));
        EXPECT_EQ(rectsOf(there.get()), canonical(moved));

        const Owned<OrvRoi> copy(a->clone());
        a->addRect(100, 100, 1, 1);
        EXPECT_EQ(rectsOf(copy.get()), canonical(pixelsA));
    }
}

TEST_F(RegionTest, BoundingBoxHoldsEveryPixel) {
    for (int round = 0; round < 200; ++round) {
        const std::vector<Rect> rects = randomRects(4);
        const Owned<OrvRoi> roi = makeRoi(*session_, rects);
        Rect box;
        roi->getBoundingBox(&box.x, &box.y, &box.width, &box.height);
        const Pixels pixels = pixelsOf(rects);
        if (pixels.empty()) {
            EXPECT_EQ(box, Rect{});
            continue;
        }
        long left = LONG_MAX;
        long right = LONG_MIN;
        for (const auto& [y, x] : pixels) {
            left = std::min(left, x);
            right = std::max(right, x);
        }
        const long top = pixels.begin()->first;
        const long bottom = pixels.rbegin()->first;
        EXPECT_EQ(box,
                  (Rect{left, top, static_cast<unsigned>(right - left + 1), static_cast<unsigned>(bottom - top + 1)}));
    }
}

TEST_F(RegionTest, ScaleGrowsEachRectangleToWholePixels) {
    const float factors[] = {0.25F, 0.5F, 1.0F, 1.5F, 2.0F, 3.25F, 0.0F};
    for (int round = 0; round < 200; ++round) {
        const std::vector<Rect> source = canonical(pixelsOf(randomRects(5)));
        const float sx = factors[pick(0, 6)];
        const float sy = factors[pick(0, 6)];
        const float x0 = static_cast<float>(pick(-8, 8)) * 0.5F;
        const float y0 = static_cast<float>(pick(-8, 8)) * 0.5F;
        std::vector<Rect> grown;
        for (const Rect& r : source) {
            const auto edge = [](long at, double by, double from) {
                return from + (static_cast<double>(at) - from) * by;
            };
            const long x1 = std::lround(std::floor(edge(r.x, sx, x0)));
            const long x2 = std::lround(std::ceil(edge(r.x + long{r.width}, sx, x0)));
            const long y1 = std::lround(std::floor(edge(r.y, sy, y0)));
            const long y2 = std::lround(std::ceil(edge(r.y + long{r.height}, sy, y0)));
            grown.push_back({x1, y1, static_cast<unsigned>(x2 - x1), static_cast<unsigned>(y2 - y1)});
        }
        const Owned<OrvRoi> roi = makeRoi(*session_, source);
        const Owned<OrvRoi> scaled(roi->scale(sx, sy, x0, y0));
        EXPECT_EQ(rectsOf(scaled.get()), canonical(pixelsOf(grown)));
    }
}

// Where the flips of a W x H image take a pixel: the inverse of the source position that each names.
Pixel flippedInImage(int flip, long w, long h, long x, long y) {
    switch (flip) {
    case 0:
        return {h - 1 - y, x};
    case 1:
        return {y, w - 1 - x};
    case 2:
        return {x, y};
    case 3:
        return {w - 1 - x, h - 1 - y};
    case 4:
        return {w - 1 - x, y};
    case 5:
        return {h - 1 - y, w - 1 - x};
    default:
        return {x, h - 1 - y};
    }
}

TEST_F(RegionTest, TransposeFollowsTheFlipsOfAnImage) {
    struct Move {
        long x;
        long y;
        float centreX;
        float centreY;
    };
    for (int round = 0; round < 400; ++round) {
        const long w = pick(1, 20);
        const long h = pick(1, 20);
        const int flip = static_cast<int>(pick(0, 6));
        const float cx = static_cast<float>(w - 1) * 0.5F;
        const float cy = static_cast<float>(h - 1) * 0.5F;
        // The diagonal ones are taken about 0, 0, after a move that brings their corner there.
        const Move moves[] = {{0, 0, cx, cy},   {0, 0, cx, cy}, {0, 0, 0, 0},    {1 - w, 1 - h, 0, 0},
                              {1 - w, 0, 0, 0}, {0, 0, cx, cy}, {0, 1 - h, 0, 0}};
        const Move& move = moves[flip];
        const std::vector<Rect> rects = randomRects(5);
        Pixels expected;
        for (const auto& [y, x] : pixelsOf(rects)) expected.insert(flippedInImage(flip, w, h, x, y));
        const Owned<OrvRoi> roi = makeRoi(*session_, rects);
        const Owned<OrvRoi> moved(roi->translate(move.x, move.y));
        const Owned<OrvRoi> flipped(moved->transpose(flip, move.centreX, move.centreY));
        EXPECT_EQ(rectsOf(flipped.get()), canonical(expected)) << "flip " << flip;
    }
}

TEST_F(RegionTest, TransposeAboutOtherCentres) {
    const Owned<OrvRoi> roi = makeRoi(*session_, std::vector<Rect>{{3, 5, 2, 1}});
    const Owned<OrvRoi> quarter(roi->transpose(4, 10, 20));
    // 3, 5 lies 7 left of and 15 above the centre; a flip by 90 degrees brings it 15 left and 7 below.
    EXPECT_EQ(rectsOf(quarter.get()), (std::vector<Rect>{{-5, 26, 1, 2}}));
    EXPECT_EQ(roi->transpose(7, 0, 0), nullptr);
    EXPECT_EQ(roi->transpose(-1, 0, 0), nullptr);
}

TEST_F(RegionTest, EndsOfTheIntegerRangeSaturate) {
    const Owned<OrvRoi> roi(session_->createRoi());
    roi->addRect(LONG_MAX - 3, 0, 10, 1);
    EXPECT_EQ(roi->getRectCount(), 0U);
    roi->addRect(INT_MAX - 3, 0, 10, 1);
    EXPECT_EQ(rectsOf(roi.get()), (std::vector<Rect>{{INT_MAX - 3, 0, 3, 1}}));
    roi->addSpan(LONG_MIN, LONG_MAX, 7, 7);
    EXPECT_EQ(rectsOf(roi.get()).back(), (Rect{INT_MIN, 7, UINT_MAX, 1}));

    const Owned<OrvRoi> right(roi->translate(2, 0));
    EXPECT_EQ(rectsOf(right.get()).front(), (Rect{INT_MAX - 1, 0, 1, 1}));
    const Owned<OrvRoi> gone(roi->translate(LONG_MAX, LONG_MIN));
    EXPECT_EQ(gone->getRectCount(), 0U);
    const Owned<OrvRoi> huge(roi->scale(3.0e38F, 3.0e38F, 0, 0));
    ASSERT_NE(huge, nullptr);
    const Owned<OrvRoi> undefined(roi->scale(std::nanf(""), 1, 0, 0));
    ASSERT_NE(undefined, nullptr);
    const Owned<OrvRoi> turned(roi->transpose(5, -3.0e38F, 3.0e38F));
    ASSERT_NE(turned, nullptr);
}

TEST_F(RegionTest, EmptyRegionsAreObjects) {
    const Owned<OrvRoi> empty(session_->createRoi());
    const Owned<OrvRoi> other = makeRoi(*session_, std::vector<Rect>{{0, 0, 4, 4}});
    empty->addRect(1, 1, 0, 5);
    empty->addSpan(3, 2, 0, 0);
    const Owned<OrvRoi> common(other->intersect(empty.get()));
    ASSERT_NE(common, nullptr);
    EXPECT_EQ(common->getRectCount(), 0U);
    const Owned<OrvRoiList> list(common->getRectList());
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(walked(list.get()).empty());
    const Owned<OrvRoi> moved(common->translate(5, 5));
    EXPECT_NE(moved, nullptr);
    EXPECT_EQ(other->intersect(nullptr), nullptr);
}

TEST_F(RegionTest, ManySpansStayCheap) {
    const Owned<OrvRoi> roi(session_->createRoi());
    Pixels expected;
    for (long y = 0; y < 3000; ++y) {
        for (const long x : {y % 7, 20 + y % 5}) {
            roi->addSpan(x, x + 3, y, y);
            for (long i = 0; i < 4; ++i) expected.insert({y, x + i});
        }
    }
    EXPECT_EQ(rectsOf(roi.get()), canonical(expected));
}

TEST_F(RegionTest, ListsOfAnOpPairImagesByTheirOrigins) {
    using orv::host::Image;
    const auto dst = Image::make(*session_, {.type = ORV_BYTE, .width = 10, .height = 8, .bands = 1});
    const auto src = Image::make(*session_, {.type = ORV_BYTE, .width = 6, .height = 6, .bands = 1});
    src->place(2.9F, -1.9F);
    dst->setRegion(std::vector<Rect>{{1, 0, 3, 3}, {6, 2, 30, 2}});
    OrvRoi* touched = nullptr;
    const Owned<OrvRoiList> list(OrviGetRoiList(&touched, dst.get(), src.get(), nullptr, nullptr));
    const Owned<OrvRoi> owner(touched);
    // The source covers columns -2 to 3 and rows 1 to 6.
    const std::vector<Rect> expected{{1, 1, 3, 2}};
    EXPECT_EQ(walked(list.get()), expected);
    EXPECT_EQ(rectsOf(touched), expected);
}

} // namespace
