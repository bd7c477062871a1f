#include "memory/pixelwise/lookup_utils.h"

#include "memory/frame/apart_rows.h"
#include "memory/frame/band_tables.h"
#include "memory/frame/byte_permutation.h"
#include "memory/frame/lanes.h"

void fast_lookup_write(const unsigned char* source, unsigned char* dest, unsigned count,
                       const unsigned char* table) noexcept {
    orvi::lanes::mapBytes(dest, source, count, table);
}

namespace orvi {

void mapBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
              unsigned bands) noexcept {
    const bool shared =
        std::all_of(tables, tables + bands, [&](const std::uint8_t* table) { return table == *tables; });
    if (shared) return lanes::mapBytes(to, from, pixels * bands, *tables);
    if (bands == 3) return lanes::mapThreeBands(to, from, pixels, tables);
    if (lanes::permuteBands(to, from, pixels, tables, bands)) return;
    for (std::size_t pixel = 0; pixel < pixels; ++pixel, to += bands, from += bands) {
        for (unsigned band = 0; band < bands; ++band) to[band] = tables[band][from[band]];
    }
}

bool mapBandsApart([[maybe_unused]] RectCursor& rects, [[maybe_unused]] const Raster& to,
                   [[maybe_unused]] const Raster& from, [[maybe_unused]] const std::uint8_t* const* tables,
                   [[maybe_unused]] unsigned bands) noexcept {
#if defined(__AVX512BW__)
    using T = std::uint8_t;
    constexpr unsigned most = 4;
    const unsigned step = stepApart(bands, ImageOf<T>{to}, ImageOf<T>{from});
    if (!lanes::bytePermutation || step == 0 || step > most) return false;
    const T* each[most];
    for (unsigned i = 0; i < step; ++i) each[i] = tables[i < bands ? i : 0];
    const auto row = [&](const LinesApart<T>& lines, T* d, const T* s) {
        lanes::permuteApart(lines, d, s, each, step);
    };
    walkApart(rects, bands, row, ImageOf<T>{to}, ImageOf<T>{from});
    return true;
#else
    return false;
#endif
}

} // namespace orvi
