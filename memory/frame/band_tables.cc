#include "memory/frame/band_tables.h"

#include <array>
#include <utility>

#include "memory/frame/byte_permutation.h"
#include "memory/frame/sample_rows.h"

namespace orvi::lanes {

#if defined(__AVX512BW__)

namespace {

/// As many vectors of pixels as these have bands, and as many of one band each. Once the samples of each pixel are
/// turned by the number of the vector, those that stand at one place of the vectors are one of each band, and change
/// vectors alone. Those of three bands stand so by themselves: a vector is a third of a pixel behind the one before.
template <int Bands>
struct VectorsOfBands {
    U8 of[Bands];

    VectorsOfBands apart() const noexcept {
        VectorsOfBands pixels;
        for (int i = 0; i < Bands; ++i) pixels.of[i] = turned(of[i], i);
        return pixels.exchanged(1);
    }
    VectorsOfBands together() const noexcept {
        VectorsOfBands pixels = exchanged(Bands - 1);
        for (int i = 0; i < Bands; ++i) pixels.of[i] = turned(pixels.of[i], Bands - i);
        return pixels;
    }

private:
    static constexpr std::uint64_t everyPixel() noexcept {
        std::uint64_t places = 0;
        for (std::size_t i = 0; i < vectorBytes; i += Bands) places |= std::uint64_t{1} << i;
        return places;
    }

    struct Turns {
        alignas(64) std::uint8_t places[Bands][vectorBytes] = {};

        constexpr Turns() noexcept {
            for (unsigned turn = 0; turn < Bands; ++turn) {
                for (unsigned i = 0; i < vectorBytes; ++i) {
                    places[turn][i] = static_cast<std::uint8_t>((i - i % Bands + (i + turn) % Bands) % 16);
                }
            }
        }
    };
    static constexpr Turns turns{};

    static U8 turned(U8 v, int turn) noexcept {
        if (Bands == 3 || turn % Bands == 0) return v;
        return (U8)_mm512_shuffle_epi8((Raw)v, load<Raw>(turns.places[turn]));
    }

    /// Vector i takes its places behind each pixel's first from those so many vectors on, times the place.
    VectorsOfBands exchanged(int step) const noexcept {
        VectorsOfBands result = *this;
        for (int place = 1; place < Bands; ++place) {
            for (int i = 0; i < Bands; ++i) {
                const Raw other = (Raw)of[(i + (Bands - step) * place) % Bands];
                result.of[i] = (U8)_mm512_mask_mov_epi8((Raw)result.of[i], everyPixel() << place, other);
            }
        }
        return result;
    }
};

template <std::size_t... Band>
std::array<PermutedBytes, sizeof...(Band)> tablesFrom(std::size_t first, const std::uint8_t* const* tables,
                                                      std::index_sequence<Band...>) noexcept {
    return {PermutedBytes(tables[(first + Band) % sizeof...(Band)])...};
}

/// A row by as many of its results' lines at a time as it has bands.
template <int Bands>
[[gnu::flatten, gnu::target("avx512vbmi")]] void
permuteRow(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables) noexcept {
    constexpr std::ptrdiff_t n = vectorBytes;
    const RowLines<std::uint8_t> row(to, Bands * pixels);
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
        if (i + n <= row.end()) return ~std::uint64_t{0};
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
            [&](std::ptrdiff_t line, U8 v) { store(to + line, v); });
    }
    if (i < row.end()) some(i);
}

} // namespace

bool permuteBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
                  unsigned bands) noexcept {
    if (!bytePermutation) return false;
    if (bands == 2) return permuteRow<2>(to, from, pixels, tables), true;
    if (bands == 3) return permuteRow<3>(to, from, pixels, tables), true;
    if (bands == 4) return permuteRow<4>(to, from, pixels, tables), true;
    return false;
}

#else

bool permuteBands(std::uint8_t*, const std::uint8_t*, std::size_t, const std::uint8_t* const*, unsigned) noexcept {
    return false;
}

#endif

} // namespace orvi::lanes
