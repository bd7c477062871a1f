// Blocks of 16 by 16 bits, flipped and turned.
#pragma once

/// Each reads 16 rows of 16 bits that start at bit `src_offset` of the byte `src` and writes 16 rows of two bytes at
/// `dst`. Strides are bytes per row. Bit (x, y) of the result is, in columns and rows of the source block:
/// x: (x, 15 - y), y: (15 - x, y), d: (y, x), a: (15 - y, 15 - x), 90: (15 - y, x), 180: (15 - x, 15 - y),
/// 270: (y, 15 - x).
using BlockFlip = void(unsigned char* src, unsigned char* dst, unsigned long src_offset, unsigned long src_stride,
                       unsigned long dst_stride) noexcept;

BlockFlip blk_flip_x;
BlockFlip blk_flip_y;
BlockFlip blk_flip_d;
BlockFlip blk_flip_a;
BlockFlip blk_flip_90;
BlockFlip blk_flip_180;
BlockFlip blk_flip_270;
