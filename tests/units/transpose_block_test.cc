// Blocks of bits held against single bits, at every offset, with strides of their own and nothing to read beside them.

#include "memory/geometry/transpose_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>

namespace {

constexpr int side = 16;
using Place = std::pair<int, int>;

struct Flip {
    const char* name;
    BlockFlip* function;
    Place (*source)(int x, int y);
};

const Flip flips[] = {
    {"x", blk_flip_x,
     [](int x, int y) {
         return Place{x, 15 - y};
     }},
    {"y", blk_flip_y,
     [](int x, int y) {
         return Place{15 - x, y};
     }},
    {"d", blk_flip_d,
     [](int x, int y) {
         return Place{y, x};
     }},
    {"a", blk_flip_a,
     [](int x, int y) {
         return Place{15 - y, 15 - x};
     }},
    {"90", blk_flip_90,
     [](int x, int y) {
         return Place{15 - y, x};
     }},
    {"180", blk_flip_180,
     [](int x, int y) {
         return Place{15 - x, 15 - y};
     }},
    {"270", blk_flip_270,
     [](int x, int y) {
         return Place{y, 15 - x};
     }},
};

bool bitAt(const unsigned char* row, unsigned long at) { return ((row[at / 8] >> (7 - at % 8)) & 1) != 0; }

TEST(TransposeBlock, MovesEveryBit) {
    std::mt19937 random(5);
    for (const Flip& flip : flips) {
        for (unsigned long offset = 0; offset < 8; ++offset) {
            SCOPED_TRACE(testing::Message() << flip.name << " at offset " << offset);
            const unsigned long bytes = offset == 0 ? 2 : 3;
            const unsigned long sourceStride = bytes + offset % 3;
            const unsigned long stride = 2 + offset % 2;
            // Exactly as large as the block, so that a sanitizer sees any byte too far.
            const std::unique_ptr<unsigned char[]> source(new unsigned char[15 * sourceStride + bytes]);
            const std::unique_ptr<unsigned char[]> result(new unsigned char[15 * stride + 2]);
            for (unsigned long i = 0; i < 15 * sourceStride + bytes; ++i) {
                source[i] = static_cast<unsigned char>(random());
            }
            std::fill_n(result.get(), 15 * stride + 2, static_cast<unsigned char>(0x5A));
            flip.function(source.get(), result.get(), offset, sourceStride, stride);
            for (int y = 0; y < side; ++y) {
                for (int x = 0; x < side; ++x) {
                    const auto [column, row] = flip.source(x, y);
                    EXPECT_EQ(
                        bitAt(result.get() + static_cast<unsigned long>(y) * stride, static_cast<unsigned long>(x)),
                        bitAt(source.get() + static_cast<unsigned long>(row) * sourceStride,
                              offset + static_cast<unsigned long>(column)))
                        << "column " << x << " row " << y;
                }
                if (stride > 2 && y < side - 1) {
                    EXPECT_EQ(result[static_cast<unsigned long>(y) * stride + 2], 0x5A);
                }
            }
        }
    }
}

} // namespace
