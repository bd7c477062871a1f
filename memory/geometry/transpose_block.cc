#include "memory/geometry/transpose_block.h"

#include <cstdint>

namespace {

/// Eight words of two rows each: row k in the high half of word k, row k + 8 in the low half.
struct Block {
    std::uint32_t words[8];
};

enum class Rows { down, up };

std::uint32_t loadRow(const unsigned char* row, unsigned long offset) noexcept {
    std::uint32_t bits = static_cast<std::uint32_t>(row[0]) << 8 | row[1];
    if (offset != 0) bits = (bits << offset) | static_cast<std::uint32_t>(row[2]) >> (8 - offset);
    return bits & 0xFFFFU;
}

void storeRow(unsigned char* row, std::uint32_t bits) noexcept {
    row[0] = static_cast<unsigned char>(bits >> 8);
    row[1] = static_cast<unsigned char>(bits);
}

template <Rows order>
constexpr unsigned long place(unsigned k) noexcept {
    return order == Rows::down ? k : 15 - k;
}

template <Rows order>
Block load(const unsigned char* src, unsigned long offset, unsigned long stride) noexcept {
    Block block;
    for (unsigned k = 0; k < 8; ++k) {
        block.words[k] =
            loadRow(src + place<order>(k) * stride, offset) << 16 | loadRow(src + place<order>(k + 8) * stride, offset);
    }
    return block;
}

template <Rows order>
void store(const Block& block, unsigned char* dst, unsigned long stride) noexcept {
    for (unsigned k = 0; k < 8; ++k) {
        storeRow(dst + place<order>(k) * stride, block.words[k] >> 16);
        storeRow(dst + place<order>(k + 8) * stride, block.words[k]);
    }
}

/// Exchanges squares of `side` bits across the diagonal: those right in the upper rows with those left in the lower.
template <unsigned side, std::uint32_t mask>
void exchange(Block& block) noexcept {
    for (unsigned k = 0; k < 8; ++k) {
        if ((k & side) != 0) continue;
        std::uint32_t& upper = block.words[k];
        std::uint32_t& lower = block.words[k + side];
        const std::uint32_t moved = (upper ^ (lower >> side)) & mask;
        upper ^= moved;
        lower ^= moved << side;
    }
}

void transpose(Block& block) noexcept {
    for (std::uint32_t& word : block.words) {
        word = (word & 0xFF0000FFU) | ((word & 0x00FF0000U) >> 8) | ((word & 0x0000FF00U) << 8);
    }
    exchange<4, 0x0F0F0F0FU>(block);
    exchange<2, 0x33333333U>(block);
    exchange<1, 0x55555555U>(block);
}

/// Reverses the bits of each row.
void mirror(Block& block) noexcept {
    for (std::uint32_t& word : block.words) {
        word = (word & 0xFF00FF00U) >> 8 | (word & 0x00FF00FFU) << 8;
        word = (word & 0xF0F0F0F0U) >> 4 | (word & 0x0F0F0F0FU) << 4;
        word = (word & 0xCCCCCCCCU) >> 2 | (word & 0x33333333U) << 2;
        word = (word & 0xAAAAAAAAU) >> 1 | (word & 0x55555555U) << 1;
    }
}

void keep(Block&) noexcept {}

/// Every flip is rows read downward or upward, one change, and rows written downward or upward.
template <Rows from, void (*change)(Block&) noexcept, Rows to>
void flip(const unsigned char* src, unsigned char* dst, unsigned long offset, unsigned long srcStride,
          unsigned long dstStride) noexcept {
    Block block = load<from>(src, offset, srcStride);
    change(block);
    store<to>(block, dst, dstStride);
}

} // namespace

void blk_flip_x(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                unsigned long dst_stride) noexcept {
    flip<Rows::down, keep, Rows::up>(src, dst, src_offset, src_stride, dst_stride);
}

void blk_flip_y(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                unsigned long dst_stride) noexcept {
    flip<Rows::down, mirror, Rows::down>(src, dst, src_offset, src_stride, dst_stride);
}

void blk_flip_d(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                unsigned long dst_stride) noexcept {
    flip<Rows::down, transpose, Rows::down>(src, dst, src_offset, src_stride, dst_stride);
}

void blk_flip_a(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                unsigned long dst_stride) noexcept {
    flip<Rows::up, transpose, Rows::up>(src, dst, src_offset, src_stride, dst_stride);
}

void blk_flip_90(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                 unsigned long dst_stride) noexcept {
    flip<Rows::down, transpose, Rows::up>(src, dst, src_offset, src_stride, dst_stride);
}

void blk_flip_180(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                  unsigned long dst_stride) noexcept {
    flip<Rows::down, mirror, Rows::up>(src, dst, src_offset, src_stride, dst_stride);
}

void blk_flip_270(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                  unsigned long dst_stride) noexcept {
    flip<Rows::up, transpose, Rows::down>(src, dst, src_offset, src_stride, dst_stride);
}
