// Error diffusion of eight rows side by side.
//
// A pixel waits for its left neighbour, so that one row alone leaves most of the processor idle. Where a kernel reaches
// one pixel to either side and one row down, a row may follow a few columns behind the one above it: each lane is a
// row, and a lane's errors reach the lane below it a few steps later. Every pixel gains in the same order and with the
// same roundings as if the rows were done one after another.
#pragma once

#include <cstdint>

namespace orvi {

/// The weights of such a kernel.
struct NearWeights {
    double right;
    double belowLeft;
    double below;
    double belowRight;
};

/// What a search among two entries comes to: from the threshold up the high one is taken.
struct TwoLevels {
    float threshold;
    float low;
    float high;
    bool lowBit;
    bool highBit;
};

constexpr long skewedRows = 8;
constexpr long skewedColumns = 3;    ///< a row is this far behind the row above
constexpr long widestSkewed = 16384; ///< rows that are wider are done one after another

/// The rows' source samples, skewed: what all lanes need at a step lies together.
struct SkewedSource {
    std::uint8_t samples[widestSkewed + 8 + skewedRows * skewedColumns][skewedRows];
};

/// Quantises up to eight rows to bits. `above` holds the errors of the row above the first one, `width` of them, and
/// then those of the last of eight rows. `results` are the rows' first bytes.
void diffuseSkewed(const SkewedSource& source, float* above, long width, const NearWeights& weights,
                   const TwoLevels& levels, std::uint8_t* const* results, long rows) noexcept;

} // namespace orvi
