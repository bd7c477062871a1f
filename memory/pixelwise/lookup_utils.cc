#include "memory/pixelwise/lookup_utils.h"

#include "memory/frame/lanes.h"

void fast_lookup_write(const unsigned char* source, unsigned char* dest, unsigned count,
                       const unsigned char* table) noexcept {
    orvi::lanes::mapBytes(dest, source, count, table);
}

namespace orvi {

namespace {

/// Three bands, one table for each.
void mapThreeBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels,
                   const std::uint8_t* const* tables) noexcept {
    if constexpr (lanes::vectorBytes < 64) {
        for (std::size_t i = 0; i < 3 * pixels; i += 3) {
            to[i] = tables[0][from[i]];
            to[i + 1] = tables[1][from[i + 1]];
            to[i + 2] = tables[2][from[i + 2]];
        }
        return;
    }
    // Where a table fits into vectors it pays to take the bands apart.
    constexpr std::size_t chunk = 2048;
    std::uint8_t bands[3][chunk];
    for (std::size_t done = 0; done < pixels; done += chunk) {
        const std::size_t count = std::min(chunk, pixels - done);
        lanes::splitBands(from + 3 * done, bands[0], bands[1], bands[2], count);
        for (int band = 0; band < 3; ++band) lanes::mapBytes(bands[band], bands[band], count, tables[band]);
        lanes::joinBands(bands[0], bands[1], bands[2], to + 3 * done, count);
    }
}

} // namespace

void mapBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
              unsigned bands) noexcept {
    const bool shared =
        std::all_of(tables, tables + bands, [&](const std::uint8_t* table) { return table == *tables; });
    if (shared) return lanes::mapBytes(to, from, pixels * bands, *tables);
    if (bands == 3) return mapThreeBands(to, from, pixels, tables);
    for (std::size_t pixel = 0; pixel < pixels; ++pixel, to += bands, from += bands) {
        for (unsigned band = 0; band < bands; ++band) to[band] = tables[band][from[band]];
    }
}

} // namespace orvi
