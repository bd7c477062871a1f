#include "memory/frame/lanes.h"

#include <bit>

namespace orvi::lanes {

namespace plain {

namespace {

/// Sum of the powers of 2 whose exponents are multiples of 9: a product with it brings bit 7 - m of a byte to the place
/// of byte m's lowest bit, or the other way round, without carries.
constexpr std::uint64_t diagonal = 0x8040201008040201ULL;
constexpr std::uint64_t lowBits = 0x0101010101010101ULL;

/// Bytes in the order of memory from the lowest on.
std::uint64_t lowestFirst(std::uint64_t word) noexcept {
    return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
}

} // namespace

void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) store(to + 8 * i, lowestFirst(((from[i] * diagonal) >> 7) & lowBits));
}

void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::uint64_t word = lowestFirst(load<std::uint64_t>(from + 8 * i));
        const std::uint64_t set = ((((word & (0x7f * lowBits)) + 0x7f * lowBits) | word) >> 7) & lowBits;
        to[i] = static_cast<std::uint8_t>((set * diagonal) >> 56);
    }
}

void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        band0[i] = from[3 * i];
        band1[i] = from[3 * i + 1];
        band2[i] = from[3 * i + 2];
    }
}

void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        to[3 * i] = band0[i];
        to[3 * i + 1] = band1[i];
        to[3 * i + 2] = band2[i];
    }
}

void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept {
    for (std::size_t i = 0; i < samples; ++i) to[i] = table[from[i]];
}

} // namespace plain

void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    plain::spreadBits(to, from, bytes);
}
void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    plain::gatherBits(to, from, bytes);
}
void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept {
    plain::splitBands(from, band0, band1, band2, pixels);
}
void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept {
    plain::joinBands(band0, band1, band2, to, pixels);
}
void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept {
    plain::mapBytes(to, from, samples, table);
}

} // namespace orvi::lanes
