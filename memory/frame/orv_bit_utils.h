// Rows of bits that start at any bit of a byte and run towards lower significance, then on to the next byte. Nothing
// outside the run is changed, and no byte that holds none of its bits is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orv/device/OrvImage.h"

/// The mask of bit `i`, bit 0 the most significant.
inline constexpr unsigned char bit_mask[8] = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};
/// A byte with its `i` low bits cleared.
inline constexpr unsigned char clr_lsb_mask[8] = {0xff, 0xfe, 0xfc, 0xf8, 0xf0, 0xe0, 0xc0, 0x80};
/// A byte with its `i` high bits cleared.
inline constexpr unsigned char clr_msb_mask[8] = {0xff, 0x7f, 0x3f, 0x1f, 0x0f, 0x07, 0x03, 0x01};

/// Sets `length` bits from bit `offset` of `dst` to 1 where `value` is not 0, else to 0.
void orv_bit_setvalue(unsigned char* dst, unsigned value, unsigned length, unsigned offset) noexcept;

/// Writes the inverse of `length` bits.
void orv_bit_not(unsigned char* src, unsigned char* dst, unsigned length, unsigned src_offset,
                 unsigned dst_offset) noexcept;

/// Copies `length` bits.
void orv_bit_memcpy(unsigned char* src, unsigned char* dst, unsigned length, unsigned src_offset,
                    unsigned dst_offset) noexcept;

/// 1 where some bit of the `length` bits is 0, else 0.
int orv_bit_check_for_zero(const unsigned char* row, unsigned length, unsigned offset) noexcept;

/// 1 where the image has a 0 bit in its region, else 0 (also after a failure, which is reported).
int OrviCheckForZeros(OrvImage* image) noexcept;

namespace orvi {

/// Writes `count` bits as bytes of 0 and 1, `step` bytes apart.
void unpackBits(const std::uint8_t* from, unsigned offset, std::uint8_t* to, std::size_t step,
                std::size_t count) noexcept;

/// Writes `count` bytes, `step` apart, as bits: 1 where the byte is not 0.
void packBits(const std::uint8_t* from, std::size_t step, std::uint8_t* to, unsigned offset,
              std::size_t count) noexcept;

} // namespace orvi
