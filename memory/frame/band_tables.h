// Pixels whose bands have a table of bytes each.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvi::lanes {

/// Two to four bands by permutations of bytes; false, and nothing done, where there are other bands or none of those.
/// `to` may be `from`.
bool permuteBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
                  unsigned bands) noexcept;

} // namespace orvi::lanes
