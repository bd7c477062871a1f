// Counts of set bits in boxes of bits.
#pragma once

#include <cstddef>

/// The set bits of `rows` rows of `width` bits, `stride` bytes apart, from bit `bit_offset` of the first byte on,
/// counted from the least significant bit of a byte upward and on to the next byte.
unsigned num_on_bits(const unsigned char* row, unsigned bit_offset, unsigned width, unsigned rows,
                     std::ptrdiff_t stride) noexcept;

/// Counts of the set bits of the boxes of 2 by 2 (3 by 3, 4 by 4) bits that rows of whole bytes hold, from left to
/// right, a byte each. Only whole boxes count: `width` and `height` are multiples of the box's side.
using BoxCounter = void(const unsigned char* src, unsigned char* dst, unsigned width, unsigned height,
                        std::ptrdiff_t src_stride, std::ptrdiff_t dst_stride) noexcept;

BoxCounter Subsample1to8_2x2;
BoxCounter Subsample1to8_3x3;
BoxCounter Subsample1to8_4x4;
