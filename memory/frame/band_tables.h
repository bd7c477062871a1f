// Pixels whose bands have a table of bytes each.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/frame/sample_rows.h"

namespace orvi::lanes {

/// Two to four bands by permutations of bytes; false, and nothing done, where there are other bands or none of those.
/// `to` may be `from`.
bool permuteBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
                  unsigned bands) noexcept;

#if defined(__AVX512BW__)
/// Pixels two or four samples apart, with a table for each of these, where there are permutations of bytes.
void permuteApart(const LinesApart<std::uint8_t>& row, std::uint8_t* to, const std::uint8_t* from,
                  const std::uint8_t* const* tables, unsigned step) noexcept;
#endif

} // namespace orvi::lanes
