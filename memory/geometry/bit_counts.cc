#include "memory/geometry/bit_counts.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned bit(unsigned value, unsigned place) noexcept { return (value >> place) & 1U; }

/// Four bytes of counts of `group` bits each by source byte, laid out so that the word in memory begins with the
/// leftmost group.
constexpr std::uint32_t inOrder(const unsigned (&counts)[4]) noexcept {
    std::uint32_t word = 0;
    for (unsigned i = 0; i < 4; ++i) {
        const unsigned shift = std::endian::native == std::endian::little ? 8 * i : 24 - 8 * i;
        word |= counts[i] << shift;
    }
    return word;
}

constexpr std::array<std::uint32_t, 256> pairCounts = [] {
    std::array<std::uint32_t, 256> table{};
    for (unsigned v = 0; v < 256; ++v) {
        table[v] =
            inOrder({bit(v, 7) + bit(v, 6), bit(v, 5) + bit(v, 4), bit(v, 3) + bit(v, 2), bit(v, 1) + bit(v, 0)});
    }
    return table;
}();

/// The counts of both nibbles, the left one in the low byte.
constexpr std::array<std::uint16_t, 256> nibbleCounts = [] {
    std::array<std::uint16_t, 256> table{};
    for (unsigned v = 0; v < 256; ++v) {
        table[v] = static_cast<std::uint16_t>(std::popcount(v >> 4) | std::popcount(v & 15U) << 8);
    }
    return table;
}();

/// The bits `first` to `first + count - 1` of a row.
unsigned bitsAt(const unsigned char* row, unsigned first, unsigned count) noexcept {
    unsigned value = 0;
    for (unsigned i = first; i < first + count; ++i) value = value << 1 | bit(row[i >> 3], 7 - (i & 7));
    return value;
}

} // namespace

unsigned num_on_bits(const unsigned char* row, unsigned bit_offset, unsigned width, unsigned rows,
                     std::ptrdiff_t stride) noexcept {
    unsigned on = 0;
    for (unsigned y = 0; y < rows; ++y, row += stride) {
        for (unsigned i = bit_offset; i < bit_offset + width; ++i) on += bit(row[i >> 3], i & 7);
    }
    return on;
}

void Subsample1to8_2x2(const unsigned char* src, unsigned char* dst, unsigned width, unsigned height,
                       std::ptrdiff_t src_stride, std::ptrdiff_t dst_stride) noexcept {
    const unsigned bytes = width / 8;
    for (unsigned y = 0; y < height; y += 2, src += 2 * src_stride, dst += dst_stride) {
        const unsigned char* below = src + src_stride;
        for (unsigned i = 0; i < bytes; ++i) {
            const std::uint32_t counts = pairCounts[src[i]] + pairCounts[below[i]];
            std::memcpy(dst + std::size_t{4} * i, &counts, 4);
        }
        for (unsigned x = bytes * 8; x < width; x += 2) {
            dst[x / 2] =
                static_cast<unsigned char>(std::popcount(bitsAt(src, x, 2)) + std::popcount(bitsAt(below, x, 2)));
        }
    }
}

void Subsample1to8_3x3(const unsigned char* src, unsigned char* dst, unsigned width, unsigned height,
                       std::ptrdiff_t src_stride, std::ptrdiff_t dst_stride) noexcept {
    for (unsigned y = 0; y < height; y += 3, src += 3 * src_stride, dst += dst_stride) {
        for (unsigned x = 0; x < width; x += 3) {
            int on = 0;
            for (int row = 0; row < 3; ++row) on += std::popcount(bitsAt(src + row * src_stride, x, 3));
            dst[x / 3] = static_cast<unsigned char>(on);
        }
    }
}

void Subsample1to8_4x4(const unsigned char* src, unsigned char* dst, unsigned width, unsigned height,
                       std::ptrdiff_t src_stride, std::ptrdiff_t dst_stride) noexcept {
    const unsigned bytes = width / 8;
    for (unsigned y = 0; y < height; y += 4, src += 4 * src_stride, dst += dst_stride) {
        for (unsigned i = 0; i < bytes; ++i) {
            unsigned counts = 0;
            for (int row = 0; row < 4; ++row) counts += nibbleCounts[src[row * src_stride + i]];
            dst[2 * i] = static_cast<unsigned char>(counts);
            dst[2 * i + 1] = static_cast<unsigned char>(counts >> 8);
        }
        if (width % 8 == 0) continue;
        int on = 0;
        for (int row = 0; row < 4; ++row) on += std::popcount(unsigned{src[row * src_stride + bytes]} >> 4);
        dst[2 * bytes] = static_cast<unsigned char>(on);
    }
}
