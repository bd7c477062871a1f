#include "memory/frame/orv_bit_utils.h"

namespace {

bool bitAt(const std::uint8_t* row, std::size_t position) noexcept {
    return (row[position >> 3] & bit_mask[position & 7]) != 0;
}

void putBit(std::uint8_t* row, std::size_t position, bool value) noexcept {
    const std::uint8_t mask = bit_mask[position & 7];
    std::uint8_t& byte = row[position >> 3];
    byte = static_cast<std::uint8_t>(value ? byte | mask : byte & ~mask);
}

} // namespace

namespace orvi {

void unpackBits(const std::uint8_t* from, unsigned offset, std::uint8_t* to, std::size_t step,
                std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i, to += step) *to = bitAt(from, offset + i) ? 1 : 0;
}

void packBits(const std::uint8_t* from, std::size_t step, std::uint8_t* to, unsigned offset,
              std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i, from += step) putBit(to, offset + i, *from != 0);
}

} // namespace orvi
