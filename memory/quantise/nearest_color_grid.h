// The nearest entry of a three-band byte lookup to values that may be fractions and may lie beyond 0 to 255.
#pragma once

#include <cstdint>

#include "memory/quantise/diffusion_utils.h"

namespace orvi {

/// What a full search finds, the distance in single precision, the lowest index winning a tie. A grid of 8 by 8 by 8
/// cells over the colours keeps for each cell that was met a list of all entries by their least distance to it; it
/// lives from call to call while the lookup's version stays.
Match<std::uint8_t> nc_grid_32to8_3(const float* pixel, OrvLookup* lookup,
                                    const Palette<std::uint8_t>& palette) noexcept;

/// Makes the grid fit a lookup: frees it where it belongs to another version. To be called before the first search.
void renew_nc_grid(OrvLookup* lookup) noexcept;

/// Frees every list and the grid.
void destroy_nc_grid() noexcept;

} // namespace orvi
