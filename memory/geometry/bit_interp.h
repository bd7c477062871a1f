// Interpolation of one-bit samples.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/geometry/taps.h"

/// 4096 values of 0 to 16 by index (u << 8) | (v << 4) | p, made with one allocation for the caller to release with
/// orvi_delete; null without memory. The bits of p from high to low are the corners p8, p4 above and p2, p1 below; u
/// and v are fractions in fifteenths.
int* mk_BLtable() noexcept;

/// 256 values by index (u << 4) | p: the cubic step on the samples p8, p4, p2, p1, with the fraction u in fifteenths.
int* mk_BCtable() noexcept;

namespace orvi {

inline constexpr std::size_t BLtableEntries = 4096;
inline constexpr std::size_t BCtableEntries = 256;

/// What a table value is above where the bit is set.
inline constexpr int bitThreshold = 7;

/// The place in BLtable for 4-bit fractions and the bits at the sample, right of it and below it. The sample counts
/// once more as the fourth corner, which is never read: this is intended.
constexpr unsigned BLindex(unsigned fx, unsigned fy, unsigned sample, unsigned right, unsigned below) noexcept {
    return (fx << 8) + (fy << 4) + sample * 8 + right * 4 + below * 2 + sample;
}

/// Four rows of four bits, from the row above the sample down, the bits from left to right from high to low. The second
/// row's second bit is the sample.
using BitPatterns = unsigned[4];

/// The bicubic bit, with 4-bit fractions.
bool bicubicBit(const int* BLtable, const int* BCtable, unsigned fx, unsigned fy, const BitPatterns& rows) noexcept;

/// The bit by area: 4 bits of the corners (3 top left, 2 top right, 1 bottom left, 0 bottom right) and fractions in
/// 65536ths. Where three corners agree and the lone one lies opposite the quadrant of the sampling point, areas decide.
bool quadrantBit(unsigned corners, unsigned fx, unsigned fy) noexcept;

/// The bit by two rows of weights over the window; `at(column, row)` answers a bit. Weights of set bits are summed in
/// single precision, row by row into `rowSums`.
template <class At>
bool weightedBit(const Window& rows, const Window& columns, const float* hrow, const float* vrow, float* rowSums,
                 At at) noexcept {
    for (long i = 0; i < rows.count; ++i) {
        float sum = 0;
        for (long j = 0; j < columns.count; ++j) {
            if (at(columns.first + j, rows.first + i)) sum += hrow[j];
        }
        rowSums[i] = sum;
    }
    float sum = 0;
    for (long i = 0; i < rows.count; ++i) {
        sum = static_cast<float>(double{sum} + double{rowSums[i]} * double{vrow[i]});
    }
    return static_cast<double>(sum) > 0.5;
}

} // namespace orvi
