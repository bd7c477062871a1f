// Counts of bits in boxes, which some rows of an op reach and one function not at all, and the tables of one-bit
// interpolation.

#include "memory/geometry/bit_counts.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "memory/frame/orvi_new.h"
#include "memory/geometry/bit_interp.h"

namespace {

TEST(NumOnBits, CountsFromTheLeastSignificantBitUp) {
    const unsigned char rows[] = {0x01, 0x80, 0xF0, 0x0F};
    EXPECT_EQ(num_on_bits(rows, 0, 1, 1, 2), 1U);
    EXPECT_EQ(num_on_bits(rows, 1, 7, 1, 2), 0U);
    EXPECT_EQ(num_on_bits(rows, 1, 15, 1, 2), 1U);
    EXPECT_EQ(num_on_bits(rows, 4, 4, 2, 2), 4U);
    EXPECT_EQ(num_on_bits(rows, 4, 8, 2, 2), 8U);
    EXPECT_EQ(num_on_bits(rows, 0, 16, 2, 2), 10U);
    EXPECT_EQ(num_on_bits(rows, 3, 0, 2, 2), 0U);
    EXPECT_EQ(num_on_bits(rows, 3, 5, 0, 2), 0U);
}

TEST(NumOnBits, AgreesWithSingleBits) {
    std::mt19937 engine(3);
    const auto random = [&engine] { return static_cast<unsigned>(engine()); };
    for (int round = 0; round < 200; ++round) {
        const unsigned width = random() % 40;
        const unsigned offset = random() % 8;
        const unsigned rows = random() % 5;
        const unsigned stride = (offset + width + 7) / 8 + random() % 2;
        std::vector<unsigned char> bytes(stride * rows + 1);
        for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
        unsigned expected = 0;
        for (unsigned y = 0; y < rows; ++y) {
            for (unsigned i = offset; i < offset + width; ++i) expected += (bytes[y * stride + i / 8] >> (i % 8)) & 1U;
        }
        EXPECT_EQ(num_on_bits(bytes.data(), offset, width, rows, stride), expected);
    }
}

void holdCounter(BoxCounter* counter, unsigned side) {
    std::mt19937 random(side);
    for (unsigned columns = 1; columns < 80; ++columns) {
        const unsigned rows = 1 + columns % 3;
        const unsigned stride = (columns * side + 7) / 8;
        std::vector<unsigned char> source(std::size_t{stride} * rows * side);
        for (unsigned char& byte : source) byte = static_cast<unsigned char>(random());
        std::vector<unsigned char> counts(std::size_t{columns} * rows, 99);
        counter(source.data(), counts.data(), columns * side, rows * side, stride, columns);
        for (unsigned y = 0; y < rows; ++y) {
            for (unsigned x = 0; x < columns; ++x) {
                unsigned expected = 0;
                for (unsigned j = y * side; j < (y + 1) * side; ++j) {
                    for (unsigned i = x * side; i < (x + 1) * side; ++i) {
                        expected += (source[j * stride + i / 8] >> (7 - i % 8)) & 1U;
                    }
                }
                ASSERT_EQ(counts[y * columns + x], expected) << columns << " boxes, column " << x << " row " << y;
            }
        }
    }
}

TEST(BoxCounter, Squares) {
    holdCounter(Subsample1to8_2x2, 2);
    holdCounter(Subsample1to8_3x3, 3);
    holdCounter(Subsample1to8_4x4, 4);
}

int truncated(float v) { return static_cast<int>(v); }

TEST(BitInterp, LinearTable) {
    const orvi::Array<int> guard = [] {
        orvi::Array<int> table;
        table.reset(mk_BLtable());
        return table;
    }();
    const int* table = guard.get();
    ASSERT_NE(table, nullptr);
    for (int u = 0; u < 16; ++u) {
        for (int v = 0; v < 16; ++v) {
            for (int p = 0; p < 16; ++p) {
                const float fu = static_cast<float>(u) / 15.0F;
                const float fv = static_cast<float>(v) / 15.0F;
                const auto sample = [p](int bit) { return (p & bit) != 0 ? 16 : 0; };
                const int v0 = sample(8) + truncated(static_cast<float>(sample(4) - sample(8)) * fu);
                const int v1 = sample(2) + truncated(static_cast<float>(sample(1) - sample(2)) * fu);
                EXPECT_EQ(table[u << 8 | v << 4 | p], v0 + truncated(static_cast<float>(v1 - v0) * fv));
            }
        }
    }
    EXPECT_EQ(table[15 << 8 | 15 << 4 | 1], 16); // fifteen fifteenths are 1
    EXPECT_EQ(table[7 << 8 | 4], 7);
    EXPECT_EQ(table[8 << 8 | 4], 8);
}

TEST(BitInterp, CubicTable) {
    orvi::Array<int> guard;
    guard.reset(mk_BCtable());
    const int* table = guard.get();
    ASSERT_NE(table, nullptr);
    for (int u = 0; u < 16; ++u) {
        EXPECT_EQ(table[u << 4], 0);
        EXPECT_EQ(table[u << 4 | 15], 16);
    }
    EXPECT_EQ(table[4], 16); // at fraction 0, the second sample
    EXPECT_EQ(table[8], 0);
    EXPECT_EQ(table[15 << 4 | 2], 16); // at fraction 1, the third
    // f = 7/15: L = trunc(16 f) = 7, S = 32 - trunc(32 f) = 18, T = 56/225, and 7 + trunc((7 - 9) * T) = 7
    EXPECT_EQ(table[7 << 4 | 10], 7);
    // f = 1/3: L = 16 - 5, S = 5, and T, rounded twice, is less than 2/9: 11 + trunc((11 - 2) * T) = 12
    EXPECT_EQ(table[5 << 4 | 4], 12);
}

} // namespace
