// The geometry kit: worked by hand, and on random convex polygons against which pixel centres they hold.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "memory/geometry/GeomUtils.h"

namespace {

using namespace geom;

struct Corner {
    float x;
    float y;
    bool operator==(const Corner&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Corner& c) { return out << '(' << c.x << ", " << c.y << ')'; }

std::vector<Corner> cornersOf(const vertex* ring) {
    std::vector<Corner> corners;
    if (ring == nullptr) return corners;
    const vertex* v = ring;
    do {
        corners.push_back({v->x, v->y});
        v = v->next;
    } while (v != ring);
    return corners;
}

vertex* ringOf(const std::vector<Corner>& corners) {
    vertex* ring = getRect({0, 0, 1, 1});
    // A ring of three or four corners out of a rectangle's four.
    vertex* v = ring;
    for (std::size_t i = 0; i < 4; ++i, v = v->next) {
        const Corner& c = corners[std::min(i, corners.size() - 1)];
        v->x = c.x;
        v->y = c.y;
    }
    return ring;
}

struct Runs {
    bool null = true;
    std::vector<std::array<long, 3>> rows;
    bool operator==(const Runs&) const = default;
};

Runs runsOf(vertex* ring) {
    trap* traps = getTrapList(ring);
    scan* list = getScanList(traps);
    destroyTrapList(traps);
    Runs runs;
    if (list == nullptr) return runs;
    runs.null = false;
    for (const scan* s = list->next; s != nullptr; s = s->next) runs.rows.push_back({s->y, s->x1, s->x2});
    destroyScanList(list);
    return runs;
}

Runs runsOf(const std::vector<Corner>& corners) { return runsOf(ringOf(corners)); }

TEST(GeomFloor, ExactNegativeIntegersLandOneBelow) {
    EXPECT_EQ(geom_floor(2.0F), 2);
    EXPECT_EQ(geom_floor(2.9F), 2);
    EXPECT_EQ(geom_floor(0.0F), 0);
    EXPECT_EQ(geom_floor(-0.0F), 0);
    EXPECT_EQ(geom_floor(-0.5F), -1);
    EXPECT_EQ(geom_floor(-2.0F), -3);
    EXPECT_EQ(geom_floor(-2.5F), -3);
    EXPECT_EQ(geom_floor(NAN), 0);
}

TEST(Transforms, Records) {
    const affine r = rotate(0.5F);
    EXPECT_EQ(r.a, static_cast<float>(std::cos(0.5)));
    EXPECT_EQ(r.b, static_cast<float>(std::sin(0.5)));
    EXPECT_EQ(r.c, -r.b);
    EXPECT_EQ(r.d, r.a);
    EXPECT_EQ(r.tx, 0);
    const affine s = scale(2, 3);
    EXPECT_EQ(s.a, 2);
    EXPECT_EQ(s.b, 0);
    EXPECT_EQ(s.d, 3);
    const affine t = translate(4, 5);
    EXPECT_EQ(t.a, 1);
    EXPECT_EQ(t.tx, 4);
    EXPECT_EQ(t.ty, 5);
    const affine x = transpose();
    EXPECT_EQ(x.a, 0);
    EXPECT_EQ(x.b, 1);
    EXPECT_EQ(x.c, 1);
    EXPECT_EQ(x.d, 0);
}

TEST(Transforms, InverseTakesPointsBack) {
    const affine m(2, 0.5F, -1, 4, 3, -7);
    const affine inverse = invert(m);
    vertex v{5, 11, 0, nullptr};
    affmap(&v, m);
    EXPECT_FLOAT_EQ(v.x, 2 * 5 + 0.5F * 11 + 3);
    EXPECT_FLOAT_EQ(v.y, -5 + 4 * 11 - 7);
    affmap(&v, inverse);
    EXPECT_NEAR(v.x, 5, 1e-5);
    EXPECT_NEAR(v.y, 11, 1e-5);
    vertex linear{1, 1, 0, nullptr};
    lmap(&linear, m);
    EXPECT_EQ(linear.x, 2.5F);
    EXPECT_EQ(linear.y, 3.0F);
}

TEST(Rings, RectangleAndCopy) {
    vertex* ring = getRect({1, 2, 3, 4});
    EXPECT_EQ(cornersOf(ring), (std::vector<Corner>{{1, 2}, {3, 2}, {3, 4}, {1, 4}}));
    ring->slope = 9;
    vertex* copy = copy_vlist(ring);
    EXPECT_EQ(cornersOf(copy), cornersOf(ring));
    EXPECT_EQ(copy->slope, 9);
    map_vlist(copy, translate(1, 1));
    EXPECT_EQ(cornersOf(copy), (std::vector<Corner>{{2, 3}, {4, 3}, {4, 5}, {2, 5}}));
    EXPECT_EQ(cornersOf(ring).front(), (Corner{1, 2}));
    destroy_vlist(ring);
    destroy_vlist(copy);
    EXPECT_EQ(copy_vlist(nullptr), nullptr);
    map_vlist(nullptr, affine());
    destroy_vlist(nullptr);
}

TEST(Clip, RingInsideOrTouchingStaysAsItIs) {
    vertex* ring = getRect({1, 1, 4, 4});
    vertex* head = ring;
    rectclip(&ring, {1, 1, 4, 4});
    EXPECT_EQ(ring, head);
    EXPECT_EQ(cornersOf(ring), (std::vector<Corner>{{1, 1}, {4, 1}, {4, 4}, {1, 4}}));
    destroy_vlist(ring);
}

TEST(Clip, RingOutsideBecomesNull) {
    vertex* ring = getRect({1, 1, 4, 4});
    rectclip(&ring, {10, 0, 20, 5});
    EXPECT_EQ(ring, nullptr);
    // An edge on the line and everything else outside is removed too.
    ring = getRect({1, 1, 4, 4});
    tclip(&ring, 4);
    EXPECT_EQ(ring, nullptr);
    tclip(&ring, 0);
    EXPECT_EQ(ring, nullptr);
}

TEST(Clip, EachSideCutsAndTheHeadLiesOnTheLine) {
    vertex* ring = getRect({0, 0, 4, 4});
    tclip(&ring, 1);
    EXPECT_EQ(cornersOf(ring), (std::vector<Corner>{{4, 1}, {4, 4}, {0, 4}, {0, 1}}));
    EXPECT_EQ(ring->y, 1);
    bclip(&ring, 3);
    EXPECT_EQ(ring->y, 3);
    lclip(&ring, 1);
    EXPECT_EQ(ring->x, 1);
    rclip(&ring, 2);
    EXPECT_EQ(ring->x, 2);
    for (const Corner& c : cornersOf(ring)) {
        EXPECT_TRUE((c.x == 1 || c.x == 2) && (c.y == 1 || c.y == 3)) << c;
    }
    EXPECT_EQ(cornersOf(ring).size(), 4U);
    destroy_vlist(ring);
}

TEST(Clip, VerticesOnTheLineServeAsTheyAre) {
    // A diamond cut through two of its corners: no vertex is added.
    vertex* ring = ringOf({{2, 0}, {4, 2}, {2, 4}, {0, 2}});
    tclip(&ring, 2);
    EXPECT_EQ(cornersOf(ring).size(), 3U);
    EXPECT_EQ(ring->y, 2);
    destroy_vlist(ring);
}

TEST(Rectangles, MapIntersectPixels) {
    rect r{1, 2, 3, 4};
    map_rect(&r, scale(-1, 2));
    EXPECT_EQ(r.x1, -1); // corners are not put in order
    EXPECT_EQ(r.x2, -3);
    EXPECT_EQ(r.y1, 4);
    EXPECT_EQ(r.y2, 8);

    rect a{0, 0, 4, 4};
    EXPECT_EQ(rect_intrsect(&a, {4, 1, 9, 3}), -1); // edges that touch
    EXPECT_EQ(a.x1, 4);
    EXPECT_EQ(a.x2, 4);
    rect b{0, 0, 4, 4};
    EXPECT_EQ(rect_intrsect(&b, {5, 1, 9, 3}), 0);
    EXPECT_EQ(b.y2, 4); // untouched
    rect c{0, 0, 4, 4};
    EXPECT_EQ(rect_intrsect(&c, {1, 5, 2, 9}), 0);

    long x = 0;
    long y = 0;
    unsigned w = 9;
    unsigned h = 9;
    pixel_rect({0, 0, 1, 3}, &x, &y, &w, &h);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(w, 0U); // one pixel wide
    EXPECT_EQ(h, 2U);
    pixel_rect({5, 5, 1, 1}, &x, &y, &w, &h);
    EXPECT_EQ(w, 0U);
    EXPECT_EQ(h, 0U);
}

TEST(Runs, BothSidesAndTheTopAreInclusiveTheBottomIsNot) {
    EXPECT_EQ(runsOf({{0.5F, 0.5F}, {1.5F, 0.5F}, {1.5F, 1.5F}, {0.5F, 1.5F}}), (Runs{false, {{0, 0, 1}}}));
    // Of either orientation.
    EXPECT_EQ(runsOf({{0.5F, 0.5F}, {0.5F, 1.5F}, {1.5F, 1.5F}, {1.5F, 0.5F}}), (Runs{false, {{0, 0, 1}}}));
    EXPECT_EQ(runsOf({{0, 0}, {3, 0}, {3, 2}, {0, 2}}), (Runs{false, {{0, 0, 2}, {1, 0, 2}}}));
}

TEST(Runs, NegativeCoordinates) {
    EXPECT_EQ(runsOf({{-4, -3}, {-1, -3}, {-1, -1}, {-4, -1}}), (Runs{false, {{-3, -4, -2}, {-2, -4, -2}}}));
    // A right edge through a centre left of 0 loses that pixel: the truncating floor.
    EXPECT_EQ(runsOf({{-4, -3}, {-2.5F, -3}, {-2.5F, -2}, {-4, -2}}), (Runs{false, {{-3, -4, -4}}}));
}

TEST(Runs, NoHeightIsNullAndNoCentreIsEmpty) {
    EXPECT_TRUE(runsOf({{0, 1}, {5, 1}, {5, 1}, {0, 1}}).null);
    EXPECT_EQ(runsOf({{0.6F, 0}, {1.4F, 0}, {1.4F, 3}, {0.6F, 3}}), (Runs{false, {}}));
    EXPECT_EQ(getTrapList(nullptr), nullptr);
    EXPECT_EQ(getScanList(nullptr), nullptr);
    destroyTrapList(nullptr);
    destroyScanList(nullptr);
}

TEST(Runs, CoordinatesNextToCentresSnap) {
    // 0.49996 becomes 0.5: the row whose centre lies just above the top is covered, the one at the bottom is not.
    EXPECT_EQ(runsOf({{0, 0.50004F}, {2, 0.50004F}, {2, 1.50004F}, {0, 1.50004F}}), (Runs{false, {{0, 0, 1}}}));
    EXPECT_EQ(runsOf({{0, 0.5001F}, {2, 0.5001F}, {2, 1.5001F}, {0, 1.5001F}}), (Runs{false, {{1, 0, 1}}}));
    // A centre up to a millionth of a pixel left of an edge that does not snap still counts; more does not.
    EXPECT_EQ(runsOf({{0.50004F, 0}, {2, 0}, {2, 1}, {0.50004F, 1}}), (Runs{false, {{0, 0, 1}}}));
    EXPECT_EQ(runsOf({{0.5001F, 0}, {2, 0}, {2, 1}, {0.5001F, 1}}), (Runs{false, {{0, 1, 1}}}));
}

TEST(Runs, NearlyFlatEdgesAreFlattened) {
    trap* traps = getTrapList(ringOf({{0, 0}, {100, 0.004F}, {100, 5}, {0, 5}}));
    ASSERT_NE(traps, nullptr);
    ASSERT_NE(traps->next, nullptr);
    EXPECT_EQ(traps->next->next, nullptr);
    EXPECT_EQ(traps->next->y1, 0);
    EXPECT_EQ(traps->next->xr1, 100);
    destroyTrapList(traps);
    traps = getTrapList(ringOf({{0, 0}, {100, 0.006F}, {100, 5}, {0, 5}}));
    ASSERT_NE(traps->next, nullptr);
    EXPECT_NE(traps->next->next, nullptr);
    destroyTrapList(traps);
}

TEST(Traps, DiamondHasTwoAndAnEndWithinTheSnapClosesBothChains) {
    // The left corner lies 0.00004 below the right one: both chains end together, at the right one's level.
    trap* traps = getTrapList(ringOf({{2, 0}, {4, 2.25F}, {2, 4}, {0, 2.25004F}}));
    ASSERT_NE(traps, nullptr);
    const trap* first = traps->next;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->y1, 0);
    EXPECT_EQ(first->xl1, 2);
    EXPECT_EQ(first->xr1, 2);
    EXPECT_EQ(first->y2, 2.25F);
    EXPECT_EQ(first->xl2, 0);
    EXPECT_EQ(first->xr2, 4);
    const trap* second = first->next;
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->y1, 2.25F);
    EXPECT_EQ(second->y2, 4);
    EXPECT_EQ(second->next, nullptr);
    destroyTrapList(traps);
}

TEST(Traps, UnequalEndsSlideTheOtherSideDownItsEdge) {
    trap* traps = getTrapList(ringOf({{2, 0}, {4, 1}, {2, 4}, {0, 3}}));
    ASSERT_NE(traps, nullptr);
    const trap* t = traps->next;
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->y2, 1);
    EXPECT_EQ(t->xr2, 4);
    EXPECT_FLOAT_EQ(t->xl2, 2 - 2.0F / 3);
    t = t->next;
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->y1, 1);
    EXPECT_EQ(t->y2, 3);
    EXPECT_EQ(t->xl2, 0);
    EXPECT_FLOAT_EQ(t->xr2, 4 - 2.0F * 2 / 3);
    ASSERT_NE(t->next, nullptr);
    EXPECT_EQ(t->next->y2, 4);
    EXPECT_EQ(t->next->next, nullptr);
    destroyTrapList(traps);
}

TEST(Traps, SidesAreToldByTheirSecondCorners) {
    // From one top corner both sides go right, the steeper one farther before its next corner: it counts as the right
    // side, the polygon is turned inside out and covers nothing.
    EXPECT_EQ(runsOf({{0, 0}, {4, 2}, {9, 9}, {5, 7}}), (Runs{false, {}}));
    EXPECT_EQ(runsOf({{0, 0}, {5, 1}, {9, 9}, {4, 8}}).rows.size(), 9U);
}

TEST(Runs, WhatIsNoNumberOrOutOfRangeEnds) {
    runsOf({{NAN, 0}, {4, NAN}, {4, 4}, {0, NAN}});
    runsOf({{NAN, 0}, {4, 0}, {4, 4}, {0, 4}});
    vertex* ring = getRect({-INFINITY, -INFINITY, INFINITY, INFINITY});
    rectclip(&ring, {0, 0, 4, 4});
    runsOf(ring);
    runsOf({{1e12F, 1e12F}, {2e12F, 1e12F}, {2e12F, 2e12F}, {1e12F, 2e12F}});
}

/// The twice signed area of a triangle, exact for corners on a coarse grid.
double turn(const Corner& a, const Corner& b, double x, double y) {
    return (double{b.x} - a.x) * (y - a.y) - (double{b.y} - a.y) * (x - a.x);
}

/// How far a point lies inside a convex polygon (negative: outside), in pixels.
double depth(const std::vector<Corner>& corners, double x, double y) {
    double area = 0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        area += turn(corners[i], corners[(i + 1) % corners.size()], corners[0].x, corners[0].y);
    }
    double least = 1e9;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Corner& a = corners[i];
        const Corner& b = corners[(i + 1) % corners.size()];
        const double length = std::hypot(double{b.x} - a.x, double{b.y} - a.y);
        if (length == 0) continue;
        least = std::min(least, (area < 0 ? -1 : 1) * turn(a, b, x, y) / length);
    }
    return least;
}

TEST(Random, CentresWellInsideAreCoveredAndThoseWellOutsideAreNot) {
    constexpr unsigned seed = 7;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto uniform = [&](float low, float high) {
        return std::uniform_real_distribution<float>(low, high)(random);
    };
    constexpr rect window{-6, -5, 23, 19};
    for (int round = 0; round < 3000; ++round) {
        vertex* ring = getRect({0, 0, uniform(0.5F, 15), uniform(0.5F, 15)});
        affine m = rotate(uniform(-4, 4));
        if (round % 5 == 0) { // mirrored
            m.a = -m.a;
            m.c = -m.c;
        }
        m.tx = uniform(-10, 20);
        m.ty = uniform(-10, 20);
        map_vlist(ring, m);
        const std::vector<Corner> corners = cornersOf(ring);
        rectclip(&ring, window);
        const Runs runs = runsOf(ring);
        for (long y = -12; y < 30; ++y) {
            long first = 1;
            long last = 0;
            for (const auto& [row, x1, x2] : runs.rows) {
                if (row != y) continue;
                first = x1;
                last = x2;
            }
            for (long x = -12; x < 30; ++x) {
                const double cx = static_cast<double>(x) + 0.5;
                const double cy = static_cast<double>(y) + 0.5;
                const bool inWindow = x >= -6 && x < 23 && y >= -5 && y < 19;
                const double d = depth(corners, cx, cy);
                if (std::fabs(d) < 0.002) continue;
                ASSERT_EQ(x >= first && x <= last, d > 0 && inWindow)
                    << "pixel " << x << ", " << y << " round " << round << " of " << testing::PrintToString(corners);
            }
        }
    }
}

TEST(Random, ClippedRingsStayInsideAndKeepTheirArea) {
    constexpr unsigned seed = 11;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> coordinate(0, 64);
    for (int round = 0; round < 3000; ++round) {
        // Axis-parallel rectangles on quarter pixels: every cut is exact, so the result is that of integers.
        const float x1 = static_cast<float>(coordinate(random)) / 4;
        const float y1 = static_cast<float>(coordinate(random)) / 4;
        const float x2 = x1 + static_cast<float>(1 + coordinate(random)) / 4;
        const float y2 = y1 + static_cast<float>(1 + coordinate(random)) / 4;
        const long cx = coordinate(random) / 5;
        const long cy = coordinate(random) / 5;
        const long cw = 1 + coordinate(random) / 5;
        const long ch = 1 + coordinate(random) / 5;
        vertex* ring = getRect({x1, y1, x2, y2});
        rectclip(&ring, {static_cast<float>(cx), static_cast<float>(cy), static_cast<float>(cx + cw),
                         static_cast<float>(cy + ch)});
        const Runs runs = runsOf(ring);
        std::vector<std::array<long, 3>> expected;
        for (long y = cy; y < cy + ch; ++y) {
            const float centre = static_cast<float>(y) + 0.5F;
            if (centre < y1 || centre >= y2) continue;
            long first = -1;
            long last = -2;
            for (long x = cx; x < cx + cw; ++x) {
                const float c = static_cast<float>(x) + 0.5F;
                if (c < x1 || c > x2) continue;
                if (first < 0) first = x;
                last = x;
            }
            if (first <= last) expected.push_back({y, first, last});
        }
        ASSERT_EQ(runs.rows, expected) << "round " << round;
    }
}

} // namespace
