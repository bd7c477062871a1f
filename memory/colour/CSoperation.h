// The table of colour conversions: a pair of spaces and its row functions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/colour/rows.h"

namespace orvi::colour {

struct PairRow {
    std::uint32_t key; ///< source opcode in the high 16 bits, destination opcode in the low ones
    RowFunction<std::uint8_t> row8;
    RowFunction<std::int16_t> row16;
};

/// Spaces count by the low 16 bits of their opcodes.
constexpr std::uint32_t pairKey(std::uint32_t from, std::uint32_t to) noexcept { return from << 16 | (to & 0xffff); }

/// Bands of a space.
constexpr unsigned bandsOf(std::uint32_t space) noexcept {
    if (space == ylinear || space == y601 || space == y709) return 1;
    return space == cmyk ? 4 : 3;
}

/// Every ordered pair of two spaces, and a row of key 0 behind them.
inline constexpr std::size_t colourPairs = 90;
extern const PairRow CSoperation[colourPairs + 1];

} // namespace orvi::colour
