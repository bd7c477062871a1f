// Squares of small differences and roots of small integers.
#pragma once

#include <cstdint>

/// Shared by every search for a colour. Whoever uses the tables constructs an instance first; the first one fills them.
class SquaresTable {
public:
    SquaresTable() noexcept;

    static constexpr int largest = 256;
    static constexpr int roots = 8192;

    static std::int32_t squares_table[2 * (largest + 1)];
    static std::int32_t* const squares; ///< squares[d] is d squared for d from -256 to 256
    static std::uint8_t sqrt_table[roots];
    static std::uint8_t* const sqrts; ///< the integer part of the root of its index
    static std::int32_t initialized;
};

/// The same two tables.
extern std::int32_t* const sqrs_table;
extern std::uint8_t* const sqrt_table;
