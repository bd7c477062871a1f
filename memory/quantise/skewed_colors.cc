#include "memory/quantise/skewed_colors.h"

namespace orvi {

namespace {

using quads::Doubles;
using quads::Floats;

/// The product is exact, and the sum is rounded to single precision once.
Floats gain(Floats value, const Doubles& error, double weight) noexcept {
    Doubles wide;
    quads::widen(value, wide);
    return quads::narrow(wide + error * weight);
}

/// What a row carries from column to column.
struct Carried {
    Floats begun; ///< the pixel to come, which has gained from the row above but not from its left neighbour
    Doubles last; ///< the error of that neighbour
    Doubles upperLeft;
    Doubles upper;
};

/// Columns between rows: the row above has done what the pixel to come gains from, and no more.
constexpr long lag = 3;

} // namespace

void diffuseSkewedColors(SkewedColors& work, long width, long rows, const NearWeights& weights,
                         const ColorSearch& search) noexcept {
    Carried carried[colorRows] = {};
    quads::widen(work.above[0], carried[0].upper);
    for (long step = -1; step < width + lag * (rows - 1); ++step) {
        // From the last row up: each takes the error of the row above before that one moves on.
        for (long row = rows - 1; row >= 0; --row) {
            Carried& at = carried[row];
            const long x = step - lag * row;
            Doubles error = {};
            if (x >= 0 && x < width) {
                const Floats value = gain(at.begun, at.last, weights.right);
                const std::int32_t index = search.nearest(value);
                work.indices[row][x] = static_cast<std::uint8_t>(index);
                const Floats left = value - search.color(index);
                if (row == rows - 1) work.above[x] = left;
                quads::widen(left, error);
            }
            Doubles upperRight = {};
            if (row > 0) {
                upperRight = carried[row - 1].last;
            } else if (x + 2 < width) {
                quads::widen(work.above[x + 2], upperRight);
            }
            if (x + 1 >= 0 && x + 1 < width) {
                Floats value = work.pixels[row][x + 1];
                value = gain(value, at.upperLeft, weights.belowRight);
                value = gain(value, at.upper, weights.below);
                at.begun = gain(value, upperRight, weights.belowLeft);
            }
            at.last = error;
            at.upperLeft = at.upper;
            at.upper = upperRight;
        }
    }
}

} // namespace orvi
