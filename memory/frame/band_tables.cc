#include "memory/frame/band_tables.h"

#include <algorithm>
#include <array>
#include <utility>

#include "memory/frame/band_vectors.h"
#include "memory/frame/byte_permutation.h"

namespace orvi::lanes {

#if defined(__AVX512BW__)

namespace {

template <std::size_t... Band>
std::array<PermutedBytes, sizeof...(Band)> tablesFrom(std::size_t first, const std::uint8_t* const* tables,
                                                      std::index_sequence<Band...>) noexcept {
    return {PermutedBytes(tables[(first + Band) % sizeof...(Band)])...};
}

/// A row by as many of its results' lines at a time as it has bands.
template <int Bands, class Lines>
[[gnu::flatten, gnu::target("avx512vbmi")]] void
permuteRow(const Lines& row, std::uint8_t* to, const std::uint8_t* from, const std::uint8_t* const* tables) noexcept {
    constexpr std::ptrdiff_t n = vectorBytes;
    const auto entries =
        tablesFrom(static_cast<std::size_t>(row.first() + Bands * n), tables, std::make_index_sequence<Bands>{});
    const auto map = [&](std::ptrdiff_t i, auto loadLine, auto storeLine) __attribute__((target("avx512vbmi"))) {
        VectorsOfBands<Bands> lines;
        for (int line = 0; line < Bands; ++line) lines.of[line] = loadLine(i + line * n);
        lines = lines.apart();
        for (int band = 0; band < Bands; ++band) lines.of[band] = entries[band](lines.of[band]);
        lines = lines.together();
        for (int line = 0; line < Bands; ++line) storeLine(i + line * n, lines.of[line]);
    };
    const auto own = [&](std::ptrdiff_t i) {
        if (i == row.first()) return row.firstSamples();
        if (i + n <= row.end()) return row.lineSamples();
        return i < row.end() ? row.lastSamples(i) : 0;
    };
    const auto some = [&](std::ptrdiff_t start) __attribute__((target("avx512vbmi"))) {
        map(
            start, [&](std::ptrdiff_t i) { return loadSome(from + i, own(i)); },
            [&](std::ptrdiff_t i, U8 v) { storeSome(to + i, own(i), v); });
    };
    std::ptrdiff_t i = row.first();
    if (i < 0 && i < row.end()) {
        some(i);
        i += Bands * n;
    }
    for (; i + Bands * n <= row.end(); i += Bands * n) {
        fetchAhead<Bands>(from + i);
        map(
            i, [&](std::ptrdiff_t line) { return loadOnce<U8>(from + line); },
            [&](std::ptrdiff_t line, U8 v) { row.store(to + line, v); });
    }
    if (i < row.end()) some(i);
}

} // namespace

bool permuteBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
                  unsigned bands) noexcept {
    if (!bytePermutation) return false;
    const RowLines<std::uint8_t> row(to, bands * pixels);
    if (bands == 2) return permuteRow<2>(row, to, from, tables), true;
    if (bands == 3) return permuteRow<3>(row, to, from, tables), true;
    if (bands == 4) return permuteRow<4>(row, to, from, tables), true;
    return false;
}

void permuteApart(const LinesApart<std::uint8_t>& row, std::uint8_t* to, const std::uint8_t* from,
                  const std::uint8_t* const* tables, unsigned step) noexcept {
    if (std::all_of(tables, tables + step, [&](const std::uint8_t* table) { return table == *tables; })) {
        return permuteRow<1>(row, to, from, tables);
    }
    step == 2 ? permuteRow<2>(row, to, from, tables) : permuteRow<4>(row, to, from, tables);
}

#else

bool permuteBands(std::uint8_t*, const std::uint8_t*, std::size_t, const std::uint8_t* const*, unsigned) noexcept {
    return false;
}

#endif

} // namespace orvi::lanes
