#include "memory/geometry/bit_counts.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned bit(unsigned value, unsigned place) noexcept { return (value >> place) & 1U; }

/// The set bits of each pair of bits, and of each nibble, of a byte; as arithmetic, which goes many bytes at a time.
constexpr std::uint8_t pairCounts(unsigned v) noexcept { return static_cast<std::uint8_t>(v - (v >> 1 & 0x55U)); }
constexpr std::uint8_t nibbleCounts(unsigned v) noexcept {
    const unsigned pairs = pairCounts(v);
    return static_cast<std::uint8_t>((pairs & 0x33U) + (pairs >> 2 & 0x33U));
}

/// The set bits of each three of 24 bits, as octal digits.
constexpr std::uint32_t tripleCounts(const unsigned char* bytes) noexcept {
    const std::uint32_t v = std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]};
    return v - (v >> 1 & 033333333U) - (v >> 2 & 011111111U);
}

/// Writes a word so that its low byte comes first.
template <class Word>
void storeBytes(unsigned char* to, Word word) noexcept {
    if constexpr (std::endian::native == std::endian::big) {
        for (std::size_t i = 0; i < sizeof word; ++i) to[i] = static_cast<unsigned char>(word >> (8 * i));
    } else {
        std::memcpy(to, &word, sizeof word);
    }
}

/// The bits `first` to `first + count - 1` of a row.
unsigned bitsAt(const unsigned char* row, unsigned first, unsigned count) noexcept {
    unsigned value = 0;
    for (unsigned i = first; i < first + count; ++i) value = value << 1 | bit(row[i >> 3], 7 - (i & 7));
    return value;
}

/// The boxes of one row from column `x` on, one after another.
template <unsigned side>
void boxes(const unsigned char* src, unsigned char* dst, unsigned x, unsigned width, std::ptrdiff_t stride) noexcept {
    for (; x < width; x += side) {
        int on = 0;
        for (unsigned row = 0; row < side; ++row) {
            on += std::popcount(bitsAt(src + static_cast<std::ptrdiff_t>(row) * stride, x, side));
        }
        dst[x / side] = static_cast<unsigned char>(on);
    }
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
            // Sums of up to 4 need a nibble each: every other pair goes on its own.
            const unsigned a = pairCounts(src[i]);
            const unsigned b = pairCounts(below[i]);
            const std::uint32_t left = (a >> 2 & 0x33U) + (b >> 2 & 0x33U);
            const std::uint32_t right = (a & 0x33U) + (b & 0x33U);
            storeBytes(dst + std::size_t{4} * i,
                       left >> 4 | (right >> 4) << 8 | (left & 15U) << 16 | (right & 15U) << 24);
        }
        boxes<2>(src, dst, bytes * 8, width, src_stride);
    }
}

void Subsample1to8_3x3(const unsigned char* src, unsigned char* dst, unsigned width, unsigned height,
                       std::ptrdiff_t src_stride, std::ptrdiff_t dst_stride) noexcept {
    const unsigned groups = width / 24;
    for (unsigned y = 0; y < height; y += 3, src += 3 * src_stride, dst += dst_stride) {
        for (unsigned i = 0; i < groups; ++i) {
            // Sums of up to 9 need six bits each.
            std::uint64_t left = 0;
            std::uint64_t right = 0;
            for (int row = 0; row < 3; ++row) {
                const std::uint32_t counts = tripleCounts(src + row * src_stride + std::size_t{3} * i);
                left += counts >> 3 & 07070707U;
                right += counts & 07070707U;
            }
            const auto spread = [](std::uint64_t sums) {
                return sums >> 18 | (sums >> 12 & 63U) << 16 | (sums >> 6 & 63U) << 32 | (sums & 63U) << 48;
            };
            storeBytes(dst + std::size_t{8} * i, spread(left) | spread(right) << 8);
        }
        boxes<3>(src, dst, groups * 24, width, src_stride);
    }
}

void Subsample1to8_4x4(const unsigned char* src, unsigned char* dst, unsigned width, unsigned height,
                       std::ptrdiff_t src_stride, std::ptrdiff_t dst_stride) noexcept {
    const unsigned bytes = width / 8;
    for (unsigned y = 0; y < height; y += 4, src += 4 * src_stride, dst += dst_stride) {
        for (unsigned i = 0; i < bytes; ++i) {
            std::uint16_t counts = 0;
            for (int row = 0; row < 4; ++row) {
                const unsigned nibbles = nibbleCounts(src[row * src_stride + i]);
                counts = static_cast<std::uint16_t>(counts + (nibbles >> 4 | (nibbles & 15U) << 8));
            }
            storeBytes(dst + std::size_t{2} * i, counts);
        }
        boxes<4>(src, dst, bytes * 8, width, src_stride);
    }
}
