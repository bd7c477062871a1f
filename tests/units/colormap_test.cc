// The colormap classes, those parts included that no op reaches.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include "cell/common/AdaptiveColormapSelection.h"
#include "cell/common/CmapTable.h"
#include "cis/SquaresTable.h"
#include "memory/quantise/diffusion_utils.h"

namespace {

/// Allocations that the device may still make before one fails; below 0: none fails.
int allocationsLeft = -1;

struct FailAfter {
    explicit FailAfter(int count) { allocationsLeft = count; }
    ~FailAfter() { allocationsLeft = -1; }
};

} // namespace

// The device's only way to memory.
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    if (allocationsLeft == 0) return nullptr;
    if (allocationsLeft > 0) --allocationsLeft;
    return std::malloc(bytes);
}
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void* operator new[](std::size_t bytes) { return std::malloc(bytes); }

namespace {

TEST(SquaresTable, HoldsSquaresAndRoots) {
    const SquaresTable first;
    const SquaresTable second;
    EXPECT_EQ(SquaresTable::initialized, 1);
    EXPECT_EQ(std::size(SquaresTable::squares_table), 514U);
    for (int d = -256; d <= 256; ++d) EXPECT_EQ(SquaresTable::squares[d], d * d);
    for (int i = 0; i < 8192; ++i) {
        const int root = SquaresTable::sqrts[i];
        EXPECT_LE(root * root, i);
        EXPECT_GT((root + 1) * (root + 1), i);
    }
    EXPECT_EQ(sqrs_table, SquaresTable::squares);
    EXPECT_EQ(sqrt_table, SquaresTable::sqrts);
}

const unsigned char colors[] = {10, 20, 30, 200, 100, 50, 255, 255, 255};

TEST(CmapTable, TakesAndGivesColors) {
    CmapTable table(colors, COLOR_RGB, 4, 3);
    ASSERT_EQ(table.ok(0), 1);
    EXPECT_EQ(table.count(), 3U);
    EXPECT_EQ(table.capacity(), 4U);
    EXPECT_EQ(table.bands(), 3U);
    EXPECT_EQ(table.colors()[1], ColorValue(200, 100, 50));
    EXPECT_EQ(table.colors()[1].bytes[0], 0);

    unsigned char* packed = table.getAsColormapTable();
    ASSERT_NE(packed, nullptr);
    for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(packed[i], colors[i]);
    for (std::size_t i = 9; i < 12; ++i) EXPECT_EQ(packed[i], 0);
    orvi_delete(packed);

    EXPECT_EQ(table.setAsColormapTable(colors + 3, COLOR_BGR, 2), 0);
    EXPECT_EQ(table.space(), COLOR_BGR);
    EXPECT_EQ(table.count(), 2U);
    EXPECT_EQ(table.colors()[0], ColorValue(200, 100, 50));
    EXPECT_EQ(table.colors()[2], ColorValue());
}

TEST(CmapTable, SetsWhatFits) {
    CmapTable small(colors, COLOR_RGB, 2, 2);
    CmapTable large(colors, COLOR_YUV, 5, 3);
    EXPECT_EQ(small.set(large), 2);
    EXPECT_EQ(small.count(), 2U);
    EXPECT_EQ(small.space(), COLOR_RGB);
    EXPECT_EQ(large.set(small), 0);
    EXPECT_EQ(large.count(), 2U);
    EXPECT_EQ(large.space(), COLOR_RGB);
    EXPECT_TRUE(large == small);
    large.colors()[1] = ColorValue(1, 2, 3);
    EXPECT_FALSE(large == small);
    large = small;
    EXPECT_TRUE(large == small);
    const CmapTable copy(large);
    EXPECT_TRUE(copy == large);
    EXPECT_EQ(copy.capacity(), 5U);
    EXPECT_FALSE(copy == CmapTable(colors, COLOR_RGB, 5, 3));
}

TEST(CmapTable, ChangesTheOrderOfItsComponents) {
    CmapTable table(colors, COLOR_RGB, 3, 3);
    EXPECT_EQ(table.toRGB(), 0);
    EXPECT_EQ(table.toBGR(), 1);
    EXPECT_EQ(table.space(), COLOR_BGR);
    EXPECT_EQ(table.colors()[0], ColorValue(30, 20, 10));
    EXPECT_EQ(table.toBGR(), 0);
    EXPECT_EQ(table.toYUV(), 1);
    EXPECT_EQ(table.toYUV(), 0);
    // 0.25663501 * 255 + 0.50397098 * 255 + 0.098218 * 255 + 16 + 0.5 is 235.5 and a little.
    EXPECT_EQ(table.colors()[2], ColorValue(235, 128, 128));
    EXPECT_EQ(table.colors()[0].bytes[1], 32);
    EXPECT_EQ(table.toBGR(), 1);
    EXPECT_EQ(table.space(), COLOR_BGR);
    for (unsigned i = 0; i < 3; ++i) {
        for (unsigned c = 0; c < 3; ++c) EXPECT_NEAR(table.colors()[i].bytes[3 - c], colors[i * 3 + c], 2);
    }
}

TEST(CmapTable, ClampsColorsBeyondTheCube) {
    const unsigned char wild[] = {255, 128, 255, 16, 255, 128, 0, 0, 0};
    CmapTable table(wild, COLOR_YUV, 3, 3);
    EXPECT_EQ(table.toRGB(), 1);
    EXPECT_EQ(table.colors()[0].bytes[1], 255);
    EXPECT_EQ(table.colors()[1], ColorValue(0, 0, 255));
    EXPECT_EQ(table.colors()[2].bytes[1], 0);
}

TEST(CmapTable, OfFailedConstructionDestroysItself) {
    const auto make = [](int allocations) {
        const FailAfter fault(allocations);
        auto* table = new (std::nothrow) LumCmapTable(COLOR_RGB, 8, 8);
        return table == nullptr ? -1 : table->ok(1);
    };
    EXPECT_EQ(make(0), -1);
    EXPECT_EQ(make(1), 0);
    EXPECT_EQ(make(2), 0);
    EXPECT_EQ(make(3), 0);
    auto* whole = new (std::nothrow) LumCmapTable(COLOR_RGB, 8, 8);
    EXPECT_EQ(whole->ok(1), 1);
    delete whole;

    CmapTable table(colors, COLOR_RGB, 3, 3);
    const FailAfter fault(0);
    EXPECT_EQ(table.getAsColormapTable(), nullptr);
    EXPECT_EQ(table.setAsColormapTable(colors, COLOR_RGB, 3), 2);
    EXPECT_EQ(table.ok(0), 0);
}

TEST(UsedCmapTable, CountsEveryEntryAsUsed) {
    UsedCmapTable table(colors, COLOR_RGB, 4, 3);
    ASSERT_EQ(table.ok(0), 1);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(table.used()[i], 1);
    table.used()[1] = 0;
    UsedCmapTable other(COLOR_RGB, 4, 0);
    other = table;
    EXPECT_TRUE(other == table);
    EXPECT_EQ(other.used()[1], 0);
    const UsedCmapTable copy(table);
    EXPECT_EQ(copy.used()[1], 0);
}

TEST(LumCmapTable, ComputesLuminances) {
    LumCmapTable rgb(colors, COLOR_RGB, 3, 3);
    ASSERT_EQ(rgb.ok(0), 1);
    rgb.computeLum();
    EXPECT_DOUBLE_EQ(rgb.luminance()[1], 0.25663501 * 200 + 0.50397098 * 100 + 0.098218 * 50 + 16);
    LumCmapTable bgr(rgb);
    EXPECT_EQ(bgr.luminance()[1], rgb.luminance()[1]);
    bgr.toBGR();
    bgr.computeLum();
    EXPECT_DOUBLE_EQ(bgr.luminance()[1], rgb.luminance()[1]);
    LumCmapTable yuv(colors, COLOR_YUV, 3, 3);
    yuv.computeLum();
    EXPECT_EQ(yuv.luminance()[0], 10);
    yuv = rgb;
    EXPECT_EQ(yuv.luminance()[1], rgb.luminance()[1]);
}

// The selection.

struct Entry {
    int c[3];
    int used = 1;
};

int fullSearch(const std::vector<Entry>& map, int c0, int c1, int c2) {
    int best = 1 << 30;
    int index = 0;
    for (std::size_t i = 0; i < map.size(); ++i) {
        if (map[i].used <= 0) continue;
        const int d0 = map[i].c[0] - c0;
        const int d1 = map[i].c[1] - c1;
        const int d2 = map[i].c[2] - c2;
        const int distance = d0 * d0 + d1 * d1 + d2 * d2;
        if (distance < best) {
            best = distance;
            index = static_cast<int>(i);
        }
    }
    return index;
}

class Selection : public testing::Test {
protected:
    Selection() : selection((new (std::nothrow) AdaptiveColormapSelection)->ok()) {}

    void use(const std::vector<Entry>& entries) {
        map = entries;
        UsedCmapTable table(COLOR_RGB, 256, static_cast<std::uint16_t>(entries.size()));
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const auto& c = entries[i].c;
            table.colors()[i] = {static_cast<std::uint8_t>(c[0]), static_cast<std::uint8_t>(c[1]),
                                 static_cast<std::uint8_t>(c[2])};
            table.used()[i] = entries[i].used;
        }
        selection->useNewColormap(table);
    }

    void useRandom(std::size_t entries, int low, int high, unsigned seed) {
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> value(low, high);
        std::vector<Entry> made(entries);
        for (Entry& entry : made) entry = {{value(random), value(random), value(random)}, value(random) % 10 != 0};
        use(made);
    }

    void expectExact(unsigned count, unsigned seed, int low = 0, int high = 255) {
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> value(low, high);
        for (unsigned i = 0; i < count; ++i) expectExactAt(value(random), value(random), value(random));
    }

    void expectExactAt(int c0, int c1, int c2) {
        ASSERT_EQ(selection->selectIndex(c0, c1, c2), fullSearch(map, c0, c1, c2))
            << "colour " << c0 << ' ' << c1 << ' ' << c2;
    }

    std::unique_ptr<AdaptiveColormapSelection> selection;
    std::vector<Entry> map;
};

TEST_F(Selection, IsExactOnRandomMaps) {
    unsigned seed = 1;
    for (const std::size_t entries : {2U, 3U, 8U, 60U, 256U}) {
        useRandom(entries, 0, 255, ++seed);
        expectExact(30000, ++seed);
    }
}

TEST_F(Selection, IsExactOnClusteredMaps) {
    useRandom(256, 120, 135, 5);
    expectExact(20000, 6);
    expectExact(20000, 7, 110, 145);
    useRandom(40, 0, 3, 8);
    expectExact(20000, 9);
}

TEST_F(Selection, IsExactOnTheCornersOfBuckets) {
    // Entries on a lattice make exact ties at corners and between buckets.
    std::vector<Entry> lattice;
    for (int i = 0; i < 216; ++i) lattice.push_back({{i / 36 * 48 + 7, i / 6 % 6 * 48 + 8, i % 6 * 48 + 7}});
    use(lattice);
    for (int c0 = 0; c0 < 256; c0 += 15) {
        for (int c1 = 0; c1 < 256; c1 += 15) {
            for (int c2 = 0; c2 < 256; c2 += 15) expectExactAt(c0, c1, c2);
        }
    }
    for (int bucket = 0; bucket < 4096; ++bucket) {
        for (int corner = 0; corner < 8; ++corner) {
            expectExactAt((bucket >> 8) * 16 + (corner & 1) * 15, (bucket >> 4 & 15) * 16 + (corner >> 1 & 1) * 15,
                          (bucket & 15) * 16 + (corner >> 2) * 15);
        }
    }
}

TEST_F(Selection, TakesTheLowerOfEqualEntries) {
    use({{{9, 9, 9}}, {{50, 60, 70}}, {{50, 60, 70}}, {{90, 60, 70}}});
    EXPECT_EQ(selection->selectIndex(50, 60, 70), 1);
    EXPECT_EQ(selection->selectIndex(70, 60, 70), 1);
    EXPECT_EQ(selection->selectIndex(71, 60, 70), 3);
}

TEST_F(Selection, PassesOverUnusedEntries) {
    use({{{0, 0, 0}}, {{100, 100, 100}, 0}, {{90, 100, 100}, -3}, {{255, 255, 255}}});
    EXPECT_EQ(selection->selectIndex(100, 100, 100), 0);
    expectExact(5000, 3);
}

TEST_F(Selection, OfOneEntryOrNoneAnswersZero) {
    use({{{77, 88, 99}}});
    EXPECT_EQ(selection->selectIndex(255, 0, 255), 0);
    use({});
    EXPECT_EQ(selection->selectIndex(255, 0, 255), 0);
    use({{{1, 2, 3}, 0}});
    EXPECT_EQ(selection->selectIndex(1, 2, 3), 0);
}

TEST_F(Selection, StaysExactWhenItsBlocksAreUsedUp) {
    useRandom(256, 0, 255, 11);
    expectExact(600000, 12);
    EXPECT_EQ(selection->blocksInUse(), AdaptiveColormapSelection::mostBlocks);
    expectExact(100000, 12);
    expectExact(100000, 13);
    useRandom(256, 0, 255, 14);
    EXPECT_EQ(selection->blocksInUse(), 0);
    EXPECT_EQ(selection->bucketsInUse(), 0);
    expectExact(20000, 15);
}

TEST_F(Selection, RemembersACellAndItsNeighbours) {
    use({{{100, 100, 100}}, {{103, 100, 100}}});
    for (int round = 0; round < 2; ++round) {
        for (int c0 = 100; c0 < 104; ++c0) {
            for (int c1 = 100; c1 < 104; ++c1) {
                for (int c2 = 100; c2 < 104; ++c2) expectExactAt(c0, c1, c2);
            }
        }
    }
    EXPECT_EQ(selection->blocksInUse(), 1);
    EXPECT_EQ(selection->bucketsInUse(), 1);
}

TEST_F(Selection, WithoutMemoryForABucketSearchesAndForgets) {
    useRandom(200, 0, 255, 21);
    for (int allocations = 0; allocations < 3; ++allocations) {
        const FailAfter fault(allocations);
        expectExactAt(10, 200, 30);
        EXPECT_EQ(selection->bucketsInUse(), 0);
    }
    expectExactAt(10, 200, 30);
    EXPECT_EQ(selection->bucketsInUse(), 1);
}

TEST(AdaptiveColormapSelection, OfFailedConstructionDestroysItself) {
    for (int allocations = 1; allocations < 5; ++allocations) {
        const FailAfter fault(allocations);
        auto* selection = new (std::nothrow) AdaptiveColormapSelection;
        ASSERT_NE(selection, nullptr);
        EXPECT_EQ(selection->ok(), nullptr);
    }
}

TEST_F(Selection, KeepsStatistics) {
    use({{{10, 10, 10}}, {{200, 200, 200}}});
    EXPECT_EQ(selection->selectIndexAdaptive(12, 11, 10), 0);
    EXPECT_EQ(selection->selectIndexAdaptive(10, 10, 9), 0);
    EXPECT_EQ(selection->selectIndexAdaptive(190, 200, 200), 1);
    EXPECT_EQ(selection->hits(0), 2);
    EXPECT_EQ(selection->sum(0, 0), 22);
    EXPECT_EQ(selection->sum(2, 0), 19);
    EXPECT_EQ(selection->sumOfSquares(1, 0), 221);
    EXPECT_EQ(selection->totalError(0), 6);
    EXPECT_EQ(selection->totalError(1), 100);

    testing::internal::CaptureStdout();
    selection->printStats();
    EXPECT_NE(testing::internal::GetCapturedStdout().find("buckets 2, first answers 3, equal answers 0"),
              std::string::npos);
    selection->clearStatTables();
    EXPECT_EQ(selection->hits(0), 0);
    EXPECT_EQ(selection->totalError(1), 0);
}

TEST_F(Selection, MovesEntriesTowardsWhatTheyWereChosenFor) {
    use({{{10, 10, 10}}, {{200, 200, 200}}});
    for (int i = 0; i < 10; ++i) {
        selection->selectIndexAdaptive(20, 10, 10);
        selection->selectIndexAdaptive(240, 200, 200);
    }
    UsedCmapTable next(COLOR_RGB, 256, 2);
    selection->getNextColorMap(next);
    EXPECT_EQ(next.colors()[0], ColorValue(19, 10, 10));    // nine tenths of the way
    EXPECT_EQ(next.colors()[1], ColorValue(212, 200, 200)); // no farther than 12
    EXPECT_DOUBLE_EQ(selection->meanSquaredError(), (100 + 1600) / 2.0);
}

TEST_F(Selection, HandsUnusedEntriesToTheHeaviest) {
    use({{{100, 100, 100}}, {{0, 0, 0}}, {{255, 255, 255}}});
    for (int i = 0; i < 50; ++i) {
        selection->selectIndexAdaptive(80, 100, 100);
        selection->selectIndexAdaptive(120, 100, 100);
    }
    UsedCmapTable next(COLOR_RGB, 256, 3);
    selection->getNextColorMap(next);
    // The standard deviation is 20; a half of it is left for the second split.
    EXPECT_EQ(next.colors()[1], ColorValue(120, 100, 100));
    EXPECT_EQ(next.colors()[0].bytes[1], 70);
    EXPECT_EQ(next.colors()[2].bytes[1], 90);
    EXPECT_EQ(next.used()[2], 1);
}

TEST_F(Selection, RefinesTowardsSmallerErrors) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> value(0, 40);
    useRandom(16, 0, 255, 4);
    double first = 0;
    for (int round = 0; round < 8; ++round) {
        for (int i = 0; i < 4000; ++i) {
            const int cluster = i % 3 * 90;
            selection->selectIndexAdaptive(cluster + value(random) / 2, 200 - cluster, cluster + value(random) / 2);
        }
        UsedCmapTable next(COLOR_RGB, 256, 16);
        selection->setHitThresholds(10, 20);
        selection->getNextColorMap(next);
        if (round == 0) first = selection->meanSquaredError();
        selection->useNewColormap(next);
    }
    EXPECT_LT(selection->meanSquaredError(), first / 4);
}

TEST_F(Selection, GivesRandomColorsWhereNothingWorks) {
    use({{{0, 0, 0}}, {{1, 1, 1}}});
    UsedCmapTable next(COLOR_YUV, 256, 2);
    selection->getNextColorMap(next);
    for (unsigned i = 0; i < 2; ++i) {
        for (unsigned c = 1; c < 4; ++c) {
            EXPECT_GE(next.colors()[i].bytes[c], 16);
            EXPECT_LE(next.colors()[i].bytes[c], c == 1 ? 235 : 240);
        }
    }
    EXPECT_FALSE(next.colors()[0] == next.colors()[1]);
}

TEST(DiffusionUtils, CompareSortedItems) {
    struct Real {
        std::int32_t index;
        float key;
    };
    struct Integer {
        std::int32_t index;
        std::int32_t key;
    };
    const Real low{9, -1.5F};
    const Real high{1, 2.0F};
    EXPECT_LT(orvi::float_cmp_fx(&low, &high), 0);
    EXPECT_GT(orvi::float_cmp_fx(&high, &low), 0);
    EXPECT_EQ(orvi::float_cmp_fx(&low, &low), 0);
    const Integer less{9, -7};
    const Integer more{1, 7};
    EXPECT_LT(orvi::int_cmp_fx(&less, &more), 0);
    EXPECT_GT(orvi::int_cmp_fx(&more, &less), 0);
    EXPECT_EQ(orvi::int_cmp_fx(&more, &more), 0);
    const orvi::SortedEntry dark{5, 0, 10, 0};
    const orvi::SortedEntry light{1, 0, 20, 0};
    const orvi::SortedEntry alike{6, 0, 10, 0};
    EXPECT_LT(orvi::cmap_entry_1d_cmp_fx_8(&dark, &light), 0);
    EXPECT_GT(orvi::cmap_entry_1d_cmp_fx_8(&light, &dark), 0);
    EXPECT_LT(orvi::cmap_entry_1d_cmp_fx_8(&dark, &alike), 0);
}

} // namespace
