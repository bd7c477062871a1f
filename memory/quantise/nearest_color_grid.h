// The nearest entry of a three-band byte lookup to values that may be fractions and may lie beyond 0 to 255.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

#include "memory/frame/quads.h"
#include "memory/quantise/diffusion_utils.h"

namespace orvi {

/// Makes the grid fit a lookup: frees it where it belongs to another version. To be called before the first search.
void renew_nc_grid(OrvLookup* lookup) noexcept;

/// Frees every list and the grid.
void destroy_nc_grid() noexcept;

namespace nc_grid {

// Small cells inside the grid's, and some way around it, where most carried values lie: each knows the few entries that
// can be nearest to anything in it, in blocks that are compared side by side. All of it can be made again from the
// lookup; what finds no room here is compared with every entry.

constexpr int fineWidth = 8;
constexpr int fineReach = 64;                                   // how far the small cells go beyond 0 and 256
constexpr int fineAxis = (256 + 2 * fineReach) / fineWidth + 2; // with one at either end for all that lies beyond
constexpr int fineShift = 6;
static_assert(fineAxis <= 1 << fineShift);

constexpr int laneCount = 8; // a small cell seldom has more entries
using Lanes [[gnu::vector_size(laneCount * sizeof(float))]] = float;
using IntLanes [[gnu::vector_size(laneCount * sizeof(std::int32_t))]] = std::int32_t;
using KeyLanes [[gnu::vector_size(laneCount / 2 * sizeof(std::int64_t))]] = std::int64_t;

struct Block {
    Lanes color[3];
    IntLanes index;
};

struct FineCell {
    std::uint32_t firstBlock;
    std::uint32_t blocks; ///< 0: not made yet
};

extern FineCell fineCells[1 << 3 * fineShift];
constexpr unsigned mostFineBlocks = 131072;
extern Block fineBlocks[mostFineBlocks];

/// A small cell's place.
inline unsigned fineCellOf(quads::Floats pixel) noexcept {
    using Words [[gnu::vector_size(16)]] = std::uint32_t;
    const quads::Floats on = (pixel + static_cast<float>(fineReach + fineWidth)) * (1.0F / fineWidth);
    // What lies below them all is large without its sign.
    const Words cell = (Words)quads::truncate(on);
    const Words within = cell < fineAxis ? cell : fineAxis - 1 + Words{};
    return (within[0] << fineShift | within[1]) << fineShift | within[2];
}

constexpr bool lowFirst = std::endian::native == std::endian::little;

inline void lower(KeyLanes& least, const KeyLanes& key) noexcept { least = key < least ? key : least; }

/// The entry of the least distance, the lowest index first.
inline std::int32_t searchBlocks(FineCell cell, quads::Floats pixel) noexcept {
    // Distances are not negative: they sort as their bits do, then by index.
    KeyLanes least = KeyLanes{} + std::numeric_limits<std::int64_t>::max();
    const Block* block = fineBlocks + cell.firstBlock;
    for (const Block* const end = block + cell.blocks; block != end; ++block) {
        const Lanes d0 = pixel[0] - block->color[0];
        const Lanes d1 = pixel[1] - block->color[1];
        const Lanes d2 = pixel[2] - block->color[2];
        const auto distance = (IntLanes)(d0 * d0 + d1 * d1 + d2 * d2);
        // The half of a key that lies first in memory is the low one or the high one.
        const IntLanes first = lowFirst ? block->index : distance;
        const IntLanes second = lowFirst ? distance : block->index;
        const auto one = (KeyLanes)__builtin_shufflevector(first, second, 0, 8, 1, 9, 4, 12, 5, 13);
        const auto other = (KeyLanes)__builtin_shufflevector(first, second, 2, 10, 3, 11, 6, 14, 7, 15);
        lower(least, one);
        lower(least, other);
    }
    lower(least, __builtin_shufflevector(least, least, 2, 3, 0, 1));
    return static_cast<std::int32_t>(std::min(least[0], least[1]) & 0xffffffff);
}

/// The search where no small cell knows the answer yet.
std::int32_t searchAnew(unsigned place, quads::Floats pixel, OrvLookup* lookup,
                        const Palette<std::uint8_t>& palette) noexcept;

} // namespace nc_grid

/// The index, without the lookup's offset, that a full search finds, the distance in single precision, the lowest index
/// winning a tie. The lookup must have entries; the pixel's fourth lane does not count. A grid of 8 by 8 by 8 cells
/// over the colours keeps for each cell that was met a list of all entries by their least distance to it; it lives from
/// call to call while the lookup's version stays.
inline std::int32_t nc_grid_32to8_3(quads::Floats pixel, OrvLookup* lookup,
                                    const Palette<std::uint8_t>& palette) noexcept {
    const unsigned place = nc_grid::fineCellOf(pixel);
    const nc_grid::FineCell cell = nc_grid::fineCells[place];
    if (cell.blocks == 0) return nc_grid::searchAnew(place, pixel, lookup, palette);
    return nc_grid::searchBlocks(cell, pixel);
}

} // namespace orvi
