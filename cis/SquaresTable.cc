#include "cis/SquaresTable.h"

std::int32_t SquaresTable::squares_table[2 * (largest + 1)];
std::uint8_t SquaresTable::sqrt_table[roots];
std::int32_t SquaresTable::initialized = 0;

// Constant initialisation: other sources' static objects may use the tables.
constinit std::int32_t* const SquaresTable::squares = SquaresTable::squares_table + SquaresTable::largest;
constinit std::uint8_t* const SquaresTable::sqrts = SquaresTable::sqrt_table;
constinit std::int32_t* const sqrs_table = SquaresTable::squares_table + SquaresTable::largest;
constinit std::uint8_t* const sqrt_table = SquaresTable::sqrt_table;

SquaresTable::SquaresTable() noexcept {
    if (initialized != 0) return;
    for (int d = 0; d <= largest; ++d) squares[d] = squares[-d] = d * d;
    int root = 0;
    for (int i = 0; i < roots; ++i) {
        if ((root + 1) * (root + 1) <= i) ++root;
        sqrt_table[i] = static_cast<std::uint8_t>(root);
    }
    initialized = 1;
}
