// Error diffusion of a few rows of three bands in turns.
//
// The search for a pixel's entry is a chain of waits: for its left neighbour, for a cell, for that cell's entries. A
// row may follow a few columns behind the one above it where a kernel reaches one pixel to either side and one row
// down; pixels of several rows taken in turns let the processor wait for all of them at once. Every pixel gains in the
// same order and with the same roundings as if the rows were done one after another.
#pragma once

#include <cstdint>

#include "memory/quantise/nearest_color_grid.h"
#include "memory/quantise/skewed_diffusion.h"

namespace orvi {

constexpr long colorRows = 4; ///< rows in turns

/// Rows of pixels on their way to indices, without the lookup's offset, and the errors of the row above the first one:
/// then, once all rows are done, those of the last.
struct SkewedColors {
    quads::Floats pixels[colorRows][widestSkewed];
    std::uint8_t indices[colorRows][widestSkewed];
    quads::Floats above[widestSkewed];
};

/// A lookup that has entries, and these as the rows take them.
class ColorSearch {
public:
    ColorSearch(OrvLookup* lookup, const Palette<std::uint8_t>& palette) noexcept : lookup_(lookup), palette_(palette) {
        for (unsigned entry = 0; entry < palette.entries; ++entry) {
            for (int band = 0; band < 3; ++band) colors_[entry][band] = palette[entry][band];
        }
    }

    std::int32_t nearest(quads::Floats pixel) const noexcept { return nc_grid_32to8_3(pixel, lookup_, palette_); }
    quads::Floats color(std::int32_t index) const noexcept { return colors_[index]; }

private:
    OrvLookup* lookup_;
    const Palette<std::uint8_t>& palette_;
    quads::Floats colors_[256] = {};
};

/// Quantises up to so many rows.
void diffuseSkewedColors(SkewedColors& work, long width, long rows, const NearWeights& weights,
                         const ColorSearch& search) noexcept;

} // namespace orvi
